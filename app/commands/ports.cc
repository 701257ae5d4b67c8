// SPDX-License-Identifier: Apache-2.0
// Commands about what the front-panel ports lead to.
#include <algorithm>
#include <cctype>

#include "agent/field_values.h"
#include "agent/interface_names.h"
#include "app/commands/command.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kLongestName = 15;

// What the kernel can name so, and an operator can read.
bool names_interface(std::string_view name) {
  return !name.empty() && name.size() <= kLongestName &&
         std::ranges::all_of(name, [](unsigned char c) { return std::isgraph(c) != 0 && c != '/' && c != ':'; });
}

std::string next_end(Arguments &arguments) {
  constexpr std::string_view tap = "tap:";
  const Word end = arguments.next("a network interface or tap:NAME");
  const size_t prefix = end.text.starts_with(tap) ? tap.size() : 0;
  const Word name{end.text.substr(prefix), end.column + prefix};
  if (!names_interface(name.text)) {
    throw TextError(name.column, concat("a network interface's name has 1 to ", kLongestName,
                                        " visible characters, not ", quoted(name)));
  }
  return std::string(end.text);
}

void attach(Session &session, Arguments &arguments) {
  const uint32_t ifindex = interface_named(arguments.next("a port"), session.device.interfaces());
  const std::string end = next_end(arguments);
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

std::string link_text(const Port &port) {
  const std::string speed = port.link.megabits == 0 ? "" : concat(" ", port.link.megabits, " Mbit/s");
  return concat(port.link.up ? "up" : "down", speed, (port.config & kPortDown) != 0 ? ", switched off" : "");
}

std::vector<std::string> row_of(const Port &port, const host::ports::PortEnd &end) {
  const PortCounts &counts = port.counts;
  std::vector<std::string> row{port.name, end.described(), mac_text(port.hw_addr), link_text(port)};
  for (const uint64_t count :
       {counts.rx_packets, counts.rx_bytes, counts.rx_dropped, counts.rx_errors, counts.rx_overruns, counts.tx_packets,
        counts.tx_bytes, counts.tx_dropped, counts.tx_errors}) {
    row.push_back(std::to_string(count));
  }
  return row;
}

// First the agent looks at the links, as it does some times a second while the switch serves.
void list(Session &session, Arguments &arguments) {
  arguments.finish();
  session.agent.advance(Time::zero());
  std::vector<Column> columns{{"Port"}, {"Leads to"}, {"MAC address"}, {"Link"}};
  for (const char *count : {"RX packets", "RX bytes", "RX dropped", "RX errors", "RX overruns", "TX packets",
                            "TX bytes", "TX dropped", "TX errors"}) {
    columns.push_back({count, Column::Right});
  }
  Table table(std::move(columns));
  for (const auto &[ifindex, attached] : session.device.ports().ports()) {
    table.add(row_of(*session.agent.ports().find(ifindex), *attached.end));
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
