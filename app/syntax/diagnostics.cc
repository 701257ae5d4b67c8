#include "app/syntax/diagnostics.h"

#include <algorithm>

namespace app {

using namespace agent;

std::string place_text(const SourceLine &source) {
  return source.file.empty() ? "" : concat(source.file, ":", source.number, ":");
}

void print(std::ostream &out, Style style, const Diagnostic &diagnostic, bool caret) {
  const std::string place = place_text(diagnostic.source);
  out << (place.empty() ? "column " : place) << diagnostic.column << ": " << style.bad("error: ") << diagnostic.message
      << '\n';
  if (caret) {
    const std::string &text = diagnostic.source.text;
    std::string lead = text.substr(0, diagnostic.column - 1);
    lead.resize(diagnostic.column - 1, ' ');
    std::replace_if(
        lead.begin(), lead.end(), [](char c) { return c != '\t'; }, ' ');
    out << "  " << text << "\n  " << lead << style.good("^") << '\n';
  }
}

}  // namespace app
