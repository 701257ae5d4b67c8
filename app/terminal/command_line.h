// SPDX-License-Identifier: Apache-2.0
// How a line divides into commands.
#ifndef APP_TERMINAL_COMMAND_LINE_H
#define APP_TERMINAL_COMMAND_LINE_H

#include <cstddef>
#include <string_view>
#include <vector>

namespace app {

// One command of a line.
struct CommandText {
  std::string_view line;   // up to the command's end: what stands before it keeps the columns right
  size_t start;            // the byte at which the command begins
  std::string_view shell;  // what the system's shell does with its output: "| grep pc1", "> file"; often nothing
};

// The commands of a line, blank ones left out: semicolons stand between them, '#' at the beginning of a word begins a
// comment, and what follows a '|' or '>' at the beginning of a word belongs to the system's shell, up to a semicolon
// outside the shell's quotes. None of them counts in double quotes. A quote that is not closed is a TextError, and so
// is a NUL.
std::vector<CommandText> split_commands(std::string_view line);

// The last word of a line that is still being typed, which may have an open quote, and the words of its command before
// it.
struct UnfinishedLine {
  std::string_view command;  // up to the last word
  size_t word;               // the byte at which the last word begins
  bool for_shell;            // the last word belongs to the system's shell
};
UnfinishedLine split_unfinished(std::string_view line);

}  // namespace app

#endif
