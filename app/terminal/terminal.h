// An operator at a terminal: line editing, history and completion.
#ifndef APP_TERMINAL_TERMINAL_H
#define APP_TERMINAL_TERMINAL_H

#include "app/terminal/shell.h"

namespace app {

// Reads and runs lines until the operator leaves.
void run_terminal(Shell &shell, const Session &session);

}  // namespace app

#endif
