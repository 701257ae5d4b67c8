// SPDX-License-Identifier: Apache-2.0
// The set-up of a switch (VLANs, interfaces, port channels, catch-all, rates of the CPU, flows, the hardware's
// capacities) as a script.
#ifndef APP_COMMANDS_SETUP_SCRIPT_H
#define APP_COMMANDS_SETUP_SCRIPT_H

#include <ostream>

#include "app/commands/command.h"

namespace app {

// The commands that make it, from a switch as it starts.
void write_setup(std::ostream &out, const Session &session);

// The commands that undo it, flows excepted.
void write_undoing(std::ostream &out, const Session &session);

}  // namespace app

#endif
