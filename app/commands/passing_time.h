// SPDX-License-Identifier: Apache-2.0
// Time that passes while a command runs: the switch's clock goes on, and a switch that serves goes on serving.
#ifndef APP_COMMANDS_PASSING_TIME_H
#define APP_COMMANDS_PASSING_TIME_H

#include <chrono>

#include "app/commands/command.h"

namespace app {

// Whether the switch's time is the wall's, because it has OpenFlow connections.
bool serves(const Session &session);

// False when a signal asks to end before the time is over.
bool pass_time(Session &session, std::chrono::milliseconds time);

// The same, up to when a key can be read from the terminal; true when one can.
bool key_within(Session &session, std::chrono::milliseconds time);

// The same, up to when a script can be read that `descriptor` leads to, such as a pipe.
bool wait_for_line(Session &session, int descriptor);

}  // namespace app

#endif
