// SPDX-License-Identifier: Apache-2.0
// Runs commands: from a script, from the command line, or from an operator at a terminal.
#ifndef APP_TERMINAL_SHELL_H
#define APP_TERMINAL_SHELL_H

#include <functional>
#include <string>
#include <string_view>

#include "app/commands/command.h"
#include "app/syntax/diagnostics.h"
#include "app/terminal/command_line.h"

namespace app {

class Shell : public CommandRunner {
 public:
  // Makes the session's commands run here while it lives.
  explicit Shell(Session &session);
  ~Shell() override;
  Shell(const Shell &) = delete;
  Shell &operator=(const Shell &) = delete;

  // Whether a reader at the terminal may want a pager.
  void set_paging(bool on) { pages_ = on; }
  // Whether scripts go on behind a command that failed.
  void set_keep_going(bool on) { keep_going_ = on; }

  // Runs the commands of one line up to the first that fails. False when one did, with a message on standard error.
  // Blank lines and comments succeed.
  bool run_line(const SourceLine &source);

  // Runs the lines of a text in the same way; messages call it `name`.
  bool run_lines_of(const std::string &text, const std::string &name);

  // Runs the lines of a script up to its end, 'quit' or the first that fails. `path`: "-" is standard input.
  bool run_script(const std::string &path);

  // What a command that only looks prints; nothing when it fails.
  std::string output_of(const std::string &command);

  void run_command(std::string_view line, size_t start) override;
  void source(const std::string &path) override;
  bool run_text(const std::string &text, const std::string &name) override;
  void quit() override;

 private:
  bool run_lines(const std::string &name, const std::function<bool(std::string &)> &next);
  std::function<bool(int)> waiting();
  bool run_inside(const std::function<bool()> &run);
  bool run_reported(const SourceLine &source, const CommandText &command);
  void run_to_program(const CommandText &command);
  void run_paged(const CommandText &command);
  void report(const Diagnostic &diagnostic) const;
  void report(const SourceLine &source, const std::string &message) const;
  bool output_is_good(const SourceLine &source);
  bool trace_file_is_good(const SourceLine &source);
  std::string with_failure(const std::string &message, uint64_t failures_before) const;

  Session &session_;
  CommandRunner *runner_before_;
  bool pages_ = false;
  bool keep_going_ = false;
  size_t inside_ = 0;          // scripts that run inside each other
  bool script_ended_ = false;  // the innermost of them, by 'quit'
};

}  // namespace app

#endif
