// SPDX-License-Identifier: Apache-2.0
#include "app/views/top.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <utility>
#include <vector>

#include "agent/actions.h"
#include "agent/interface_names.h"
#include "app/views/usage.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kPortsShown = 10;
constexpr size_t kFlowsShown = 10;
constexpr size_t kBar = 40;
constexpr Time kShortest = std::chrono::milliseconds(500);  // that says something of a rate
constexpr auto kRight = Column::Right;

// "0", "12.3", "4.56 k", "7.89 M".
std::string scaled(double number) {
  constexpr std::array<const char *, 4> units{"", " k", " M", " G"};
  size_t unit = 0;
  for (; number >= 1000 && unit + 1 < units.size(); ++unit) {
    number /= 1000;
  }
  char text[32];
  const int decimals = unit == 0 && number >= 10 ? 0 : number == 0 ? 0 : 2;
  std::snprintf(text, sizeof text, "%.*f%s", decimals, number, units.at(unit));
  return text;
}

std::string bar(const Usage &usage) {
  const size_t full = usage.capacity == 0 ? 0 : (usage.used * kBar + usage.capacity - 1) / usage.capacity;
  return concat("[", std::string(std::min(full, kBar), '#'), std::string(kBar - std::min(full, kBar), '.'), "]");
}

void print_usage(std::ostream &out, Style style, host::Switch &device) {
  Table table{std::vector<Column>(3)};
  for (const Usage &usage : hardware_usage(device)) {
    table.add({usage.name, bar(usage), concat(usage.used, " of ", usage.capacity)});
  }
  table.print(out, style);
}

uint64_t dropped_of(const PortCounts &counts) {
  return counts.rx_dropped + counts.rx_errors + counts.rx_overruns + counts.tx_dropped + counts.tx_errors;
}

// Rows by falling rate.
template <typename Row>
void sort_busiest(std::vector<std::pair<double, Row>> &rows) {
  std::ranges::stable_sort(rows, [](const auto &one, const auto &other) { return one.first > other.first; });
}

}  // namespace

Top::Sample Top::take(host::Switch &device, Agent &agent) {
  const TableStatistics statistics = agent.table_statistics();
  Sample sample{
      agent.now(), statistics.lookups, statistics.lookups - statistics.matched, device.asic().lookups().to_cpu, {}, {}};
  for (const auto &[ifindex, port] : device.ports().ports()) {
    sample.ports.emplace(ifindex, agent.ports().find(ifindex)->counts);
  }
  for (const auto &[seq_no, entry] : agent.flows().entries()) {
    sample.flows.emplace(seq_no, entry.counts());
  }
  return sample;
}

void Top::advance(Sample now) {
  if (now_.time - before_.time >= kShortest || now_.time == Time{}) {
    before_ = std::move(now_);
  }
  now_ = std::move(now);
}

// A count that fell began anew in between.
double Top::rate(uint64_t now, uint64_t before) const {
  const double seconds = std::chrono::duration<double>(now_.time - before_.time).count();
  return seconds <= 0 ? 0 : static_cast<double>(now >= before ? now - before : now) / seconds;
}

void Top::print(std::ostream &out, Style style, host::Switch &device, Agent &agent) {
  advance(take(device, agent));
  print_packets(out, style, agent);
  out << '\n';
  print_usage(out, style, device);
  out << '\n';
  print_ports(out, style, device);
  out << '\n';
  print_flows(out, style, agent);
}

void Top::print_packets(std::ostream &out, Style style, const Agent &agent) const {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(agent.now()).count();
  out << style.heading(concat("top: ", counted(agent.flows().size(), "flow"), ", the clock stands at ", seconds, " s"))
      << '\n';
  Table table({{"", kRight}, {"Looked up", kRight}, {"Misses", kRight}, {"To the CPU", kRight}});
  table.add({"packets/s", scaled(rate(now_.lookups, before_.lookups)), scaled(rate(now_.misses, before_.misses)),
             scaled(rate(now_.to_cpu, before_.to_cpu))});
  table.add({"in all", std::to_string(now_.lookups), std::to_string(now_.misses), std::to_string(now_.to_cpu)});
  table.print(out, style);
}

// A port's packets a second, and its row.
std::pair<double, std::vector<std::string>> Top::port_row(uint32_t ifindex, const std::string &end) const {
  const auto found = before_.ports.find(ifindex);
  const PortCounts before = found == before_.ports.end() ? PortCounts{} : found->second;
  const PortCounts &now = now_.ports.at(ifindex);
  const double received = rate(now.rx_packets, before.rx_packets);
  const double sent = rate(now.tx_packets, before.tx_packets);
  return {received + sent,
          {interface_name(ifindex), scaled(received), scaled(8 * rate(now.rx_bytes, before.rx_bytes)), scaled(sent),
           scaled(8 * rate(now.tx_bytes, before.tx_bytes)), scaled(rate(dropped_of(now), dropped_of(before))), end}};
}

void Top::print_ports(std::ostream &out, Style style, host::Switch &device) const {
  std::vector<std::pair<double, std::vector<std::string>>> rows;
  for (const auto &[ifindex, port] : device.ports().ports()) {
    rows.push_back(port_row(ifindex, port.end->described()));
  }
  if (rows.empty()) {
    out << "no port leads anywhere ('port attach' changes that)\n";
    return;
  }
  sort_busiest(rows);
  Table table({{"Port"},
               {"RX packets/s", kRight},
               {"RX bits/s", kRight},
               {"TX packets/s", kRight},
               {"TX bits/s", kRight},
               {"Dropped/s", kRight},
               {"Leads to"}});
  for (size_t i = 0; i < std::min(rows.size(), kPortsShown); ++i) {
    table.add(std::move(rows[i].second));
  }
  table.print(out, style);
  if (rows.size() > kPortsShown) {
    out << "and " << counted(rows.size() - kPortsShown, "port") << " more\n";
  }
}

Counts Top::flow_before(uint32_t seq_no) const {
  const auto found = before_.flows.find(seq_no);
  return found == before_.flows.end() ? Counts{} : found->second;
}

void Top::print_flows(std::ostream &out, Style style, const Agent &agent) const {
  std::vector<std::pair<double, uint32_t>> busy;
  for (const auto &[seq_no, counts] : now_.flows) {
    if (const double packets = rate(counts.packets, flow_before(seq_no).packets); packets != 0) {
      busy.emplace_back(packets, seq_no);
    }
  }
  std::ranges::sort(busy, {}, &std::pair<double, uint32_t>::second);
  sort_busiest(busy);
  Table table(
      {{"Packets/s", kRight}, {"Bits/s", kRight}, {"Seq", kRight}, {"Priority", kRight}, {"Actions"}, {"Match"}});
  for (size_t i = 0; i < std::min(busy.size(), kFlowsShown); ++i) {
    const auto &[packets, seq_no] = busy[i];
    const Flow &flow = agent.flows().find(seq_no)->flow;
    table.add({scaled(packets), scaled(8 * rate(now_.flows.at(seq_no).bytes, flow_before(seq_no).bytes)),
               std::to_string(seq_no), std::to_string(priority_of(flow)), to_text(flow.actions), to_text(flow.match)});
  }
  table.print(out, style);
  out << counted(busy.size(), "flow") << " with packets\n";
}

}  // namespace app
