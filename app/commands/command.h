// SPDX-License-Identifier: Apache-2.0
// Commands: what they are called with, what they work on, and the table of all of them.
#ifndef APP_COMMANDS_COMMAND_H
#define APP_COMMANDS_COMMAND_H

#include <optional>
#include <ostream>
#include <span>
#include <string_view>
#include <vector>

#include "agent/agent.h"
#include "agent/text.h"
#include "app/views/format.h"
#include "app/views/top.h"
#include "host/audit.h"
#include "host/switch.h"

namespace app {

// Runs commands and scripts for commands that are about others.
class CommandRunner {
 public:
  virtual ~CommandRunner() = default;

  // Runs the command that begins at byte `start` of `line`; throws what it throws.
  virtual void run_command(std::string_view line, size_t start) = 0;

  // Runs a script inside the running one. A CommandError when not all of it succeeded.
  virtual void source(const std::string &path) = 0;

  // The same with the lines of a text, which messages call `name`. False when one failed, with a message.
  virtual bool run_text(const std::string &text, const std::string &name) = 0;

  // Ends the script that runs inside another one, or else all.
  virtual void quit() = 0;
};

class Service;

constexpr int kKnownStates = 2;  // the program's status when an audit found nothing else

// What commands work on.
struct Session {
  host::Switch &device;
  agent::Agent &agent;  // of that switch
  std::ostream *out;
  Style style;
  host::AuditExceptions audit_exceptions;                            // differences that earlier commands explain
  host::services::Levels console_levels = host::services::kNoLevel;  // what the trace console prints
  bool finished = false;                                             // the operator wants to leave
  int status = 0;                                                    // of the program, when no command failed
  CommandRunner *runner = nullptr;                                   // while commands run
  Service *service = nullptr;                                        // the switch's OpenFlow connections
  bool draws = false;  // the output is a terminal on which pictures can be drawn, with an operator at it
  Top top{};           // what happens right now
  uint32_t catch_all_application = 1;  // of the controller, for packets that no flow matches
  bool remote = false;                 // the command is an operator's who is elsewhere: the switch must not wait for it
};

// The words behind a command's name, taken one after the other. What does not fit throws a TextError.
class Arguments {
 public:
  Arguments(std::string_view line, size_t start)
      : line_(line), start_(start), words_(agent::split_words(line, start)) {}

  // For commands with a syntax of their own: the whole line, and where the arguments begin in it.
  std::string_view line() const { return line_; }
  size_t start() const { return start_; }

  bool empty() const { return words_.empty(); }
  const agent::Word &first() const { return words_.front(); }

  // The next word; `what` says what is missing if there is none, or an empty one.
  agent::Word next(std::string_view what);
  std::optional<agent::Word> next_if_any();
  uint64_t next_number(uint64_t low, uint64_t high, std::string_view what);

  // Takes a word out of wherever it stands: `flag` itself, or what follows "name=".
  bool take_flag(std::string_view flag);
  std::optional<agent::Word> take_option(std::string_view name);
  uint64_t take_number(std::string_view name, uint64_t low, uint64_t high, uint64_t otherwise);

  // Nothing may be left.
  void finish() const;

 private:
  std::string_view line_;
  size_t start_;
  std::vector<agent::Word> words_;
};

// The next word, as a file that the command is going to read: "-" is standard input. A CommandError when a switch that
// serves would have to wait for it.
std::string next_file(const Session &session, Arguments &arguments);

struct Command {
  std::string_view name;       // one or two words
  std::string_view arguments;  // in help
  std::string_view help;       // first line: what it does in a few words; details may follow
  void (*run)(Session &session, Arguments &arguments);
  bool long_output = false;          // worth a pager
  bool live = false;                 // drawn anew each second where the output is a terminal
  bool typed_whole = false;          // its name cannot be shortened
  std::string (*names)() = nullptr;  // in help, behind the text: what the parser knows
};

struct CommandGroup {
  std::string_view title;
  std::span<const Command> commands;
};

std::span<const CommandGroup> command_groups();

// The commands whose names begin with a word, or with the only first word that it begins; none when there is none. A
// TextError that lists the words when it begins several.
std::vector<const Command *> commands_beginning(const agent::Word &word);

// The command that begins at byte `start` of a line, and where its arguments begin. Words of its name can be shortened
// as long as they are unique, unless it is to be typed whole. A TextError when there is none, or more than one.
struct FoundCommand {
  const Command *command;
  size_t arguments;
};
FoundCommand find_command(std::string_view line, size_t start = 0);

// The groups, each in its own file.
std::span<const Command> flow_commands();
std::span<const Command> flow_file_commands();
std::span<const Command> flow_listing_commands();
std::span<const Command> packet_commands();
std::span<const Command> answer_commands();
std::span<const Command> statistics_commands();
std::span<const Command> interface_commands();
std::span<const Command> port_commands();
std::span<const Command> port_channel_commands();
std::span<const Command> openflow_commands();
std::span<const Command> view_commands();
std::span<const Command> top_commands();
std::span<const Command> trace_commands();
std::span<const Command> fault_commands();
std::span<const Command> debug_commands();
std::span<const Command> setup_commands();
std::span<const Command> shell_commands();

}  // namespace app

#endif
