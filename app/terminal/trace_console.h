// The trace console: trace messages among the output of commands.
#ifndef APP_TERMINAL_TRACE_CONSOLE_H
#define APP_TERMINAL_TRACE_CONSOLE_H

#include "app/commands/command.h"

namespace app {

// Prints messages of `levels` from now on; none switches the console off.
void set_console(Session &session, host::services::Levels levels);

// Prints every trace message while it lives.
class FullConsole {
 public:
  explicit FullConsole(Session &session);
  ~FullConsole();
  FullConsole(const FullConsole &) = delete;
  FullConsole &operator=(const FullConsole &) = delete;

 private:
  Session &session_;
};

}  // namespace app

#endif
