// SPDX-License-Identifier: Apache-2.0
// `oftab-switch serve`: a switch that OpenFlow controllers, clients and operators drive.
#ifndef APP_SERVE_SERVE_H
#define APP_SERVE_SERVE_H

#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/openflow/identity.h"
#include "agent/openflow/stream.h"
#include "app/serve/service.h"

namespace CLI {
class App;
}

namespace app {

struct ServeOptions {
  std::string script;
  std::vector<std::string> listen;
  std::vector<std::string> controllers;
  std::vector<std::string> ports;
  agent::openflow::Identity identity;
  std::string miss = "controller";
  agent::Guard::Rates cpu;
  std::string socket;
  agent::openflow::TlsFiles tls;
};

// What is wrong with a word that is to name a file; nothing when nothing is.
std::string file_name_trouble(const std::string &name);

// The subcommand, whose words end up in `options`.
CLI::App *add_serve(CLI::App &parser, ServeOptions &options);

// Lets ports lead to the interfaces that "N=INTERFACE" names. A std::exception says what is wrong with one: a
// CLI::ParseError if it is how that is written.
void attach_ports(host::Switch &device, const std::vector<std::string> &ports);

// What becomes of packets that no flow matches. A std::runtime_error when the hardware does not take it.
void set_miss(agent::Agent &agent, const std::string &miss);

// Listens, seeks controllers and opens the console as the options say, then serves until a signal ends it.
void serve(Service &service, const ServeOptions &options);

}  // namespace app

#endif
