#include "app/syntax/flow_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "app/syntax/diagnostics.h"
#include "app/syntax/flow_syntax.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kMostReported = 20;

bool is_blank(std::string_view line) {
  return without_comment(line).find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace

std::vector<Flow> read_flow_file(const std::string &path, const host::services::Interfaces &interfaces) {
  std::ifstream file(path);
  if (!file) {
    throw CommandError(path + ": " + std::strerror(errno));
  }
  std::vector<Flow> flows;
  std::vector<Diagnostic> errors;
  size_t bad_lines = 0;
  SourceLine line{path, 0, ""};
  while (std::getline(file, line.text)) {
    ++line.number;
    try {
      if (is_blank(line.text)) {
        continue;
      }
      flows.push_back(parse_flow(line.text, 0, FlowRole::Complete, interfaces));
      flows.back().line = line.number;
    } catch (const TextError &error) {
      if (++bad_lines <= kMostReported) {
        errors.push_back(diagnostic(line, error));
      }
    }
  }
  if (file.bad()) {
    throw CommandError(path + ": " + std::strerror(errno));
  }
  if (bad_lines != 0) {
    const char *more = bad_lines > kMostReported ? ", the first of them above" : "";
    throw FileError(concat(path, ": ", counted(bad_lines, "bad line"), more, "; nothing was sent"), std::move(errors));
  }
  return flows;
}

}  // namespace app
