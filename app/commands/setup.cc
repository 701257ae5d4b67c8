// SPDX-License-Identifier: Apache-2.0
// Commands that keep the whole set-up of the switch as a script, and bring it back.
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "agent/table_view.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/flow_changes.h"
#include "app/commands/setup_script.h"
#include "app/commands/trial.h"
#include "app/terminal/script_reader.h"
#include "app/terminal/signals.h"

namespace app {

using namespace agent;

namespace {

void delete_all_flows(Session &session) {
  FlowMod all;
  all.command = FlowMod::Command::Delete;
  apply_changes(session, {&all, 1});
}

// Keeps what commands print from the operator while it lives.
class Quiet {
 public:
  explicit Quiet(Session &session) : session_(session), out_(std::exchange(session.out, &nowhere_)) {}
  ~Quiet() { session_.out = out_; }
  Quiet(const Quiet &) = delete;
  Quiet &operator=(const Quiet &) = delete;

 private:
  Session &session_;
  std::ostream *out_;
  std::ostringstream nowhere_;
};

void run_quietly(Session &session, const std::string &commands, const std::string &what) {
  const Quiet quiet(session);
  if (!session.runner->run_text(commands, what)) {
    throw CommandError(what + " failed");
  }
}

void clear_setup(Session &session) {
  delete_all_flows(session);
  std::ostringstream undoing;
  write_undoing(undoing, session);
  run_quietly(session, undoing.str(), "emptying the set-up");
}

void reset(Session &session, Arguments &arguments) {
  arguments.finish();
  clear_setup(session);
  *session.out << "the switch is set up as at its start\n";
}

void save(Session &session, Arguments &arguments) {
  const std::string path(arguments.next("the file").text);
  arguments.finish();
  std::ofstream file(path);
  write_setup(file, session);
  file.close();
  if (!file) {
    throw CommandError(concat(path, ": ", std::strerror(errno)));
  }
  *session.out << "set-up saved to " << escaped(path) << ", " << counted(installed_flows(session.device).size(), "flow")
               << '\n';
}

void replace_setup(Session &session, const std::string &commands, const std::string &what) {
  clear_setup(session);
  run_quietly(session, commands, what);
}

std::string contents(const std::string &path) {
  ScriptReader script(path);
  std::string text;
  for (std::string line; script.next(line);) {
    text += line + '\n';
  }
  return text;
}

// A script that fails is known before anything is lost. The set-up comes back where it is interrupted.
void load(Session &session, Arguments &arguments) {
  const std::string path = next_file(session, arguments);
  arguments.finish();
  const std::string script = contents(path);
  if (!succeeds_in_copy(session, [&] { replace_setup(session, script, path); })) {
    throw ScriptError(path + " cannot be loaded; the set-up is what it was");
  }
  std::ostringstream before;
  write_setup(before, session);
  try {
    replace_setup(session, script, path);
  } catch (const std::exception &) {
    forget_interrupt();
    session.finished = false;
    replace_setup(session, before.str(), "bringing back the set-up");
    throw ScriptError(path + " was not loaded; the set-up is what it was, with counters that start anew");
  }
  *session.out << "set-up loaded from " << escaped(path) << ", "
               << counted(installed_flows(session.device).size(), "flow") << '\n';
}

constexpr Command kCommands[] = {
    {"save", "FILE",
     "write the whole set-up to a file, as a script\n"
     "VLANs, interfaces, port channels, the catch-all, the CPU's rates, flows, the hardware's capacities. What ports "
     "lead\n"
     "to, OpenFlow connections, traces and faults belong to the running switch.",
     save},
    {"load", "FILE",
     "replace the set-up by that of a file\n"
     "The file is a script, as 'save' writes them. One that fails changes nothing.",
     load},
    {"reset", "", "empty the set-up: no flows, no port channels, interfaces and VLANs as at the start", reset},
};

}  // namespace

std::span<const Command> setup_commands() {
  return kCommands;
}

}  // namespace app
