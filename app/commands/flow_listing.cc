// SPDX-License-Identifier: Apache-2.0
// Commands that list flows and what they counted.
#include "app/commands/flow_listing.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "agent/actions.h"
#include "agent/agent.h"
#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "app/commands/command.h"
#include "app/commands/flow_selection.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

// A flow where it stands, as table and hardware have it.
struct Listed {
  InstalledFlow installed;
  const TableEntry *entry;
};

struct SortKey {
  std::string_view name;
  uint64_t (*of)(const Listed &each);
  bool falling;
};

constexpr SortKey kSortKeys[] = {
    {"index", [](const Listed &each) -> uint64_t { return each.installed.index; }, false},
    {"seq", [](const Listed &each) -> uint64_t { return *each.installed.flow.seq_no; }, false},
    {"priority", [](const Listed &each) -> uint64_t { return priority_of(each.installed.flow); }, true},
    {"packets", [](const Listed &each) { return each.installed.packets; }, true},
    {"bytes", [](const Listed &each) { return each.installed.bytes; }, true},
};

void sort(std::vector<Listed> &flows, const Word &wanted) {
  const auto *const key = std::ranges::find(kSortKeys, wanted.text, &SortKey::name);
  if (key == std::end(kSortKeys)) {
    throw TextError(wanted.column,
                    concat("flows are sorted by index, seq, priority, packets or bytes, not ", quoted(wanted)));
  }
  std::ranges::stable_sort(flows, [&](const Listed &a, const Listed &b) {
    return key->falling ? key->of(a) > key->of(b) : key->of(a) < key->of(b);
  });
}

// The flows that the arguments select, in the order in which the hardware compares them unless they ask for another.
std::vector<Listed> listed_flows(Session &session, const FlowArguments &arguments) {
  const Selection selection = parse_selection(arguments.line, arguments.start, session.device.interfaces());
  std::vector<Listed> flows;
  const auto entries = selected(session.agent.flows(), selection, arguments.strict);
  for (InstalledFlow &installed : installed_flows(session.device, session.agent.flows())) {
    const TableEntry *entry = session.agent.flows().find(*installed.flow.seq_no);
    if (std::ranges::find(entries, entry) != entries.end()) {
      flows.push_back({std::move(installed), entry});
    }
  }
  if (arguments.sort) {
    sort(flows, *arguments.sort);
  }
  return flows;
}

void list_flows(Session &session, Arguments &arguments) {
  const std::vector<Listed> flows = listed_flows(session, FlowArguments(arguments, {"--strict", "--sort"}));
  const auto on_cpu = std::ranges::count_if(flows, [](const Listed &each) { return is_on_cpu(each.entry->flow); });
  std::vector<Column> columns{{"Index", Column::Right},
                              {"Seq", Column::Right},
                              {"Priority", Column::Right},
                              {"Packets", Column::Right},
                              {"Bytes", Column::Right},
                              {"Actions"},
                              {"Match"}};
  if (on_cpu != 0) {
    columns.push_back({"Served by"});
  }
  Table table(std::move(columns));
  for (const auto &[each, entry] : flows) {
    std::vector<std::string> row{
        std::to_string(each.index),   std::to_string(*each.flow.seq_no), std::to_string(priority_of(each.flow)),
        std::to_string(each.packets), std::to_string(each.bytes),        to_text(each.flow.actions),
        to_text(each.flow.match)};
    if (on_cpu != 0) {
      row.push_back(is_on_cpu(entry->flow) ? "CPU" : "hardware");
    }
    table.add(std::move(row));
  }
  table.print(*session.out, session.style);
  *session.out << counted(flows.size(), "flow")
               << (on_cpu == 0 ? "" : concat(", ", static_cast<size_t>(on_cpu), " on the CPU")) << '\n';
}

std::string duration_text(Time duration) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3fs", std::chrono::duration<double>(duration).count());
  return text;
}

std::string statistics_text(Session &session, const TableEntry &entry) {
  const Counts counts = entry.counts();
  return concat("duration=", duration_text(session.agent.now() - entry.added), ", table=0, n_packets=", counts.packets,
                ", n_bytes=", counts.bytes, ", ");
}

void dump_flows(Session &session, Arguments &words) {
  session.agent.refresh_counts();
  const FlowArguments arguments(words, {"--strict", "--no-stats", "--sort", "-v"});
  for (const auto &[each, entry] : listed_flows(session, arguments)) {
    *session.out << "cookie=" << hex(entry->flow.cookie) << ", "
                 << (arguments.no_stats ? "" : statistics_text(session, *entry)) << flow_text(entry->flow) << '\n';
    if (arguments.verbose) {
      *session.out << "# " << to_text(placement_of(entry->flow)) << '\n';
    }
  }
}

