// SPDX-License-Identifier: Apache-2.0
#include "app/commands/setup_script.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "app/commands/catch_all.h"
#include "app/commands/flow_listing.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

constexpr uint16_t kFirstVlan = 1;
constexpr uint16_t kLastVlan = 4094;

// How the switch starts: what differs from that is saved.
const host::asic::Asic &first_asic() {
  static host::services::Violations none;
  static const host::asic::Asic first(none);
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
    std::ranges::copy_if(oftab_hw_rsrc_g.intf_tbl, std::back_inserter(occupants),
                         [](uint32_t each) { return each != OFTAB_EMPTY_SLOT; });
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
    if (const auto domain = vlans.bridge_domain(vlan); domain && domain != unless.bridge_domain(vlan)) {
      out << "vlan " << vlan << ' ' << *domain << '\n';
    }
  }
}

// Flows that name them can be there all the same.
void write_removed_vlans(std::ostream &out, const host::asic::Vlans &vlans) {
  for (uint16_t vlan = kFirstVlan; vlan <= kLastVlan; ++vlan) {
    if (!vlans.bridge_domain(vlan) && first_asic().vlans().bridge_domain(vlan)) {
      out << "vlan " << vlan << " none\n";
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

void write_cpu_rates(std::ostream &out, const Guard::Rates &rates, const Guard::Rates &unless) {
  if (rates != unless) {
    out << "cpu rate=" << rates.packets << " packet-ins=" << rates.packet_ins << '\n';
  }
}

void write_capacities(std::ostream &out, const host::asic::Asic &asic, const host::asic::Asic &unless) {
  const auto write = [&out](const char *what, size_t capacity, size_t other) {
    if (capacity != other) {
      out << "capacity " << what << ' ' << capacity << '\n';
    }
  };
  write("counters", asic.counters().capacity(), unless.counters().capacity());
  write("trees", asic.trees().capacity(), unless.trees().capacity());
  write("tcam", asic.tcam().capacity(), unless.tcam().capacity());
}

// The flows in the order in which adding them makes the same table: among flows of the highest priority the last that
// is added comes first, further down the first.
std::vector<Flow> flows_to_add(const Session &session) {
  std::vector<InstalledFlow> flows = installed_flows(session.device, session.agent.flows());
  const auto behind_top = std::ranges::find_if(
      flows, [&flows](const InstalledFlow &each) { return priority_of(each.flow) != priority_of(flows.front().flow); });
  std::ranges::reverse(flows.begin(), behind_top);
  std::vector<Flow> in_order;
  std::ranges::transform(flows, std::back_inserter(in_order), &InstalledFlow::flow);
  return in_order;
}

// Port channels that were deleted, and that actions or the table of interfaces name all the same.
std::set<uint32_t> lost_port_channels(std::span<const Flow> flows, const Interfaces &interfaces) {
  std::set<uint32_t> lost;
  const auto consider = [&](uint64_t ifindex) {
    const auto named = static_cast<uint32_t>(ifindex);
    if (Interfaces::pc_number(named) && !interfaces.exists(named)) {
      lost.insert(named);
    }
  };
  for (const Flow &flow : flows) {
    for (const Action &action : flow.actions) {
      consider(changes_packets(action.kind) ? 0 : action.value);
    }
  }
  std::ranges::for_each(openflow_interfaces(), consider);
  return lost;
}

void write_for_each(std::ostream &out, const char *command, const std::set<uint32_t> &port_channels) {
  for (const uint32_t pc : port_channels) {
    out << command << ' ' << *Interfaces::pc_number(pc) << '\n';
  }
}

}  // namespace

void write_setup(std::ostream &out, const Session &session) {
  const Interfaces &interfaces = session.device.interfaces();
  const host::asic::Asic &asic = session.device.asic();
  const std::vector<Flow> flows = flows_to_add(session);
  const std::set<uint32_t> lost = lost_port_channels(flows, interfaces);
  out << "# The set-up of a switch with 48 ports, for 'load'.\n";
  write_vlans(out, asic.vlans(), first_asic().vlans());
  write_ports(out, interfaces);
  write_port_channels(out, interfaces);
  write_for_each(out, "port-channel create", lost);
  if (const auto occupants = openflow_interfaces(); !occupants.empty()) {
    out << "interface add" << listed(occupants) << '\n';
  }
  out << "catch-all " << catch_all_text(session) << '\n';
  write_cpu_rates(out, session.agent.packets().guard().rates(), {});
  for (const Flow &flow : flows) {
    write_flow(out, flow);
  }
  write_for_each(out, "port-channel delete", lost);
  write_removed_vlans(out, asic.vlans());
  write_capacities(out, asic, first_asic());
}

void write_undoing(std::ostream &out, const Session &session) {
  const Interfaces &interfaces = session.device.interfaces();
  write_capacities(out, first_asic(), session.device.asic());
  const std::set<uint32_t> lost = lost_port_channels({}, interfaces);
  write_for_each(out, "port-channel create", lost);
  if (const auto occupants = openflow_interfaces(); !occupants.empty()) {
    out << "interface delete" << listed(occupants) << '\n';
  }
  write_for_each(out, "port-channel delete", lost);
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
  write_vlans(out, first_asic().vlans(), session.device.asic().vlans());
  write_cpu_rates(out, {}, session.agent.packets().guard().rates());
  out << "write clear 4095 4095\ncatch-all drop\n";
}

}  // namespace app
