// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/command_line.h"

#include <algorithm>

#include "agent/text.h"
#include "app/syntax/diagnostics.h"

namespace app {

using namespace agent;

namespace {

constexpr std::string_view kSpaces = " \t\r\n";

bool is_space(char c) {
  return kSpaces.find(c) != std::string_view::npos;
}

bool begins_word(std::string_view line, size_t at) {
  return at == 0 || is_space(line[at - 1]) || line[at - 1] == ';';
}

// Where something other than a command's own text begins: ';', or '#', '|' or '>' at the beginning of a word.
size_t end_of_command(std::string_view line, size_t start) {
  size_t at = start;
  while (at < line.size() && line[at] != ';' &&
         !(begins_word(line, at) && std::string_view("#|>").find(line[at]) != std::string_view::npos)) {
    at = line[at] == '"' ? end_of_quote(line, at) : at + 1;
  }
  return at;
}

// Where the part of the system's shell that begins at `start` ends: at a ';' that it would not take for its own, as it
// would inside quotes and parentheses.
size_t end_of_shell(std::string_view line, size_t start) {
  size_t at = start;
  int open = 0;
  while (at < line.size() && (line[at] != ';' || open > 0)) {
    open += line[at] == '(' ? 1 : line[at] == ')' ? -1 : 0;
    if (line[at] == '"' || line[at] == '\'') {
      at = std::min(line.find(line[at], at + 1), line.size() - 1);
    } else if (line[at] == '\\') {
      ++at;
    }
    ++at;
  }
  return std::min(at, line.size());
}

bool shell_begins(std::string_view line, size_t at) {
  return at < line.size() && (line[at] == '|' || line[at] == '>');
}

}  // namespace

std::vector<CommandText> split_commands(std::string_view line) {
  refuse_nul(line);
  std::vector<CommandText> commands;
  for (size_t start = 0; start < line.size();) {
    const size_t own = end_of_command(line, start);
    const size_t end = shell_begins(line, own) ? end_of_shell(line, own) : own;
    if (own < end || line.substr(start, own - start).find_first_not_of(kSpaces) != std::string_view::npos) {
      commands.push_back({line.substr(0, own), start, line.substr(own, end - own)});
    }
    start = end < line.size() && line[end] == ';' ? end + 1 : line.size();
  }
  return commands;
}

UnfinishedLine split_unfinished(std::string_view line) {
  size_t start = 0;
  size_t word = 0;
  bool for_shell = false;
  for (size_t at = 0; at < line.size(); ++at) {
    const char c = line[at];
    if (c == '"') {
      at = std::min(line.find('"', at + 1), line.size());
    } else if (begins_word(line, at) && (c == '|' || c == '>')) {
      for_shell = true;
      word = at + 1;
    } else if (is_space(c)) {
      word = at + 1;
    } else if (c == ';') {
      start = word = at + 1;
      for_shell = false;
    }
  }
  return {line.substr(start, word - start), word, for_shell};
}

}  // namespace app
