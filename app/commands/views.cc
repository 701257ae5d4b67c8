// SPDX-License-Identifier: Apache-2.0
// Commands that show the table and the TCAM.
#include <algorithm>

#include "agent/failures.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "app/commands/catch_all.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/views/tcam_map.h"
#include "app/views/usage.h"
#include "host/repair.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

// A shell context whose lines go to the session's output, until that cannot take more.
void *shell_context(Session &session) {
  return session.device.shell().context([&session](std::string_view line) {
    *session.out << line << std::flush;
    return session.out->good();
  });
}

void show_sw_table(Session &session, Arguments &arguments) {
  arguments.finish();
  oftab_show_openflow_sw_table(shell_context(session));
}

void show_policy(Session &session, Arguments &arguments) {
  arguments.finish();
  oftab_show_openflow_policy(shell_context(session));
}

void show_tcam(Session &session, Arguments &arguments) {
  const uint64_t first = arguments.next_number(0, OFTAB_CATCH_ALL_INDEX, "a TCAM index");
  const uint64_t last =
      arguments.empty() ? first : arguments.next_number(first, OFTAB_CATCH_ALL_INDEX, "the last TCAM index");
  arguments.finish();
  oftab_display_cache_tcam(shell_context(session), static_cast<uint32_t>(first), static_cast<uint32_t>(last));
}

void show_map(Session &session, Arguments &arguments) {
  arguments.finish();
  print_tcam_map(*session.out, session.style, session.device, session.audit_exceptions);
}

std::string range_text(const oftab_tcam_tbl_t &table) {
  return table.entries_allocated == 0 ? "none" : concat(table.tcam_st_idx, " to ", table.tcam_end_idx);
}

void add_table_rows(Table &rows, const oftab_tcam_tbl_t &table) {
  const auto records = table_records();
  const auto live = std::ranges::count_if(records, is_live);
  rows.add({"Flows", std::to_string(live)});
  rows.add({"TCAM indices", range_text(table)});
  rows.add({"Holes", std::to_string(static_cast<long>(records.size()) - live)});
  rows.add({"Free entries", concat(table.free_entries, " of ", +OFTAB_FLOW_CAPACITY)});
}

void show_tables(Session &session, Arguments &arguments) {
  arguments.finish();
  if (oftab_hw_rsrc_g.current_table == nullptr) {
    throw CommandError("the library is not initialised");
  }
  const oftab_sw_entry_t &catch_all = oftab_hw_rsrc_g.catch_all_entry;
  Table rows{std::vector<Column>(2)};
  add_table_rows(rows, *oftab_hw_rsrc_g.current_table);
  rows.add({"Catch-all entry", concat(catch_all_text(session), ", ", counted(catch_all.pkt_cnt, "packet"))});
  for (const Usage &usage : hardware_usage(session.device)) {
    rows.add({usage.name, usage_text(usage.used, usage.capacity)});
  }
  rows.add({"OpenFlow interfaces", std::to_string(oftab_hw_rsrc_g.intf_count)});
  rows.add({"Port channels", std::to_string(session.device.interfaces().port_channels().size())});
  rows.add({"Clock", std::to_string(session.device.clock().now()) + " s"});
  rows.print(*session.out, session.style);
}

void show_trees(Session &session, Arguments &arguments) {
  arguments.finish();
  Table table({{"Multicast index", Column::Right}, {"Flows"}, {"Ports"}});
  const host::asic::Trees &trees = session.device.asic().trees();
  for (const uint32_t index : trees.indices()) {
    std::string flows;
    for (const oftab_sw_entry_t &record : table_records()) {
      if (is_live(record) && record.mcst_idx == index) {
        flows += concat(flows.empty() ? "" : ",", record.seq_no);
      }
    }
    std::vector<uint32_t> ports;
    for (const uint8_t port : trees.ports(index)) {
      ports.push_back(sdk_port_ifindex(port));
    }
    table.add({std::to_string(index), flows, interface_names(ports)});
  }
  table.print(*session.out, session.style);
}

// Prints a finding, and what to do about it.
void print_finding(Session &session, const host::Finding &finding) {
  const std::string text = concat(finding.text(), " (", finding.advice(), ")");
  *session.out << (finding.known() ? text : session.style.bad(text)) << '\n';
}

void audit(Session &session, Arguments &arguments) {
  arguments.finish();
  const std::vector<host::Finding> findings =
      host::in_ranges(host::audit(session.device.asic(), session.audit_exceptions));
  const auto &violations = session.device.violations().list();
  for (const host::Finding &finding : findings) {
    print_finding(session, finding);
  }
  for (const std::string &violation : violations) {
    *session.out << session.style.bad(violation) << '\n';
  }
  const auto known = static_cast<size_t>(std::ranges::count_if(findings, &host::Finding::known));
  session.status = known == 0 ? 0 : kKnownStates;
  if (const size_t unknown = findings.size() - known + violations.size(); unknown != 0) {
    throw CommandError(concat("audit: ", counted(unknown, "finding")));
  }
  *session.out << session.style.good(concat("audit: tables and hardware agree",
                                            known == 0 ? "" : concat(", except ", known, " known")))
               << '\n';
}

void repair(Session &session, Arguments &arguments) {
  arguments.finish();
  if (oftab_hw_rsrc_g.initialized == 0) {
    throw CommandError("the library is not initialised");
  }
  const std::vector<host::Repair> repairs = host::repair(session.device, session.audit_exceptions);
  for (const host::Repair &each : repairs) {
    *session.out << (each.done ? each.text() : session.style.bad(each.text())) << '\n';
  }
  const auto left = static_cast<size_t>(
      std::ranges::count_if(repairs, [](const host::Repair &each) { return !each.done && !each.finding.known(); }));
  if (left != 0) {
    throw CommandError(concat("repair: ", counted(left, "finding"), " left"));
  }
  if (repairs.empty()) {
    *session.out << session.style.good("repair: tables and hardware agree, nothing was written") << '\n';
  }
}

constexpr Command kCommands[] = {
    {"tables", "", "show how full the table and the hardware are", show_tables},
    {"map", "", "show a map of the TCAM: live flows, holes, stranded records", show_map, true},
    {"trees", "", "list the replication trees and the flows that use them", show_trees, true},
    {"show sw-table", "", "the library's view of its software table", show_sw_table, true},
    {"show policy", "", "the library's view of its flows, one line each", show_policy, true},
    {"show tcam", "FIRST [LAST]", "the hardware's records, field by field", show_tcam, true},
    {"audit", "",
     "check that the library's table and the hardware agree\n"
     "Afterwards the program ends with status 2 if they agree but for states that a failure explains; with 1, as "
     "after\n"
     "any failure, if they do not.",
     audit},
    {"repair", "",
     "put right what the audit finds\n"
     "Writes and erases records, programs trees and releases what nobody uses, as the software table says. A flow "
     "whose\n"
     "modification failed keeps the action that it had.",
     repair},
};

}  // namespace

std::span<const Command> view_commands() {
  return kCommands;
}

}  // namespace app
