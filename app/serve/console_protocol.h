// SPDX-License-Identifier: Apache-2.0
// What a serving switch and an operator's `attach` say to each other over a Unix socket: frames of a kind, a length in
// network byte order and a content.
#ifndef APP_SERVE_CONSOLE_PROTOCOL_H
#define APP_SERVE_CONSOLE_PROTOCOL_H

#include <optional>
#include <string>
#include <string_view>

namespace app {

struct ConsoleFrame {
  enum class Kind : char {
    Directory = 'd',  // to the switch: where the operator's file names begin
    Colour = 'y',     // to the switch: the operator's terminal shows colours
    Line = 'l',       // to the switch: a line to run
    Interrupt = 'i',  // to the switch: the line that runs is to end
    Output = 'o',     // to the operator: what commands print
    Error = 'e',      // to the operator: what they complain of
    Good = 'g',       // to the operator: the line was run; with the status that the program is to end with, if not 0
    Bad = 'b',        // to the operator: a command of the line failed
    Finished = 'f',   // to the operator: the line was to leave
  };
  Kind kind;
  std::string content;
};

constexpr size_t kLongestConsoleFrame = size_t{1} << 20;

std::string encode(ConsoleFrame::Kind kind, std::string_view content = {});

// Takes the first frame out of `received`, if it is whole. A std::runtime_error for one that is too long.
std::optional<ConsoleFrame> take_frame(std::string &received);

// Where a switch takes operators' commands unless told otherwise: in the user's runtime directory.
std::string default_console_path();

}  // namespace app

#endif
