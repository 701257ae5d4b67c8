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

void add(Service &service, const std::string &text, bool listens) {
  const openflow::Endpoint endpoint = openflow::endpoint_named({text, 1});
  if (endpoint.listens != listens) {
    throw std::invalid_argument(text + (listens ? " is a controller, not where to listen" : " is no controller"));
  }
  service.add(endpoint);
}

void add_tls(CLI::App &command, openflow::TlsFiles &tls) {
  CLI::Option *key = command.add_option("--private-key", tls.private_key, "this switch's key for ssl: and pssl:");
  CLI::Option *certificate = command.add_option("--certificate", tls.certificate, "its certificate");
  CLI::Option *ca = command.add_option("--ca-cert", tls.ca_cert, "certificates of who must have signed the peers'");
  key->needs(certificate, ca);
  certificate->needs(key, ca);
  ca->needs(key, certificate);
}

}  // namespace

CLI::App *add_serve(CLI::App &parser, ServeOptions &options) {
  CLI::App *command =
      parser.add_subcommand("serve", "serve OpenFlow 1.0 controllers and clients until SIGTERM or SIGINT");
  command->add_option("SCRIPT", options.script, "commands to run first");
  command->add_option("--listen", options.listen, "ptcp:PORT[:ADDRESS] or pssl:PORT[:ADDRESS]")
      ->take_all()
      ->expected(1);
  command->add_option("--controller", options.controllers, "tcp:ADDRESS[:PORT] or ssl:ADDRESS[:PORT]")
      ->take_all()
      ->expected(1);
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
      ->default_str(default_console_path());
  add_tls(*command, options.tls);
  return command;
}

void attach_ports(host::Switch &device, const std::vector<std::string> &ports) {
  for (const std::string &text : ports) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size() || text.ends_with("=tap:")) {
      throw std::invalid_argument("--port " + text + ": PORT=INTERFACE or PORT=tap:NAME is wanted");
    }
    const std::string port = text.substr(0, equals);
    const uint32_t ifindex = interface_named({port, 1}, device.interfaces());
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
    add(service, endpoint, true);
  }
  for (const std::string &endpoint : options.controllers) {
    add(service, endpoint, false);
  }
  if (options.listen.empty() && options.controllers.empty()) {
    add(service, kDefaultListen, true);
  }
  service.run();
}

}  // namespace app
