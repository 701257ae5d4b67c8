// SPDX-License-Identifier: Apache-2.0
// Commands about OpenFlow connections.
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/serve/service.h"

namespace app {

using namespace agent;

namespace {

Service &service_of(Session &session) {
  if (session.service == nullptr) {
    throw CommandError("this switch has no OpenFlow connections");
  }
  return *session.service;
}

openflow::Endpoint take_endpoint(Arguments &arguments, const char *what) {
  openflow::Endpoint endpoint = openflow::endpoint_named(arguments.next(what));
  arguments.finish();
  return endpoint;
}

void add(Session &session, Arguments &arguments, bool listens, const char *what) {
  const Word word = arguments.empty() ? Word{} : arguments.first();
  const openflow::Endpoint endpoint = take_endpoint(arguments, what);
  if (endpoint.listens != listens) {
    throw TextError(word.column, concat(quoted(word), " is not ", what));
  }
  service_of(session).add(endpoint);
}

void listen(Session &session, Arguments &arguments) {
  add(session, arguments, true, "ptcp:PORT[:ADDRESS] or pssl:PORT[:ADDRESS]");
}

void connect(Session &session, Arguments &arguments) {
  add(session, arguments, false, "tcp:ADDRESS[:PORT] or ssl:ADDRESS[:PORT]");
}

void disconnect(Session &session, Arguments &arguments) {
  const openflow::Endpoint endpoint = take_endpoint(arguments, "an endpoint");
  if (!service_of(session).server().remove(endpoint)) {
    throw CommandError(concat("there is no ", to_text(endpoint), "; 'controllers' lists what there is"));
  }
}

void list_controllers(Session &session, Arguments &arguments) {
  arguments.finish();
  Table table({{"Endpoint"}, {"State"}, {"Packet-ins dropped", Column::Right}});
  for (const openflow::Server::Peer &peer : service_of(session).server().peers()) {
    table.add({peer.name, peer.state, std::to_string(peer.dropped_packet_ins)});
  }
  table.print(*session.out, session.style);
}

void guard_cpu(Session &session, Arguments &arguments) {
  constexpr uint64_t most = 0xFFFFFFFF;
  Guard &guard = session.agent.packets().guard();
  Guard::Rates rates = guard.rates();
  rates.packets = static_cast<uint32_t>(arguments.take_number("rate", 0, most, rates.packets));
  rates.packet_ins = static_cast<uint32_t>(arguments.take_number("packet-ins", 0, most, rates.packet_ins));
  arguments.finish();
  guard.set_rates(rates);
  *session.out << "a second, " << counted(rates.packets, "packet") << " of flows that the CPU serves and "
               << counted(rates.packet_ins, "packet-in") << " at most\n";
  Table table({{"Port"}, {"Packets dropped", Column::Right}, {"Packet-ins dropped", Column::Right}});
  for (const auto &[ifindex, port] : session.agent.ports().all()) {
    if (port.counts.cpu_dropped + port.counts.packet_ins_dropped != 0) {
      table.add({port.name, std::to_string(port.counts.cpu_dropped), std::to_string(port.counts.packet_ins_dropped)});
    }
  }
  table.print(*session.out, session.style);
}

constexpr Command kCommands[] = {
    {"cpu", "[rate=N] [packet-ins=N]",
     "show, or set, how many packets a second reach the CPU\n"
     "Those of flows that the hardware cannot serve, and those for the controllers; and what was dropped, by port.",
     guard_cpu},
    {"listen", "ptcp:PORT[:ADDRESS]|pssl:PORT[:ADDRESS]",
     "take OpenFlow 1.0 clients and controllers\n"
     "From then on the switch's time passes as the wall clock's does.",
     listen},
    {"connect", "tcp:ADDRESS[:PORT]|ssl:ADDRESS[:PORT]",
     "seek an OpenFlow 1.0 controller, again and again when it is lost\n"
     "From then on the switch's time passes as the wall clock's does.",
     connect},
    {"disconnect", "ENDPOINT", "no longer listen there, or seek that controller; or let go of a peer that came in",
     disconnect},
    {"controllers", "", "list where the switch listens, and its peers", list_controllers},
};

}  // namespace

std::span<const Command> openflow_commands() {
  return kCommands;
}

}  // namespace app
