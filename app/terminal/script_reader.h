// SPDX-License-Identifier: Apache-2.0
// The lines of a script, from a file or from standard input.
#ifndef APP_TERMINAL_SCRIPT_READER_H
#define APP_TERMINAL_SCRIPT_READER_H

#include <functional>
#include <string>

namespace app {

class ScriptReader {
 public:
  // Waits until a descriptor can be read; false when a signal asks to end before that.
  using Wait = std::function<bool(int descriptor)>;

  // `path`: "-" is standard input. A CommandError when it cannot be read.
  explicit ScriptReader(const std::string &path, Wait wait = only_wait);
  ~ScriptReader();
  ScriptReader(const ScriptReader &) = delete;
  ScriptReader &operator=(const ScriptReader &) = delete;

  // As messages call the script.
  const std::string &name() const { return name_; }

  // The next line; false at the end, or when the operator interrupts. A CommandError when it cannot be read.
  bool next(std::string &line);

 private:
  static bool only_wait(int descriptor);
  bool read_more();

  std::string name_;
  int descriptor_;
  Wait wait_;
  bool at_start_ = true;
  std::string ahead_;  // read, and not yet taken
};

}  // namespace app

#endif
