// SPDX-License-Identifier: Apache-2.0
#include "app/serve/serve.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <map>
#include <stdexcept>

#include "agent/interface_names.h"
#include "app/serve/console_protocol.h"

namespace app {

using namespace agent;

namespace {

using Kind = HardwareActions::Kind;

const std::map<std::string, Kind> kMisses{
    {"controller", Kind::Controller}, {"drop", Kind::Drop}, {"normal", Kind::Normal}};

constexpr char kDefaultListen[] = "ptcp:6653:127.0.0.1";

uint64_t datapath_id(const std::string &text) {
  uint64_t number = 0;
  const char *const end = text.data() + text.size();
  const auto read = std::from_chars(text.data() + (text.starts_with("0x") ? 2 : 0), end, number, 16);
  if (read.ec != std::errc() || read.ptr != end) {
    throw CLI::ValidationError("--datapath-id", text + " is no hexadecimal number of 64 bits");
  }
  return number;
}

// What is wrong with an option's endpoint; nothing when it is one.
std::string endpoint_trouble(const std::string &text, bool listens) try {
  const bool good = openflow::endpoint_named({text, 1}).listens == listens;
  return good ? "" : concat("'", text, listens ? "' is a controller, not where to listen" : "' is no controller");
} catch (const TextError &error) {
  return error.what();
}

void add_endpoints(CLI::App &command, const std::string &name, std::vector<std::string> &endpoints, bool listens,
                   const std::string &forms) {
  command.add_option(name, endpoints, forms)->take_all()->expected(1)->check([listens](const std::string &text) {
    return endpoint_trouble(text, listens);
  });
}

void add(Service &service, const std::string &endpoint) {
  service.add(openflow::endpoint_named({endpoint, 1}));
}

uint32_t port_named(const std::string &name, host::Switch &device) try {
  return interface_named({name, 1}, device.interfaces());
} catch (const TextError &error) {
  throw CLI::ValidationError("--port", error.what());
}

void add_tls(CLI::App &command, openflow::TlsFiles &tls) {
  const auto add_file = [&command](const char *name, std::string &file, const char *what) {
    return command.add_option(name, file, what)->check(file_name_trouble);
  };
  CLI::Option *key = add_file("--private-key", tls.private_key, "this switch's key for ssl: and pssl:");
  CLI::Option *certificate = add_file("--certificate", tls.certificate, "its certificate");
  CLI::Option *ca = add_file("--ca-cert", tls.ca_cert, "certificates of who must have signed the peers'");
  key->needs(certificate, ca);
  certificate->needs(key, ca);
  ca->needs(key, certificate);
}

}  // namespace

std::string file_name_trouble(const std::string &name) {
  return name.empty() ? "the name of a file is missing" : "";
}

CLI::App *add_serve(CLI::App &parser, ServeOptions &options) {
  CLI::App *command =
      parser.add_subcommand("serve", "serve OpenFlow 1.0 controllers and clients until SIGTERM or SIGINT");
  command->add_option("SCRIPT", options.script, "commands to run first")->check(file_name_trouble);
  add_endpoints(*command, "--listen", options.listen, true, "ptcp:PORT[:ADDRESS] or pssl:PORT[:ADDRESS]");
  add_endpoints(*command, "--controller", options.controllers, false, "tcp:ADDRESS[:PORT] or ssl:ADDRESS[:PORT]");
  command->add_option("--port", options.ports, "PORT=INTERFACE, or PORT=tap:NAME for a TAP: what a port leads to")
      ->take_all()
      ->expected(1);
  command->add_option_function<std::string>(
      "--datapath-id", [&options](const std::string &text) { options.identity.datapath_id = datapath_id(text); },
      "the switch's number, hexadecimal");
  command->add_option("--miss", options.miss, "what becomes of packets that no flow matches")
      ->check(CLI::IsMember(&kMisses))
      ->capture_default_str();
  command->add_option("--cpu-rate", options.cpu.packets, "packets a second for flows that the CPU serves")
      ->capture_default_str();
  command->add_option("--packet-in-rate", options.cpu.packet_ins, "packets a second for the controllers")
      ->capture_default_str();
  command->add_option("--socket", options.socket, "where 'attach' finds this switch")
      ->default_str(default_console_path())
      ->check(file_name_trouble);
  add_tls(*command, options.tls);
  return command;
}

void attach_ports(host::Switch &device, const std::vector<std::string> &ports) {
  for (const std::string &text : ports) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size() || text.ends_with("=tap:")) {
      throw CLI::ValidationError("--port", concat("'", text, "' is not PORT=INTERFACE or PORT=tap:NAME"));
    }
    const uint32_t ifindex = port_named(text.substr(0, equals), device);
    device.ports().attach(ifindex, host::ports::make_end(text.substr(equals + 1)));
  }
}

void set_miss(Agent &agent, const std::string &miss) {
  if (!agent.set_miss(kMisses.at(miss))) {
    throw std::runtime_error("the hardware refuses the catch-all entry");
  }
}

void serve(Service &service, const ServeOptions &options) {
  if (!options.tls.private_key.empty()) {
    service.server().use(options.tls);
  }
  service.open_console(options.socket.empty() ? default_console_path() : options.socket);
  for (const std::string &endpoint : options.listen) {
    add(service, endpoint);
  }
  for (const std::string &endpoint : options.controllers) {
    add(service, endpoint);
  }
  if (options.listen.empty() && options.controllers.empty()) {
    add(service, kDefaultListen);
  }
  service.run();
}

}  // namespace app
