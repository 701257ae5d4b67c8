// Commands about port channels.
#include <bit>

#include "agent/interface_names.h"
#include "app/commands/command.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

// A port that is no member of a port channel yet.
uint32_t free_port_named(const Word &name, const Interfaces &interfaces) {
  const uint32_t ifindex = port_named(name);
  if (const auto pc = interfaces.pc_of(ifindex)) {
    throw TextError(name.column, concat(interface_name(ifindex), " is a member of ", interface_name(*pc)));
  }
  return ifindex;
}

void create_port_channel(Session &session, Arguments &arguments) {
  const uint32_t pc = possible_port_channel_named(arguments.next("the port channel's number"));
  std::vector<uint32_t> members;
  while (!arguments.empty()) {
    members.push_back(free_port_named(arguments.next(""), session.device.interfaces()));
  }
  session.device.interfaces().create_pc(pc);
  for (const uint32_t member : members) {
    session.device.join(member, pc);
  }
  *session.out << interface_name(pc) << " created\n";
}

void delete_port_channel(Session &session, Arguments &arguments) {
  const uint32_t pc = port_channel_named(arguments.next("the port channel"), session.device.interfaces());
  arguments.finish();
  session.device.interfaces().delete_pc(pc);
  *session.out << interface_name(pc) << " deleted\n";
}

// Applies a membership change to each port named behind a port channel.
void change_members(Session &session, Arguments &arguments, void (host::Switch::*change)(uint32_t, uint32_t)) {
  const uint32_t pc = port_channel_named(arguments.next("the port channel"), session.device.interfaces());
  std::vector<uint32_t> ports;
  do {
    ports.push_back(port_named(arguments.next("a port")));
  } while (!arguments.empty());
  for (const uint32_t port : ports) {
    (session.device.*change)(port, pc);
  }
  const std::string members = interface_names(session.device.interfaces().members(pc));
  *session.out << interface_name(pc) << " has " << (members.empty() ? "no members" : concat("members ", members))
               << '\n';
}

void join(Session &session, Arguments &arguments) {
  change_members(session, arguments, &host::Switch::join);
}

void leave(Session &session, Arguments &arguments) {
  change_members(session, arguments, &host::Switch::leave);
}

size_t flows_of(uint32_t pc) {
  size_t flows = 0;
  if (const pc_entry *entry = oftab_pc_entry_find(pc)) {
    for (const uint32_t word : entry->flow_mask) {
      flows += static_cast<size_t>(std::popcount(word));
    }
  }
  return flows;
}

void list_port_channels(Session &session, Arguments &arguments) {
  arguments.finish();
  const Interfaces &interfaces = session.device.interfaces();
  Table table({{"Port channel"},
               {"Ifindex"},
               {"Interface id", Column::Right},
               {"OpenFlow"},
               {"Flows", Column::Right},
               {"Members"}});
  for (const uint32_t pc : interfaces.port_channels()) {
    table.add({interface_name(pc), hex(pc), interface_id_text(interfaces, pc), openflow_text(interfaces, pc),
               std::to_string(flows_of(pc)), interface_names(interfaces.members(pc))});
  }
  table.print(*session.out, session.style);
}

constexpr Command kCommands[] = {
    {"port-channels", "", "list the port channels", list_port_channels},
    {"port-channel create", "NUMBER [PORT...]", "create a port channel, with members", create_port_channel},
    {"port-channel delete", "NUMBER", "delete a port channel that has no members", delete_port_channel},
    {"port-channel join", "NUMBER PORT...", "ports join a port channel", join},
    {"port-channel leave", "NUMBER PORT...", "ports leave a port channel", leave},
};

}  // namespace

std::span<const Command> port_channel_commands() {
  return kCommands;
}

}  // namespace app
