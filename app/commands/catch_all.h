// SPDX-License-Identifier: Apache-2.0
// What happens to packets that no flow matches, as commands set and tell it.
#ifndef APP_COMMANDS_CATCH_ALL_H
#define APP_COMMANDS_CATCH_ALL_H

#include <string>

#include "app/commands/command.h"

namespace app {

// The command 'catch-all'.
void change_catch_all(Session &session, Arguments &arguments);

// "drop", "normal,controller(app=3)": what 'catch-all' takes.
std::string catch_all_text(const Session &session);

}  // namespace app

#endif