void dump_tables(Session &session, Arguments &arguments) {
  arguments.finish();
  const TableStatistics statistics = session.agent.table_statistics();
  *session.out << "table 0: active=" << statistics.active << ", max=" << FlowTable::kCapacity
               << ", lookup=" << statistics.lookups << ", matched=" << statistics.matched << '\n';
}

void dump_aggregate(Session &session, Arguments &words) {
  session.agent.refresh_counts();
  const FlowArguments arguments(words, {"--strict"});
  const auto entries =
      selected(session.agent.flows(), parse_selection(arguments.line, arguments.start, session.device.interfaces()),
               arguments.strict);
  Counts sum;
  for (const TableEntry *entry : entries) {
    sum += entry->counts();
  }
  *session.out << "packet_count=" << sum.packets << " byte_count=" << sum.bytes << " flow_count=" << entries.size()
               << '\n';
}

void dump_ports(Session &session, Arguments &arguments) {
  const auto wanted = arguments.next_if_any();
  arguments.finish();
  const uint32_t one = wanted ? port_named(*wanted) : 0;
  for (const auto &[ifindex, port] : session.agent.ports().all()) {
    if (!wanted || ifindex == one) {
      const PortCounts &counts = port.counts;
      *session.out << "port " << interface_name(ifindex) << ": rx pkts=" << counts.rx_packets
                   << ", bytes=" << counts.rx_bytes << ", drop=" << counts.rx_dropped << ", errs=" << counts.rx_errors
                   << ", over=" << counts.rx_overruns << "; tx pkts=" << counts.tx_packets
                   << ", bytes=" << counts.tx_bytes << ", drop=" << counts.tx_dropped << ", errs=" << counts.tx_errors
                   << '\n';
    }
  }
}

constexpr Command kCommands[] = {
    {"flows", "[SELECTION] [--strict] [--sort KEY]",
     "list flows, all or those named as in 'del-flow'\n"
     "In the order in which the hardware compares them, or by KEY: index, seq, priority, packets or bytes. Counts are "
     "those "
     "of\n"
     "the latest collection.",
     list_flows, true},
    {"dump-flows", "[SELECTION] [--strict] [--no-stats] [--sort KEY] [-v]",
     "print flows as lines that 'add-flow' takes\n"
     "The flows of 'flows', with cookies, timeouts and, unless --no-stats says otherwise, the counts of this moment; "
     "with\n"
     "-v, behind each who serves it: the hardware, or the CPU, and why.",
     dump_flows, true},
    {"dump-tables", "", "print how many packets were looked up, and how many met a flow", dump_tables},
    {"dump-aggregate", "[SELECTION] [--strict]", "add up what flows have counted", dump_aggregate},
    {"dump-ports", "[PORT]", "print what the ports have counted", dump_ports, true},
};

}  // namespace

std::string flow_text(const Flow &flow) {
  std::string text;
  const auto add = [&](const char *name, const std::string &value) { text += concat(name, "=", value, ", "); };
  if (flow.idle_timeout != 0) {
    add("idle_timeout", std::to_string(flow.idle_timeout));
  }
  if (flow.hard_timeout != 0) {
    add("hard_timeout", std::to_string(flow.hard_timeout));
  }
  text += (flow.flags & kSendFlowRemoved) != 0 ? "send_flow_rem " : "";
  text += concat("priority=", priority_of(flow));
  text += flow.match == Match{} ? "" : concat(",", to_text(flow.match));
  return concat(text, " actions=", to_text(flow.actions));
}

std::set<std::string> sort_keys() {
  std::set<std::string> names;
  for (const SortKey &key : kSortKeys) {
    names.emplace(key.name);
  }
  return names;
}

std::string range_text(const FlowTable &table) {
  const auto records = table_records();
  const auto live = static_cast<size_t>(std::ranges::count_if(records, is_live));
  std::string text = concat("the table holds ", counted(live, "flow"));
  if (!records.empty()) {
    text += concat(" at indices ", oftab_hw_rsrc_g.current_table->tcam_st_idx, " to ",
                   oftab_hw_rsrc_g.current_table->tcam_end_idx);
  }
  const auto on_cpu =
      std::ranges::count_if(table.entries(), [](const auto &numbered) { return is_on_cpu(numbered.second.flow); });
  return concat(text, on_cpu == 0 ? "" : concat(", ", on_cpu, " on the CPU"));
}

std::span<const Command> flow_listing_commands() {
  return kCommands;
}

}  // namespace app
