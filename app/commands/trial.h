// SPDX-License-Identifier: Apache-2.0
// Trying a command before it is done.
#ifndef APP_COMMANDS_TRIAL_H
#define APP_COMMANDS_TRIAL_H

#include <functional>

#include "app/commands/command.h"

namespace app {

// Whether `command` succeeds in a copy of this process, which has the same switch and none of its connections, ports
// and files. What it complains of there goes to this process's standard error.
bool succeeds_in_copy(Session &session, const std::function<void()> &command);

}  // namespace app

#endif
