// SPDX-License-Identifier: Apache-2.0
// Programs of the system's shell that take the output of commands: pipes, files, the pager.
#ifndef APP_TERMINAL_OUTPUT_PROGRAM_H
#define APP_TERMINAL_OUTPUT_PROGRAM_H

#include <sys/types.h>
#include <termios.h>

#include <optional>
#include <string>
#include <string_view>

#include "app/terminal/output.h"

namespace app {

// A program that reads what is written to its stream.
class OutputProgram {
 public:
  // Throws std::system_error when it cannot be started.
  explicit OutputProgram(const std::string &command);
  ~OutputProgram();
  OutputProgram(const OutputProgram &) = delete;
  OutputProgram &operator=(const OutputProgram &) = delete;

  Output &stream() { return stream_; }

  // Waits for the program, and ends it when the running command shall end; its exit status, as a shell tells it.
  int finish();

 private:
  std::optional<termios> modes_;  // of the terminal, which a program that is ended may leave otherwise
  int input_;
  pid_t process_;
  Output stream_;
};

// The program for what the system's shell is to do with output: "| grep pc1", "> file".
std::string output_program(std::string_view shell);

// The operator's pager: $PAGER, or more(1).
std::string pager_command();

}  // namespace app

#endif
