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
  const openflow::Endpoint endpoint = openflow::endpoint_named(arguments.next(what));
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

constexpr Command kCommands[] = {
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
