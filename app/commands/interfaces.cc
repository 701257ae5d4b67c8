// SPDX-License-Identifier: Apache-2.0
// Commands about interfaces and VLANs.
#include "agent/interface_names.h"
#include "agent/requests.h"
#include "agent/responses.h"
#include "agent/status.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

std::vector<uint32_t> remaining_interfaces(Session &session, Arguments &arguments) {
  std::vector<uint32_t> ifindexes;
  do {
    for (const auto &[name, ifindex] : listed_interfaces(arguments.next("an interface"), session.device.interfaces())) {
      ifindexes.push_back(ifindex);
    }
  } while (!arguments.empty());
  return ifindexes;
}

void request_interfaces(Session &session, uint32_t intf_op, std::span<const uint32_t> ifindexes) {
  const Response response = submit_interfaces(session.device, interface_request(intf_op, ifindexes));
  std::string failures;
  for (const Response::Entry &entry : response.entries) {
    if (entry.status != OFTAB_OK) {
      failures += concat(failures.empty() ? "" : ", ", interface_name(entry.id), ": ",
                         status_text(Operation::Interfaces, entry.status));
    }
  }
  if (response.status != OFTAB_OK) {
    throw CommandError(
        concat("nothing changed: ", failures.empty() ? status_text(Operation::Interfaces, response.status) : failures));
  }
  *session.out << "OpenFlow interfaces: " << oftab_hw_rsrc_g.intf_count << '\n';
}

void add_interfaces(Session &session, Arguments &arguments) {
  request_interfaces(session, OFTAB_INTF_ADD, remaining_interfaces(session, arguments));
}

void delete_interfaces(Session &session, Arguments &arguments) {
  request_interfaces(session, OFTAB_INTF_DELETE, remaining_interfaces(session, arguments));
}

void change_id(Session &session, Arguments &arguments) {
  const uint32_t ifindex = interface_named(arguments.next("the interface"), session.device.interfaces());
  const auto id = static_cast<uint16_t>(arguments.next_number(0, Interfaces::kInterfaceIds - 1, "an interface id"));
  arguments.finish();
  session.device.change_interface_id(ifindex, id);
  session.agent.follow_interfaces();
  *session.out << interface_name(ifindex) << " has interface id " << hex(id) << '\n';
}

void set_openflow(Session &session, Arguments &arguments) {
  const uint32_t ifindex = interface_named(arguments.next("the interface"), session.device.interfaces());
  const Word mode = arguments.next("on or off");
  arguments.finish();
  if (mode.text != "on" && mode.text != "off") {
    throw TextError(mode.column, "on or off, not " + quoted(mode));
  }
  session.device.change_openflow_state(ifindex, mode.text == "on" ? 1 : 0);
  *session.out << interface_name(ifindex) << ": OpenFlow "
               << (hdmpd_is_ifdb_openflow_enabled(ifindex) != 0 ? "enabled" : "disabled") << '\n';
}

void set_hw_lif(Session &session, Arguments &arguments) {
  const uint32_t ifindex = port_named(arguments.next("the port"));
  const auto hw_lif = static_cast<uint16_t>(arguments.next_number(0, 0xFFFF, "a hardware LIF"));
  arguments.finish();
  session.device.change_hw_lif(ifindex, hw_lif);
  *session.out << interface_name(ifindex) << " has hardware LIF " << hex(hw_lif) << '\n';
}

std::string pc_text(const Interfaces &interfaces, uint32_t ifindex) {
  const auto pc = interfaces.pc_of(ifindex);
  return pc ? interface_name(*pc) : "-";
}

std::string slot_text(uint32_t slot) {
  const uint32_t occupant = oftab_hw_rsrc_g.intf_tbl[slot];
  return oftab_hw_rsrc_g.initialized == 0 || occupant == OFTAB_EMPTY_SLOT ? "-" : interface_name(occupant);
}

void list_interfaces(Session &session, Arguments &arguments) {
  arguments.finish();
  const Interfaces &interfaces = session.device.interfaces();
  Table table({{"Port"},
               {"Ifindex"},
               {"Interface id", Column::Right},
               {"OpenFlow"},
               {"In table"},
               {"LLDP match"},
               {"HW LIF", Column::Right},
               {"Port channel"}});
  for (uint32_t slot = 0; slot < Interfaces::kPorts; ++slot) {
    const uint32_t ifindex = Interfaces::port_ifindex(slot);
    const auto lldp = session.device.asic().static_matches().lldp(static_cast<uint8_t>(slot + 1));
    table.add({interface_name(ifindex), hex(ifindex), interface_id_text(interfaces, ifindex),
               openflow_text(interfaces, ifindex), slot_text(slot), lldp == 1U ? "on" : "off",
               hex(oftab_hw_rsrc_g.port_hw_lif[slot]), pc_text(interfaces, ifindex)});
  }
  table.print(*session.out, session.style);
}

void set_vlan(Session &session, Arguments &arguments) {
  const auto vlan = static_cast<uint16_t>(arguments.next_number(1, 4094, "a VLAN"));
  const Word domain = arguments.next("a bridge domain or none");
  arguments.finish();
  host::asic::Vlans &vlans = session.device.asic().vlans();
  if (domain.text == "none") {
    vlans.remove(vlan);
  } else {
    vlans.add(vlan, static_cast<uint16_t>(number_in(domain, 1, 0x1FFF, "a bridge domain")));
  }
  session.agent.follow_interfaces();
  *session.out << "VLAN " << vlan << " has bridge domain " << domain.text << '\n';
}

constexpr Command kCommands[] = {
    {"interfaces", "", "list the front-panel ports", list_interfaces, true},
    {"interface add", "PORT|PC...", "make interfaces OpenFlow interfaces, in one request", add_interfaces},
    {"interface delete", "PORT|PC...", "make them ordinary interfaces again", delete_interfaces},
    {"interface id", "PORT|PC ID", "give an interface another hardware interface id", change_id},
    {"interface openflow", "PORT|PC on|off", "change an interface's OpenFlow state in the interface manager",
     set_openflow},
    {"interface hw-lif", "PORT LIF", "tell the library a port's hardware LIF", set_hw_lif},
    {"vlan", "VLAN BRIDGE-DOMAIN|none", "change the bridge domain of a VLAN, which is VLAN + 100 at first", set_vlan},
};

}  // namespace

std::span<const Command> interface_commands() {
  return kCommands;
}

}  // namespace app
