// SPDX-License-Identifier: Apache-2.0
// Where the lines of a view go, one call a line: to the shell, or into the trace.
//
// PRINT(out, format, ...) prints a line to any of the outputs below. The format is a literal that the compiler checks
// against its arguments.
#ifndef OFTAB_LINE_OUTPUT_H
#define OFTAB_LINE_OUTPUT_H

#include "oftab/trace.h"

namespace oftab {

// Where in the source a line is printed.
struct source_line {
  const char *file;
  int line;
};

// The command shell or, when there is none, the trace outputs, without prefix and ring.
class line_output {
 public:
  explicit line_output(void *shell_context) : context_(shell_context) {}

  // Nothing is printed any more once the shell has stopped.
  void print(source_line, const char *format, ...) __attribute__((format(printf, 3, 4)));

  bool stopped() const { return stopped_; }

  // What the show returns: the shell's answer to the last line, 0 once it has stopped and without a shell.
  int result() const { return stopped_ ? 0 : last_; }

 private:
  void *context_;
  int last_ = 0;
  bool stopped_ = false;
};

// Trace points of one level, in the name of one operation.
template <trace::level Level>
class trace_output {
 public:
  explicit trace_output(const char *function) : function_(function) {}

  template <typename... Args>
  void print(source_line at, const char *format, Args... args) const {
    trace::point<Level>({at.file, function_, at.line}, format, args...);
  }

 private:
  const char *function_;
};

}  // namespace oftab

#define PRINT(out, ...)                             \
  do {                                              \
    OFTAB_CHECK_FORMAT(__VA_ARGS__);                \
    (out).print({__FILE__, __LINE__}, __VA_ARGS__); \
  } while (false)

#endif
