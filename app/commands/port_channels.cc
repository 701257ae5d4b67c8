// SPDX-License-Identifier: Apache-2.0
// Commands about port channels.
#include <algorithm>
#include <bit>
#include <set>

#include "agent/failures.h"
#include "agent/flow_mod.h"
#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

// The ports named by the remaining words, each once and each of them as `check` wants it: all of them can then be
// changed.
template <typename Check>
std::vector<uint32_t> remaining_ports(const Interfaces &interfaces, Arguments &arguments, Check check) {
  std::vector<uint32_t> ports;
  while (!arguments.empty()) {
    for (const auto &[name, port] : listed_interfaces(arguments.next("a port"), interfaces)) {
      if (Interfaces::pc_number(port)) {
        throw TextError(name.column, concat("a member is a front-panel port, not ", quoted(name)));
      }
      if (std::ranges::find(ports, port) != ports.end()) {
        throw TextError(name.column, interface_name(port) + " is named twice");
      }
      check(name, port);
      ports.push_back(port);
    }
  }
  return ports;
}

// What a library that answers nothing traced as failures since there were `failures_before` of them.
void report_failures(Session &session, uint32_t pc, uint64_t failures_before) {
  if (failure_since(failures_before, session.device) != nullptr) {
    throw CommandError(concat("the members of ", interface_name(pc), " changed, but not all its flows follow them"));
  }
}

// The ports that the flow's outputs stand for.
std::set<uint32_t> output_ports(const Flow &flow, const Interfaces &interfaces) {
  std::set<uint32_t> ports;
  for (const Action &action : flow.actions) {
    const auto port = static_cast<uint32_t>(action.value);
    if (action.kind == Action::Kind::Output && Interfaces::pc_number(port)) {
      const auto members = interfaces.members(port);
      ports.insert(members.begin(), members.end());
    } else if (action.kind == Action::Kind::Output && Interfaces::port_slot(port)) {
      ports.insert(port);
    }
  }
  return ports;
}

// The flows of the hardware that send to other ports than the members that the port channel has.
std::vector<uint32_t> stale_flows(const Session &session, uint32_t pc) {
  std::vector<uint32_t> seq_nos;
  for (const oftab_sw_entry_t &record : table_records()) {
    const TableEntry *entry = is_live(record) ? session.agent.flows().find(record.seq_no) : nullptr;
    if (entry == nullptr || !sends_to(entry->flow, pc) || is_on_cpu(entry->flow)) {
      continue;
    }
    std::set<uint32_t> ports;
    for (const uint8_t sdk_port : host::asic::ports_of(record.out_ports)) {
      ports.insert(sdk_port_ifindex(sdk_port));
    }
    if (ports != output_ports(entry->flow, session.device.interfaces())) {
      seq_nos.push_back(record.seq_no);
    }
  }
  return seq_nos;
}

std::string stale_text(const Session &session, uint32_t pc) {
  const std::vector<uint32_t> stale = stale_flows(session, pc);
  return stale.empty() ? ""
                       : concat("; ", counted(stale.size(), "flow"), " did not follow, the first ", stale.front(),
                                ": 'mod-flow' brings them up to date");
}

void print_members(Session &session, uint32_t pc) {
  const std::string members = interface_names(session.device.interfaces().members(pc));
  *session.out << interface_name(pc) << " has " << (members.empty() ? "no members" : concat("members ", members))
               << stale_text(session, pc) << '\n';
}

void change_members(Session &session, uint32_t pc, std::span<const uint32_t> ports,
                    void (host::Switch::*change)(uint32_t, uint32_t)) {
  const uint64_t failures_before = session.device.tracing().failure_count();
  for (const uint32_t port : ports) {
    (session.device.*change)(port, pc);
  }
  report_failures(session, pc, failures_before);
}

std::vector<uint32_t> remaining_free_ports(Session &session, Arguments &arguments) {
  return remaining_ports(session.device.interfaces(), arguments, [&session](const Word &name, uint32_t port) {
    if (const auto pc = session.device.interfaces().pc_of(port)) {
      throw TextError(name.column, concat(interface_name(port), " is a member of ", interface_name(*pc)));
    }
  });
}

void create_port_channel(Session &session, Arguments &arguments) {
  const Word name = arguments.next("the port channel's number");
  const uint32_t pc = possible_port_channel_named(name);
  if (session.device.interfaces().exists(pc)) {
    throw TextError(name.column, interface_name(pc) + " exists already");
  }
  const std::vector<uint32_t> ports = remaining_free_ports(session, arguments);
  session.device.interfaces().create_pc(pc);
  change_members(session, pc, ports, &host::Switch::join);
  session.agent.follow_interfaces();
  *session.out << interface_name(pc) << " created" << stale_text(session, pc) << '\n';
}

void delete_port_channel(Session &session, Arguments &arguments) {
  const Word name = arguments.next("the port channel");
  const uint32_t pc = port_channel_named(name, session.device.interfaces());
  arguments.finish();
  if (const auto members = session.device.interfaces().members(pc); !members.empty()) {
    throw TextError(name.column, concat(interface_name(pc), " has members ", interface_names(members)));
  }
  session.device.interfaces().delete_pc(pc);
  session.agent.follow_interfaces();
  *session.out << interface_name(pc) << " deleted\n";
}

// The port channel of a membership command, with a port behind it.
uint32_t next_port_channel(Session &session, Arguments &arguments) {
  const uint32_t pc = port_channel_named(arguments.next("the port channel"), session.device.interfaces());
  if (arguments.empty()) {
    arguments.next("a port");
  }
  return pc;
}

void join(Session &session, Arguments &arguments) {
  const uint32_t pc = next_port_channel(session, arguments);
  change_members(session, pc, remaining_free_ports(session, arguments), &host::Switch::join);
  print_members(session, pc);
}

void leave(Session &session, Arguments &arguments) {
  const uint32_t pc = next_port_channel(session, arguments);
  const auto is_member = [&](const Word &name, uint32_t port) {
    if (session.device.interfaces().pc_of(port) != pc) {
      throw TextError(name.column, concat(interface_name(port), " is no member of ", interface_name(pc)));
    }
  };
  change_members(session, pc, remaining_ports(session.device.interfaces(), arguments, is_member), &host::Switch::leave);
  print_members(session, pc);
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
    {"port-channel delete", "PC", "delete a port channel that has no members", delete_port_channel},
    {"port-channel join", "PC PORT...", "ports join a port channel", join},
    {"port-channel leave", "PC PORT...", "ports leave a port channel", leave},
};

}  // namespace

std::span<const Command> port_channel_commands() {
  return kCommands;
}

}  // namespace app
