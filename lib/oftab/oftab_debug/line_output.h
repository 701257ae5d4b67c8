// Where the lines of a show go: to the command shell, or to the trace outputs when there is none.
#ifndef OFTAB_LINE_OUTPUT_H
#define OFTAB_LINE_OUTPUT_H

namespace oftab {

class line_output {
 public:
  explicit line_output(void *shell_context) : context_(shell_context) {}

  // Prints one line. Nothing is printed any more once the shell has stopped.
  void print(const char *format, ...) __attribute__((format(printf, 2, 3)));

  bool stopped() const { return stopped_; }

  // What the show returns: the shell's answer to the last line, 0 once it has stopped and without a shell.
  int result() const { return stopped_ ? 0 : last_; }

 private:
  void *context_;
  int last_ = 0;
  bool stopped_ = false;
};

}  // namespace oftab

#endif
