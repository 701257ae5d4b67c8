// SPDX-License-Identifier: Apache-2.0
// The command shell's output.
#ifndef HOST_SERVICES_SHELL_H
#define HOST_SERVICES_SHELL_H

#include <functional>
#include <string_view>

namespace host::services {

class Shell {
 public:
  // Takes one line, its newline included; false stops the command (the operator left the pager).
  using Sink = std::function<bool(std::string_view line)>;

  // A shell context for one command of the library, whose lines go to `sink`. Valid until the next call.
  void *context(Sink sink) {
    sink_ = std::move(sink);
    return this;
  }

  // For the import: false when the output cannot go on.
  bool print(std::string_view line) { return sink_ && sink_(line); }

 private:
  Sink sink_;
};

}  // namespace host::services

#endif
