// SPDX-License-Identifier: Apache-2.0
// Commands about the shell itself.
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/passing_time.h"

namespace app {

using namespace agent;

namespace {

constexpr uint64_t kLongestWatch = 86400;

std::string usage(const Command &command) {
  return concat(command.name, command.arguments.empty() ? "" : " ", command.arguments);
}

std::string_view first_line(std::string_view text) {
  return text.substr(0, text.find('\n'));
}

void list_commands(Session &session) {
  for (const CommandGroup &group : command_groups()) {
    *session.out << session.style.heading(group.title) << '\n';
    Table table{std::vector<Column>(2)};
    for (const Command &command : group.commands) {
      table.add({"  " + usage(command), std::string(first_line(command.help))});
    }
    table.print(*session.out, session.style);
  }
}

// Describes the commands whose names begin with a text, up to the end of a word if it is a `whole` one; returns how
// many there are.
size_t describe(Session &session, const std::string &beginning, bool whole) {
  size_t found = 0;
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      if (command.name == beginning || command.name.starts_with(whole ? beginning + " " : beginning)) {
        *session.out << session.style.heading(usage(command)) << '\n' << command.help << '\n';
        *session.out << (command.names == nullptr ? "" : command.names());
        ++found;
      }
    }
  }
  return found;
}

void help(Session &session, Arguments &arguments) {
  if (arguments.empty()) {
    list_commands(session);
    return;
  }
  const Word first = arguments.next("the command");
  std::string name(first.text);
  while (const auto word = arguments.next_if_any()) {
    name += concat(" ", word->text);
  }
  if (describe(session, name, true) == 0 && describe(session, name, false) == 0) {
    throw TextError(first.column, concat("unknown command '", name, "'; 'help' lists them all"));
  }
}

void echo(Session &session, Arguments &arguments) {
  std::string text;
  while (const auto word = arguments.next_if_any()) {
    text += concat(text.empty() ? "" : " ", word->text);
  }
  *session.out << session.style.heading(escaped(text)) << '\n';
}

void source(Session &session, Arguments &arguments) {
  const std::string path = next_file(session, arguments);
  arguments.finish();
  session.runner->source(path);
}

void watch(Session &session, Arguments &arguments) {
  const std::chrono::seconds seconds(arguments.next_number(1, kLongestWatch, "a time in seconds"));
  if (arguments.empty()) {
    arguments.next("the command");
  }
  if (session.remote) {
    throw CommandError("'watch' would keep the serving switch waiting: repeat 'oftab-switch attach -c ...' instead");
  }
  const std::string_view line = arguments.line();
  const size_t start = arguments.first().column - 1;
  while (session.out->good()) {
    *session.out << (session.draws ? "\033[H\033[J" : "")
                 << session.style.faint(concat("every ", seconds.count(), " s: ", escaped(line.substr(start)))) << '\n';
    session.runner->run_command(line, start);
    session.out->flush();
    if (!pass_time(session, seconds)) {
      return;
    }
  }
}

void quit(Session &session, Arguments &arguments) {
  arguments.finish();
  session.runner->quit();
}

constexpr Command kCommands[] = {
    {"help", "[COMMAND]", "list the commands, or describe one", help, true},
    {"echo", "[TEXT]", "print a line", echo},
    {"source", "FILE", "run the commands of a script up to the first that fails; '-' is standard input", source},
    {"watch", "SECONDS COMMAND...",
     "run a command again and again, until Ctrl-C\n"
     "While it waits, the switch's clock goes on as well: counters are collected.",
     watch},
    {"?", "[COMMAND]", "the same as 'help'", help, true},
    {"exit", "", "the same as 'quit'", quit, false, false, true},
    {"quit", "",
     "leave; so does the end of the input. In a script that another one or 'load' runs, it ends that script\n"
     "Unlike the names of other commands, 'quit' and 'exit' are typed whole: a 'q' meant for a pager ends no switch.",
     quit, false, false, true},
};

}  // namespace

std::span<const Command> shell_commands() {
  return kCommands;
}

}  // namespace app
