// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/flow_file.h"

#include "app/syntax/diagnostics.h"
#include "app/syntax/flow_syntax.h"
#include "app/terminal/script_reader.h"
#include "app/terminal/signals.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kMostReported = 20;

bool is_blank(std::string_view line) {
  return without_comment(line).find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// What has been read of a file, good lines and bad ones.
class FlowFile {
 public:
  FlowFile(const std::string &path, const host::services::Interfaces &interfaces)
      : path_(path), interfaces_(interfaces) {}

  void read(ScriptReader &file);
  std::vector<FlowMod> finish();

 private:
  void take(const SourceLine &line);

  const std::string path_;
  const host::services::Interfaces &interfaces_;
  std::vector<FlowMod> changes_;
  std::vector<Diagnostic> errors_;
  size_t bad_lines_ = 0;
};

void FlowFile::read(ScriptReader &file) {
  SourceLine line{path_, 0, ""};
  while (file.next(line.text)) {
    ++line.number;
    take(line);
  }
  if (interrupted()) {
    throw Interrupted(concat(path_, " was not read to its end, and nothing was done"));
  }
}

void FlowFile::take(const SourceLine &line) try {
  refuse_nul(line.text);
  if (!is_blank(line.text)) {
    changes_.push_back(parse_flow_mod(line.text, interfaces_));
    changes_.back().flow.line = line.number;
  }
} catch (const TextError &error) {
  if (++bad_lines_ <= kMostReported) {
    errors_.push_back(diagnostic(line, error));
  }
}

std::vector<FlowMod> FlowFile::finish() {
  if (bad_lines_ != 0) {
    const char *more = bad_lines_ > kMostReported ? ", the first of them above" : "";
    throw FileError(concat(path_, ": ", counted(bad_lines_, "bad line"), more, "; nothing was sent"),
                    std::move(errors_));
  }
  return std::move(changes_);
}

}  // namespace

std::vector<FlowMod> read_flow_file(const std::string &path, const host::services::Interfaces &interfaces) {
  ScriptReader file(path);
  FlowFile flows(file.name(), interfaces);
  flows.read(file);
  return flows.finish();
}

}  // namespace app
