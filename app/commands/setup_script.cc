// SPDX-License-Identifier: Apache-2.0
#include "app/commands/setup_script.h"

#include <algorithm>
#include <utility>

#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "app/commands/flow_listing.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

constexpr uint16_t kFirstVlan = 1;
constexpr uint16_t kLastVlan = 4094;

// How the switch starts: what differs from that is saved.
const host::asic::Vlans &first_vlans() {
  static const host::asic::Vlans first;
  return first;
}

const Interfaces &first_interfaces() {
  static const Interfaces first;
  return first;
}

std::vector<uint32_t> all_ports() {
  std::vector<uint32_t> ports;
  for (uint32_t slot = 0; slot < Interfaces::kPorts; ++slot) {
    ports.push_back(Interfaces::port_ifindex(slot));
  }
  return ports;
}

std::vector<uint32_t> openflow_interfaces() {
  std::vector<uint32_t> occupants;
  if (oftab_hw_rsrc_g.initialized != 0) {
    std::copy_if(std::begin(oftab_hw_rsrc_g.intf_tbl), std::end(oftab_hw_rsrc_g.intf_tbl),
                 std::back_inserter(occupants), [](uint32_t each) { return each != OFTAB_EMPTY_SLOT; });
  }
  return occupants;
}

std::string listed(std::span<const uint32_t> ifindexes) {
  std::string names;
  for (const uint32_t ifindex : ifindexes) {
    names += concat(" ", interface_name(ifindex));
  }
  return names;
}

void write_vlans(std::ostream &out, const host::asic::Vlans &vlans, const host::asic::Vlans &unless) {
  for (uint16_t vlan = kFirstVlan; vlan <= kLastVlan; ++vlan) {
    if (const auto domain = vlans.bridge_domain(vlan); domain != unless.bridge_domain(vlan)) {
      out << "vlan " << vlan << ' ' << (domain ? std::to_string(*domain) : "none") << '\n';
    }
  }
}

// What distinguishes an interface from `first`, as the same interface was at the start.
void write_interface(std::ostream &out, uint32_t ifindex, const Interfaces &interfaces, const Interfaces &first) {
  const auto id = interfaces.intf_id(ifindex);
  if (id && id != first.intf_id(ifindex)) {
    out << "interface id " << interface_name(ifindex) << ' ' << hex(*id) << '\n';
  }
  if (const std::string state = openflow_text(interfaces, ifindex); state != openflow_text(first, ifindex)) {
    out << "interface openflow " << interface_name(ifindex) << (state == "enabled" ? " on" : " off") << '\n';
  }
}

void write_port_channels(std::ostream &out, const Interfaces &interfaces) {
  Interfaces first;
  for (const uint32_t pc : interfaces.port_channels()) {
    first.create_pc(pc);
    out << "port-channel create " << *Interfaces::pc_number(pc) << listed(interfaces.members(pc)) << '\n';
    write_interface(out, pc, interfaces, first);
  }
}

void write_ports(std::ostream &out, const Interfaces &interfaces) {
  for (const uint32_t port : all_ports()) {
    write_interface(out, port, interfaces, first_interfaces());
    if (const uint32_t lif = oftab_hw_rsrc_g.port_hw_lif[*Interfaces::port_slot(port)]; lif != 0) {
      out << "interface hw-lif " << interface_name(port) << ' ' << hex(lif) << '\n';
    }
  }
}

void write_flow(std::ostream &out, const Flow &flow) {
  out << "add-flow seq=" << *flow.seq_no << ", ";
  if (flow.cookie != 0) {
    out << "cookie=" << hex(flow.cookie) << ", ";
  }
  out << flow_text(flow) << '\n';
}

// Among flows of the highest priority the last that is added comes first, further down the first.
void write_flows(std::ostream &out, const Session &session) {
  std::vector<InstalledFlow> flows = installed_flows(session.device);
  const auto behind_top = std::find_if(flows.begin(), flows.end(), [&flows](const InstalledFlow &each) {
    return priority_of(each.flow) != priority_of(flows.front().flow);
  });
  std::reverse(flows.begin(), behind_top);
  for (const InstalledFlow &each : flows) {
    const TableEntry *entry = session.agent.flows().find(*each.flow.seq_no);
    write_flow(out, entry == nullptr ? each.flow : entry->flow);
  }
}

}  // namespace

void write_setup(std::ostream &out, const Session &session) {
  const Interfaces &interfaces = session.device.interfaces();
  out << "# The set-up of a switch with 48 ports, for 'load'.\n";
  write_vlans(out, session.device.asic().vlans(), first_vlans());
  write_ports(out, interfaces);
  write_port_channels(out, interfaces);
  if (const auto occupants = openflow_interfaces(); !occupants.empty()) {
    out << "interface add" << listed(occupants) << '\n';
  }
  HardwareActions catch_all = actions_of(oftab_hw_rsrc_g.catch_all_entry, interfaces);
  // Copies to the controller, once asked for, stay when the catch-all is given another action.
  if (std::exchange(catch_all.copy_to_controller, false)) {
    out << "catch-all controller\n";
  }
  out << "catch-all " << to_text(catch_all) << '\n';
  write_flows(out, session);
}

void write_undoing(std::ostream &out, host::Switch &device) {
  const Interfaces &interfaces = device.interfaces();
  if (const auto occupants = openflow_interfaces(); !occupants.empty()) {
    out << "interface delete" << listed(occupants) << '\n';
  }
  for (const uint32_t pc : interfaces.port_channels()) {
    const uint32_t number = *Interfaces::pc_number(pc);
    if (const auto members = interfaces.members(pc); !members.empty()) {
      out << "port-channel leave " << number << listed(members) << '\n';
    }
    out << "port-channel delete " << number << '\n';
  }
  for (const uint32_t port : all_ports()) {
    write_interface(out, port, first_interfaces(), interfaces);
    if (oftab_hw_rsrc_g.port_hw_lif[*Interfaces::port_slot(port)] != 0) {
      out << "interface hw-lif " << interface_name(port) << " 0\n";
    }
  }
  write_vlans(out, first_vlans(), device.asic().vlans());
  out << "write clear 4095 4095\ncatch-all drop\n";
}

}  // namespace app
