// SPDX-License-Identifier: Apache-2.0
// oftab-switch: a switch on which liboftab runs, driven by commands.
#include <fcntl.h>
#include <sysexits.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>

#include "app/attach.h"
#include "app/serve/console_protocol.h"
#include "app/serve/serve.h"
#include "app/terminal/output.h"
#include "app/terminal/shell.h"
#include "app/terminal/signals.h"
#include "app/terminal/terminal.h"
#include "host/switch.h"

namespace {

constexpr int kSignalled = 128;  // what shells add to the number of a signal that ended a program

struct Options {
  std::string script;                   // "-" is standard input
  std::optional<std::string> commands;  // semicolons between them
  bool then_prompt = false;
  bool keep_going = false;
  bool no_boot = false;
  bool serves = false;
  app::ServeOptions serve;
  bool attaches = false;
  std::string console;
};

// A standard descriptor that was closed stays unusable, instead of becoming some file that is opened later.
void occupy_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) == -1) {
      open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

// Names of any language at the prompt, whatever the environment says.
void use_utf8() {
  std::setlocale(LC_CTYPE, "");
  if (MB_CUR_MAX == 1) {
    std::setlocale(LC_CTYPE, "C.UTF-8");
  }
}

bool run_prompt(app::Shell &shell, app::Session &session) {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
    return shell.run_script("-");
  }
  *session.out << "A switch with 48 ports is running. 'help' lists the commands." << std::endl;
  shell.set_paging(true);
  shell.set_keep_going(false);
  const int status = session.status;
  app::run_terminal({[&](const std::string &line) {
                       shell.run_line({"", 1, line});
                       session.service->follow_commands();
                     },
                     [&] { return session.finished; },
                     [&](int descriptor) { return session.service->wait_for_input(descriptor); },
                     [&](const std::string &command) { return shell.output_of(command); }});
  session.status = status;
  return true;
}

bool run(app::Session &session, const Options &options) {
  app::Shell shell(session);
  shell.set_keep_going(options.keep_going);
  if (!options.commands && options.script.empty()) {
    return run_prompt(shell, session);
  }
  const bool good = options.commands ? shell.run_lines_of(*options.commands, "-c") : shell.run_script(options.script);
  if (options.then_prompt && !session.finished && app::termination() == 0) {
    return run_prompt(shell, session) && good;
  }
  return good;
}

// `status`: of the commands.
int exit_status(int status) {
  if (app::termination() != 0) {
    return kSignalled + app::termination();
  }
  return status == 1 && app::interrupted() ? kSignalled + SIGINT : status;
}

bool serve(app::Service &service, app::Session &session, const Options &options) {
  app::Shell shell(session);
  if (!options.serve.script.empty() && !shell.run_script(options.serve.script)) {
    return false;
  }
  if (app::termination() == 0) {
    app::serve(service, options.serve);
  }
  return true;
}

int start(const Options &options) {
  host::Switch device;
  device.clock().show_time_of_day(true);
  if (!options.no_boot) {
    device.boot();
  }
  agent::Agent agent(device, options.serve.identity.datapath_id);
  app::Output output(STDOUT_FILENO);
  app::Session session{device, agent, &output, app::Style(app::takes_colour(STDOUT_FILENO)), {}};
  session.draws = app::can_draw();
  device.system_log().echo_to([&session](std::string_view text) { *session.out << "syslog: " << text; });
  app::Service service(session, agent, options.serve.identity);
  if (options.serves) {
    app::set_miss(agent, options.serve.miss);
    agent.packets().guard().set_rates(options.serve.cpu);
    app::attach_ports(device, options.serve.ports);
  }
  const bool good = options.serves ? serve(service, session, options) : run(session, options);
  device.system_log().echo_to({});
  return exit_status(good ? session.status : 1);
}

CLI::Option *add_commands(CLI::App &parser, Options &options) {
  return parser.add_option("-c,--commands", options.commands, "run these commands, separated by semicolons");
}

// How a switch of one's own runs commands.
std::array<CLI::Option *, 3> add_flags(CLI::App &parser, Options &options) {
  return {parser.add_flag("--no-boot", options.no_boot, "leave the library uninitialised until the command 'boot'"),
          parser.add_flag("--keep-going", options.keep_going, "go on behind commands that fail"),
          parser.add_flag("--then-prompt", options.then_prompt, "go on at a prompt when the commands are through")};
}

// What the command line says ends up in `options`. A subcommand excludes what stands before it and says nothing to it.
void add_words(CLI::App &parser, Options &options) {
  CLI::Option *commands = add_commands(parser, options);
  const auto flags = add_flags(parser, options);
  parser.set_version_flag("--version", "oftab-switch " OFTAB_VERSION);
  parser.require_subcommand(0, 1);
  CLI::App *script = parser.add_subcommand("run", "run the commands of a script; stop at the first that fails");
  add_flags(*script, options);
  script->add_option("SCRIPT", options.script, "the script, '-' for standard input")
      ->required()
      ->check(app::file_name_trouble);
  options.serve.identity.software = "oftab-switch " OFTAB_VERSION;
  CLI::App *serve = app::add_serve(parser, options.serve);
  serve->callback([&options] { options.serves = true; });
  CLI::App *attach = parser.add_subcommand("attach", "take commands for a switch that serves");
  attach->callback([&options, commands, behind = add_commands(*attach, options)] {
    if (commands->count() + behind->count() > 1) {
      throw CLI::ArgumentMismatch::AtMost(commands->get_name(), 1, 2);
    }
    options.attaches = true;
  });
  attach->add_option("PATH", options.console, "its --socket")
      ->default_str(app::default_console_path())
      ->check(app::file_name_trouble);
  script->excludes(commands);
  serve->excludes(commands);
  for (CLI::Option *flag : flags) {
    serve->excludes(flag);
    attach->excludes(flag);
  }
}

// Reads the words and does what they say; the status to end with.
int run_words(int count, char **words) {
  CLI::App parser(
      "A switch with 48 ports on which liboftab programs OpenFlow flows into a simulated ASIC.\n"
      "Without arguments it takes commands from the terminal, or from standard input; 'help' lists them.",
      "oftab-switch");
  Options options;
  add_words(parser, options);
  try {
    parser.parse(count, words);
    return options.attaches ? exit_status(app::attach(options.console, options.commands)) : start(options);
  } catch (const CLI::ParseError &error) {
    return parser.exit(error) == 0 ? 0 : EX_USAGE;
  }
}

}  // namespace

int main(int count, char **words) try {
  occupy_standard_descriptors();
  use_utf8();
  app::catch_signals();
  return run_words(count, words);
} catch (const std::exception &error) {
  std::fprintf(stderr, "oftab-switch: %s\n", error.what());
  return exit_status(1);
}
