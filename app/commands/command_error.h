// SPDX-License-Identifier: Apache-2.0
// A command that could not do what it was asked for.
#ifndef APP_COMMANDS_COMMAND_ERROR_H
#define APP_COMMANDS_COMMAND_ERROR_H

#include <stdexcept>

namespace app {

class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A script that was not run to its end; what failed in it has been reported.
class ScriptError : public CommandError {
 public:
  using CommandError::CommandError;
};

}  // namespace app

#endif
