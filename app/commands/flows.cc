// Commands that add, change, remove and list flows.
#include <algorithm>

#include "agent/requests.h"
#include "agent/responses.h"
#include "agent/status.h"
#include "agent/table_view.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/flow_changes.h"
#include "app/syntax/action_syntax.h"
#include "app/syntax/flow_file.h"
#include "app/syntax/flow_syntax.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

void print_range(Session &session) {
  const auto records = table_records();
  const size_t live = static_cast<size_t>(std::count_if(records.begin(), records.end(), is_live));
  *session.out << "the table holds " << counted(live, "flow");
  if (!records.empty()) {
    *session.out << " at indices " << oftab_hw_rsrc_g.current_table->tcam_st_idx << " to "
                 << oftab_hw_rsrc_g.current_table->tcam_end_idx;
  }
  *session.out << '\n';
}

Flow flow_numbered(uint32_t seq_no) {
  Flow flow;
  flow.seq_no = seq_no;
  return flow;
}

void add_flow(Session &session, Arguments &arguments) {
  Flow flow = parse_flow(arguments.line(), arguments.start(), FlowRole::Complete, session.device.interfaces());
  assign_sequence_numbers({&flow, 1});
  add_flows(session, {&flow, 1}, 1, "");
  for (const InstalledFlow &installed : selected_flows(session.device, flow_numbered(*flow.seq_no))) {
    *session.out << "flow " << *flow.seq_no << " added at index " << installed.index << '\n';
  }
}

// A request orders its flows only against the table: they come by falling priority. Into a table that holds flows, one
// flow a request keeps the order right in every case.
void add_flows_from_file(Session &session, Arguments &arguments) {
  const std::string path(arguments.next("the file").text);
  const uint64_t whole_file = table_records().empty() ? kMostRecords : 1;
  const size_t batch = arguments.take_number("batch", 1, kMostRecords, whole_file);
  arguments.finish();
  std::vector<Flow> flows = read_flow_file(path, session.device.interfaces());
  assign_sequence_numbers(flows);
  std::stable_sort(flows.begin(), flows.end(),
                   [](const Flow &a, const Flow &b) { return priority_of(a) > priority_of(b); });
  const size_t requests = add_flows(session, flows, batch, path);
  *session.out << counted(flows.size(), "flow") << " added in " << counted(requests, "request") << "; ";
  print_range(session);
}

// A description of flows: its sequence number alone, or a match and perhaps a priority.
Flow read_selection(Session &session, const Arguments &arguments, FlowRole role) {
  if (arguments.empty()) {
    throw TextError(arguments.line().size() + 1, "say which flows: a match or seq=N");
  }
  Flow selection = parse_flow(arguments.line(), arguments.start(), role, session.device.interfaces());
  if (selection.seq_no && (selection.priority || selection.match != Match{})) {
    throw TextError(arguments.first().column, "seq names one flow: nothing else selects beside it");
  }
  return selection;
}

// The flows that a change reaches: of those with one sequence number, only the first.
std::vector<InstalledFlow> flows_to_change(Session &session, const Flow &description) {
  std::vector<InstalledFlow> flows = selected_flows(session.device, description);
  if (description.seq_no && flows.size() > 1) {
    flows.erase(flows.begin() + 1, flows.end());
  }
  return flows;
}

void modify_flow(Session &session, Arguments &arguments) {
  const Flow description = read_selection(session, arguments, FlowRole::Complete);
  std::vector<InstalledFlow> flows = flows_to_change(session, description);
  if (flows.empty() && !description.seq_no) {
    throw CommandError("no flow matches");
  }
  if (flows.empty()) {
    flows.push_back({0, description, {}, 0, 0});  // what an unknown sequence number means is the library's to say
  }
  modify_flows(session, flows, description.actions);
  *session.out << counted(flows.size(), "flow") << " modified\n";
}

void delete_flow(Session &session, Arguments &arguments) {
  const Flow description = read_selection(session, arguments, FlowRole::Selection);
  std::vector<uint32_t> seq_nos;
  for (const InstalledFlow &installed : flows_to_change(session, description)) {
    seq_nos.push_back(*installed.flow.seq_no);
  }
  const size_t known = seq_nos.size();
  if (seq_nos.empty() && description.seq_no) {
    seq_nos.push_back(*description.seq_no);
  }
  if (!seq_nos.empty()) {
    require_success(submit_entries(session.device, delete_request(seq_nos)), Operation::Delete, "deleting failed");
  }
  *session.out << counted(known, "flow") << " deleted\n";
}

