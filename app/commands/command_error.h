// A command that could not do what it was asked for.
#ifndef APP_COMMANDS_COMMAND_ERROR_H
#define APP_COMMANDS_COMMAND_ERROR_H

#include <stdexcept>

namespace app {

class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace app

#endif
