// SPDX-License-Identifier: Apache-2.0
// The lines of a script, from a file or from standard input.
#ifndef APP_TERMINAL_SCRIPT_READER_H
#define APP_TERMINAL_SCRIPT_READER_H

#include <string>

namespace app {

class ScriptReader {
 public:
  // `path`: "-" is standard input. A CommandError when it cannot be read.
  explicit ScriptReader(const std::string &path);
  ~ScriptReader();
  ScriptReader(const ScriptReader &) = delete;
  ScriptReader &operator=(const ScriptReader &) = delete;

  // As messages call the script.
  const std::string &name() const { return name_; }

  // The next line; false at the end, or when the operator interrupts. A CommandError when it cannot be read.
  bool next(std::string &line);

 private:
  bool read_more();

  std::string name_;
  int descriptor_;
  bool at_start_ = true;
  std::string ahead_;  // read, and not yet taken
};

}  // namespace app

#endif
