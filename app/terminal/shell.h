// Runs commands: from a script, from the command line, or from an operator at a terminal.
#ifndef APP_TERMINAL_SHELL_H
#define APP_TERMINAL_SHELL_H

#include <istream>
#include <string>

#include "app/commands/command.h"
#include "app/syntax/diagnostics.h"

namespace app {

class Shell {
 public:
  // `pages`: the output is a terminal whose reader may want a pager.
  Shell(Session &session, bool pages) : session_(session), pages_(pages) {}

  // Runs one line; false, with a message on standard error, when it failed. Blank lines and comments succeed.
  bool run_line(const SourceLine &source);

  // Runs the lines of a script up to its end, 'quit' or the first that fails.
  bool run_script(std::istream &script, const std::string &name);

  // Runs commands separated by semicolons likewise; messages count them as lines.
  bool run_commands(const std::string &commands);

 private:
  void execute(std::string_view line);
  void report(const Diagnostic &diagnostic) const;
  void report(const SourceLine &source, const std::string &message) const;

  Session &session_;
  bool pages_;
};

}  // namespace app

#endif
