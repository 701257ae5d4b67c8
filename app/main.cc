// oftab-switch: a switch on which liboftab runs, driven by commands.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <string>

#include "app/serve/serve.h"
#include "app/terminal/shell.h"
#include "app/terminal/terminal.h"
#include "host/switch.h"

namespace {

struct Options {
  std::string script;                   // "-" is standard input
  std::optional<std::string> commands;  // semicolons between them
  bool no_boot = false;
  bool serves = false;
  app::ServeOptions serve;
};

bool run_file(app::Shell &shell, const std::string &path) {
  std::ifstream script(path);
  if (!script) {
    std::cerr << path << ": " << std::strerror(errno) << '\n';
    return false;
  }
  return shell.run_script(script, path);
}

bool run(app::Session &session, const Options &options) {
  const bool at_terminal = isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
  const bool interactive = options.script.empty() && !options.commands && at_terminal;
  app::Shell shell(session, interactive);
  if (options.commands) {
    return shell.run_commands(*options.commands);
  }
  if (interactive) {
    std::cout << "A switch with 48 ports is running. 'help' lists the commands.\n";
    run_terminal(shell, session);
    return true;
  }
  if (options.script.empty() || options.script == "-") {
    return shell.run_script(std::cin, "standard input");
  }
  return run_file(shell, options.script);
}

bool serve(app::Session &session, const Options &options) {
  agent::Agent agent(session.device);
  app::Service service(session, agent, options.serve.identity);
  app::set_miss(agent, options.serve.miss);
  app::Shell shell(session, false);
  if (!options.serve.script.empty() && !run_file(shell, options.serve.script)) {
    return false;
  }
  app::serve(service, options.serve);
  return true;
}

int start(const Options &options) {
  host::Switch device;
  if (!options.no_boot) {
    device.boot();
  }
  app::Session session{device, &std::cout, app::Style(app::takes_colour(STDOUT_FILENO)), {}};
  device.system_log().echo_to([&session](std::string_view text) { *session.out << "syslog: " << text; });
  const bool good = options.serves ? serve(session, options) : run(session, options);
  device.system_log().echo_to({});
  return good ? 0 : 1;
}

}  // namespace

int main(int count, char **words) try {
  CLI::App parser(
      "A switch with 48 ports on which liboftab programs OpenFlow flows into a simulated ASIC.\n"
      "Without arguments it takes commands from the terminal, or from standard input; 'help' lists them.",
      "oftab-switch");
  Options options;
  parser.add_option("-c,--commands", options.commands, "run these commands, separated by semicolons");
  parser.add_flag("--no-boot", options.no_boot, "leave the library uninitialised until the command 'boot'");
  parser.set_version_flag("--version", "oftab-switch " OFTAB_VERSION);
  CLI::App *script = parser.add_subcommand("run", "run the commands of a script; stop at the first that fails");
  script->add_option("SCRIPT", options.script, "the script, '-' for standard input")->required();
  options.serve.identity.software = "oftab-switch " OFTAB_VERSION;
  const CLI::App *serve_command = app::add_serve(parser, options.serve);
  CLI11_PARSE(parser, count, words);
  options.serves = serve_command->parsed();
  return start(options);
} catch (const std::exception &error) {
  std::fprintf(stderr, "oftab-switch: %s\n", error.what());
  return 1;
}