void purge(Session &session, Arguments &arguments) {
  arguments.finish();
  session.audit_exceptions.purged.merge(host::flow_bits());
  require_success(submit_entries(session.device, purge_request()), Operation::Purge, "purge");
  *session.out << "all flows purged\n";
}

void compact(Session &session, Arguments &arguments) {
  arguments.finish();
  if (oftab_hw_rsrc_g.initialized == 0) {
    throw CommandError("the library is not initialised");
  }
  if (const int32_t status = oftab_defragment_entries(); status != OFTAB_OK) {
    throw CommandError(concat("compaction: ", status_text(Operation::Compaction, status)));
  }
  print_range(session);
}

void change_catch_all(Session &session, Arguments &arguments) {
  const Word word = arguments.next("the action");
  arguments.finish();
  const HardwareActions actions = lowered(parse_actions(word, session.device.interfaces()));
  if (actions.kind == HardwareActions::Kind::Output || actions.copy_to_controller) {
    throw TextError(word.column, "the catch-all entry can drop, normal or controller");
  }
  require_success(submit_entries(session.device, catch_all_request(actions)), Operation::CatchAll, "catch-all");
  *session.out << "catch-all entry: "
               << to_text(actions_of(oftab_hw_rsrc_g.catch_all_entry, session.device.interfaces())) << '\n';
}

void list_flows(Session &session, Arguments &arguments) {
  Flow all;
  const Flow description = arguments.empty() ? all : read_selection(session, arguments, FlowRole::Selection);
  const std::vector<InstalledFlow> flows = selected_flows(session.device, description);
  Table table({{"Index", Column::Right},
               {"Seq", Column::Right},
               {"Priority", Column::Right},
               {"Packets", Column::Right},
               {"Bytes", Column::Right},
               {"Actions"},
               {"Match"}});
  for (const InstalledFlow &each : flows) {
    table.add({std::to_string(each.index), std::to_string(*each.flow.seq_no), std::to_string(priority_of(each.flow)),
               std::to_string(each.packets), std::to_string(each.bytes), to_text(each.hardware),
               to_text(each.flow.match)});
  }
  table.print(*session.out, session.style);
  *session.out << counted(flows.size(), "flow") << '\n';
}

constexpr Command kCommands[] = {
    {"add-flow", "FLOW",
     "add one flow\n"
     "FLOW is written in the standard OpenFlow command-line syntax:\n"
     "  priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80,actions=output:2\n"
     "Fields: in_port dl_vlan dl_src dl_dst dl_type nw_src nw_dst nw_tos nw_proto tp_src tp_dst icmp_type icmp_code,\n"
     "and ip, tcp, udp, sctp, icmp, arp, rarp, ipv6, mpls, mplsm. Ports are 1 to 48 (Eth1/1 to Eth1/48) and port "
     "channels\n"
     "(pc1). Actions: drop, normal, output:PORT (several), controller[:BYTES] or controller(app=N), also beside "
     "another.\n"
     "The priority is 32768 and seq=N, the sequence number, the lowest free one unless given.",
     add_flow},
    {"add-flows", "FILE [batch=N]",
     "add the flows of a file\n"
     "The flows go by falling priority: in one request into an empty table, otherwise one in a request; batch=N puts "
     "N\n"
     "into each request. A batch that lands below the table's flows is not ordered against what it pushes past them.",
     add_flows_from_file},
    {"mod-flow", "FLOW",
     "give flows new actions\n"
     "FLOW names the flows by seq=N, or by a match that covers theirs (and a priority, if given), and has the "
     "actions.\n"
     "A flow that has outputs and gets none is deleted and added again, which restarts its counters.",
     modify_flow},
    {"del-flow", "MATCH | seq=N",
     "delete flows\n"
     "All flows whose match MATCH covers go (only those of one priority, if it is given), or the one flow named.",
     delete_flow},
    {"purge", "", "delete all flows and OpenFlow interfaces", purge},
    {"compact", "", "close the holes that deleted flows left in the TCAM", compact},
    {"catch-all", "drop|normal|controller",
     "set what happens to packets that no flow matches\n"
     "ACTION is drop, normal, controller or controller(app=N), N from 1 to 8.",
     change_catch_all},
    {"flows", "[MATCH | seq=N]", "list flows, all or those named as in 'del-flow'", list_flows, true},
};

}  // namespace

std::span<const Command> flow_commands() {
  return kCommands;
}

}  // namespace app
