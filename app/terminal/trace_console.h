// SPDX-License-Identifier: Apache-2.0
// The trace console: trace messages among the output of commands.
#ifndef APP_TERMINAL_TRACE_CONSOLE_H
#define APP_TERMINAL_TRACE_CONSOLE_H

#include "app/commands/command.h"

namespace app {

// Prints messages of `levels` from now on, each on lines of its own; none switches the console off.
void set_console(Session &session, host::services::Levels levels);

// Prints everything that is traced while it lives, as it comes.
class FullConsole {
 public:
  explicit FullConsole(Session &session);
  ~FullConsole();
  FullConsole(const FullConsole &) = delete;
  FullConsole &operator=(const FullConsole &) = delete;

 private:
  Session &session_;
  bool line_open_ = false;
};

}  // namespace app

#endif
