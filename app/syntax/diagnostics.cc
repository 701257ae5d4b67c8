// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/diagnostics.h"

namespace app {

using namespace agent;

namespace {

// As wide as `text`, and blank.
std::string blank(const std::string &text) {
  std::string spaces;
  for (const char c : text) {
    const bool begins_character = (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    spaces += c == '\t' ? "\t" : begins_character ? " " : "";
  }
  return spaces;
}

}  // namespace

void refuse_nul(std::string_view line) {
  if (const size_t nul = line.find('\0'); nul != std::string_view::npos) {
    throw TextError(nul + 1, "no NUL byte can stand in a line");
  }
}

std::string place_text(const SourceLine &source) {
  return source.file.empty() ? "" : concat(source.file, ":", source.number, ":");
}

void print(std::ostream &out, Style style, const Diagnostic &diagnostic, bool caret) {
  const std::string place = escaped(place_text(diagnostic.source));
  out << (place.empty() ? "column " : place) << diagnostic.column << ": " << style.bad("error: ")
      << escaped(diagnostic.message) << '\n';
  if (caret) {
    const std::string &text = diagnostic.source.text;
    out << "  " << escaped(text) << "\n  " << blank(escaped(text.substr(0, diagnostic.column - 1))) << style.good("^")
        << '\n';
  }
}

}  // namespace app
