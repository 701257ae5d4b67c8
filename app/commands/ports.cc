// SPDX-License-Identifier: Apache-2.0
// Commands about what the front-panel ports lead to.
#include "agent/interface_names.h"
#include "app/commands/command.h"

namespace app {

using namespace agent;

namespace {

void attach(Session &session, Arguments &arguments) {
  const uint32_t ifindex = interface_named(arguments.next("a port"), session.device.interfaces());
  const std::string end(arguments.next("a network interface or tap:NAME").text);
  arguments.finish();
  session.device.ports().attach(ifindex, host::ports::make_end(end));
  *session.out << interface_name(ifindex) << " leads to " << escaped(end) << '\n';
}

void detach(Session &session, Arguments &arguments) {
  const uint32_t ifindex = interface_named(arguments.next("a port"), session.device.interfaces());
  arguments.finish();
  session.device.ports().detach(ifindex);
  *session.out << interface_name(ifindex) << " leads nowhere\n";
}

std::string mac_text(const std::array<uint8_t, 6> &mac) {
  char text[sizeof "00:00:00:00:00:00"];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  return text;
}

std::string link_text(const host::ports::LinkState &state, uint32_t config) {
  const std::string speed = state.megabits == 0 ? "" : concat(" ", state.megabits, " Mbit/s");
  return concat(state.up ? "up" : "down", speed, (config & kPortDown) != 0 ? ", switched off" : "");
}

void list(Session &session, Arguments &arguments) {
  arguments.finish();
  constexpr auto kRight = Column::Right;
  Table table({{"Port"},
               {"Leads to"},
               {"MAC address"},
               {"Link"},
               {"RX packets", kRight},
               {"RX bytes", kRight},
               {"RX dropped", kRight},
               {"RX errors", kRight},
               {"RX overruns", kRight},
               {"TX packets", kRight},
               {"TX bytes", kRight},
               {"TX dropped", kRight},
               {"TX errors", kRight}});
  for (const auto &[ifindex, port] : session.device.ports().ports()) {
    const Port &known = *session.agent.ports().find(ifindex);
    const PortCounts &counts = known.counts;
    std::vector<std::string> row{interface_name(ifindex), port.end->name(), mac_text(port.state.mac),
                                 link_text(port.state, known.config)};
    for (const uint64_t count :
         {counts.rx_packets, counts.rx_bytes, counts.rx_dropped, counts.rx_errors, counts.rx_overruns,
          counts.tx_packets, counts.tx_bytes, counts.tx_dropped, counts.tx_errors}) {
      row.push_back(std::to_string(count));
    }
    table.add(std::move(row));
  }
  table.print(*session.out, session.style);
}

constexpr Command kCommands[] = {
    {"ports", "", "list what the ports lead to, and count their frames", list, true},
    {"port attach", "PORT INTERFACE|tap:NAME",
     "let a port lead to a network interface, or to a TAP that it makes\n"
     "Frames pass while the switch serves.",
     attach},
    {"port detach", "PORT", "let a port lead nowhere again", detach},
};

}  // namespace

std::span<const Command> port_commands() {
  return kCommands;
}

}  // namespace app
