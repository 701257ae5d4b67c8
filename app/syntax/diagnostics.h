// SPDX-License-Identifier: Apache-2.0
// Complaints about a text that name file, line and column.
#ifndef APP_SYNTAX_DIAGNOSTICS_H
#define APP_SYNTAX_DIAGNOSTICS_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "agent/text.h"
#include "app/commands/command_error.h"
#include "app/views/format.h"

namespace app {

// A line of a file, a script or a terminal.
struct SourceLine {
  std::string file;  // empty on a terminal
  size_t number = 1;
  std::string text;
};

struct Diagnostic {
  SourceLine source;
  size_t column;
  std::string message;
};

inline Diagnostic diagnostic(const SourceLine &source, const agent::TextError &error) {
  return {source, error.column(), error.what()};
}

// A TextError for a line with a NUL, which would end names of files and messages too soon.
void refuse_nul(std::string_view line);

// "campus.flows:12:", nothing on a terminal.
std::string place_text(const SourceLine &source);

// One line, followed by the offending text and a caret if `caret` asks for it.
void print(std::ostream &out, Style style, const Diagnostic &diagnostic, bool caret);

// What is wrong with the lines of a file that a command was to read.
class FileError : public CommandError {
 public:
  FileError(const std::string &message, std::vector<Diagnostic> diagnostics)
      : CommandError(message), diagnostics_(std::move(diagnostics)) {}
  const std::vector<Diagnostic> &diagnostics() const { return diagnostics_; }

 private:
  std::vector<Diagnostic> diagnostics_;
};

}  // namespace app

#endif
