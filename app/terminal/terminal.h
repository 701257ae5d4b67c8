// SPDX-License-Identifier: Apache-2.0
// An operator at a terminal: line editing, history and completion.
#ifndef APP_TERMINAL_TERMINAL_H
#define APP_TERMINAL_TERMINAL_H

#include <functional>
#include <string>

#include "app/terminal/known_names.h"

namespace app {

// What lines are for.
struct TerminalUse {
  std::function<void(const std::string &line)> run;
  std::function<bool()> finished;  // the operator wants to leave
  // Waits until there is something to be read from a descriptor; false when it is not so yet.
  std::function<bool(int descriptor)> wait;
  Ask ask;  // for completion
};

// Reads and runs lines until the operator leaves.
void run_terminal(const TerminalUse &use);

}  // namespace app

#endif
