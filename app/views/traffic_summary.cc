// SPDX-License-Identifier: Apache-2.0
#include "app/views/traffic_summary.h"

#include <algorithm>
#include <vector>

#include "agent/actions.h"
#include "agent/flow.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"

namespace app {

using namespace agent;

namespace {

using host::asic::Fate;
using host::asic::PacketHeader;

constexpr size_t kFlowsShown = 10;
constexpr size_t kPortsInLine = 8;

constexpr const char *kClassNames[] = {"ARP", "IPv4 TCP", "IPv4 UDP", "IPv4 ICMP", "IPv4 other", "IPv6", "Other"};

}  // namespace

TrafficSummary::Counts &TrafficSummary::Counts::operator+=(const Counts &other) {
  packets += other.packets;
  bytes += other.bytes;
  tagged += other.tagged;
  copied += other.copied;
  for (size_t i = 0; i < outcomes.size(); ++i) {
    outcomes[i] += other.outcomes[i];
  }
  return *this;
}

TrafficSummary::Class TrafficSummary::class_of(const PacketHeader &packet) {
  switch (packet.ethertype) {
    case kArp:
      return Class::Arp;
    case kIpv6:
      return Class::Ipv6;
    case kIpv4:
      return packet.proto == kTcp    ? Class::Tcp
             : packet.proto == kUdp  ? Class::Udp
             : packet.proto == kIcmp ? Class::Icmp
                                     : Class::OtherIpv4;
    default:
      return Class::Other;
  }
}

void TrafficSummary::add(const PacketHeader &packet, const Fate &fate, bool for_cpu) {
  Counts one{1, packet.length, packet.vlan ? 1U : 0U, {}, is_copied(fate) ? 1U : 0U};
  one.outcomes[static_cast<size_t>(for_cpu ? Outcome::Cpu : outcome_of(fate))] = 1;
  classes_[static_cast<size_t>(class_of(packet))] += one;
  if (fate.tcam_index) {
    ++by_index_[*fate.tcam_index];
  }
  for (const uint8_t port : fate.sdk_ports) {
    ++by_port_[port];
  }
}

void TrafficSummary::print(std::ostream &out, Style style, host::Switch &device, const FlowTable &flows) const {
  if (std::ranges::all_of(classes_, [](const Counts &each) { return each.packets == 0; })) {
    return;
  }
  print_classes(out, style);
  print_flows(out, style, installed_flows(device, flows));
  print_ports(out, style);
}

void TrafficSummary::add_row(Table &table, const char *name, const Counts &counts, bool with_cpu) {
  std::vector<std::string> row{name, std::to_string(counts.packets), std::to_string(counts.bytes),
                               std::to_string(counts.tagged)};
  const auto add = [&row](uint64_t packets) { row.push_back(packets == 0 ? "-" : std::to_string(packets)); };
  for (size_t outcome = 0; outcome < static_cast<size_t>(Outcome::Cpu); ++outcome) {
    add(counts.outcomes[outcome]);
  }
  add(counts.copied);
  if (with_cpu) {
    add(counts.outcomes[static_cast<size_t>(Outcome::Cpu)]);
  }
  table.add(std::move(row));
}

void TrafficSummary::print_classes(std::ostream &out, Style style) const {
  Counts total;
  for (const Counts &each : classes_) {
    total += each;
  }
  std::vector<Column> columns({{"Class"},
                               {"Packets", Column::Right},
                               {"Bytes", Column::Right},
                               {"Tagged", Column::Right},
                               {"Normal", Column::Right},
                               {"Output", Column::Right},
                               {"Controller", Column::Right},
                               {"Dropped", Column::Right},
                               {"Unmatched", Column::Right},
                               {"CPU copies", Column::Right}});
  const bool with_cpu = total.outcomes[static_cast<size_t>(Outcome::Cpu)] != 0;
  if (with_cpu) {
    columns.push_back({"CPU flows", Column::Right});
  }
  Table table(std::move(columns));
  for (size_t i = 0; i < classes_.size(); ++i) {
    if (classes_[i].packets != 0) {
      add_row(table, kClassNames[i], classes_[i], with_cpu);
    }
  }
  table.add_rule();
  add_row(table, "Total", total, with_cpu);
  table.print(out, style);
}

void TrafficSummary::print_flows(std::ostream &out, Style style, std::span<const InstalledFlow> flows) const {
  std::vector<std::pair<uint64_t, InstalledFlow>> hits;
  for (const InstalledFlow &flow : flows) {
    if (const auto hit = by_index_.find(flow.index); hit != by_index_.end()) {
      hits.emplace_back(hit->second, flow);
    }
  }
  if (hits.empty()) {
    return;
  }
  const size_t shown = std::min(hits.size(), kFlowsShown);
  std::ranges::stable_sort(hits, [](const auto &a, const auto &b) { return a.first > b.first; });
  out << '\n' << counted(hits.size(), "flow") << " hit" << (shown < hits.size() ? ", the busiest:" : ":") << '\n';
  Table table({{"Packets", Column::Right},
               {"Seq", Column::Right},
               {"Index", Column::Right},
               {"Priority", Column::Right},
               {"Actions"},
               {"Match"}});
  for (size_t i = 0; i < shown; ++i) {
    const auto &[packets, hit] = hits[i];
    table.add({std::to_string(packets), std::to_string(*hit.flow.seq_no), std::to_string(hit.index),
               std::to_string(priority_of(hit.flow)), to_text(hit.flow.actions), to_text(hit.flow.match)});
  }
  table.print(out, style);
}

void TrafficSummary::print_ports(std::ostream &out, Style style) const {
  if (by_port_.empty()) {
    return;
  }
  out << '\n' << style.heading("Packets by output port") << '\n';
  Table table{std::vector<Column>(kPortsInLine)};
  std::vector<std::string> row;
  for (const auto &[port, packets] : by_port_) {
    row.push_back(concat(interface_name(sdk_port_ifindex(port)), " ", packets));
    if (row.size() == kPortsInLine) {
      table.add(std::exchange(row, {}));
    }
  }
  if (!row.empty()) {
    table.add(row);
  }
  table.print(out, style);
}

}  // namespace app
