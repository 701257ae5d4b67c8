// SPDX-License-Identifier: Apache-2.0
// Commands that add, change, remove and list flows.
#include <algorithm>

#include "agent/hardware.h"
#include "agent/status.h"
#include "agent/table_view.h"
#include "app/commands/catch_all.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/flow_changes.h"
#include "app/commands/flow_listing.h"
#include "app/commands/flow_selection.h"
#include "app/syntax/flow_syntax.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using Change = FlowMod::Command;

// Where the library placed a flow; none when it has no such flow.
std::optional<uint16_t> index_of(uint32_t seq_no) {
  const auto records = table_records();
  const auto found = std::ranges::find_if(
      records, [&](const oftab_sw_entry_t &record) { return is_live(record) && record.seq_no == seq_no; });
  return found == records.end() ? std::nullopt : std::optional(found->tcam_index);
}

// What the operator may have meant otherwise.
std::string doubt_text(const Flow &flow) {
  const auto reason = impossible(flow);
  return reason ? concat(", on the CPU: ", *reason) : "";
}

void add_flow(Session &session, Arguments &arguments) {
  const Flow flow = parse_flow(arguments.line(), arguments.start(), FlowRole::Complete, session.device.interfaces());
  const FlowTable &table = session.agent.flows();
  const TableEntry *old = table.find(flow.match, priority_of(flow));
  const std::string replaced = old == nullptr ? "" : concat(", in place of flow ", *old->flow.seq_no);
  const FlowMod change{.flow = flow};
  apply_changes(session, {&change, 1});
  if (const TableEntry *added = table.find(flow.match, priority_of(flow))) {
    const uint32_t seq_no = *added->flow.seq_no;
    *session.out << "flow " << seq_no << " added at index " << index_of(seq_no).value_or(0) << replaced
                 << doubt_text(added->flow) << '\n';
  }
}

// Flows are meant by a sequence number alone, or by a match and what else selects.
void require_number_alone(const FlowArguments &arguments, const Flow &flow) {
  if (flow.seq_no && (flow.priority || flow.match != Match{})) {
    throw TextError(arguments.start + 2, "seq names one flow: nothing else selects beside it");
  }
}

// The same change for each of several flows.
std::vector<FlowMod> changes_of(Change command, std::span<const TableEntry *const> entries, const Flow &wanted) {
  std::vector<FlowMod> changes;
  for (const TableEntry *entry : entries) {
    FlowMod &change = changes.emplace_back(FlowMod{.command = command, .flow = wanted});
    change.flow.seq_no = entry->flow.seq_no;
  }
  return changes;
}

// A modification that meets no flow adds one, unless it names a number.
void modify_flows(Session &session, Arguments &words) {
  const FlowArguments arguments(words);
  Selection selection;
  selection.flow = parse_flow(arguments.line, arguments.start, FlowRole::Complete, session.device.interfaces());
  require_number_alone(arguments, selection.flow);
  const auto entries = selected(session.agent.flows(), selection, arguments.strict);
  if (entries.empty()) {
    const FlowMod change{.command = Change::ModifyStrict, .flow = selection.flow};
    apply_changes(session, {&change, 1});
    *session.out << "no flow matched: 1 flow added\n";
    return;
  }
  apply_changes(session, changes_of(Change::Modify, entries, selection.flow));
  *session.out << counted(entries.size(), "flow") << " modified\n";
}

void delete_selected(Session &session, const FlowArguments &arguments, const Selection &selection) {
  const auto entries = selected(session.agent.flows(), selection, arguments.strict);
  const size_t count = entries.size();
  apply_changes(session, changes_of(Change::Delete, entries, {}));
  *session.out << counted(count, "flow") << " deleted\n";
}

void delete_flow(Session &session, Arguments &words) {
  const FlowArguments arguments(words);
  const Selection selection = parse_selection(arguments.line, arguments.start, session.device.interfaces());
  if (selection.is_everything()) {
    throw TextError(arguments.line.size() + 1, "say which flows: a match or seq=N");
  }
  require_number_alone(arguments, selection.flow);
  delete_selected(session, arguments, selection);
}

// Without a selection, all of them.
void delete_flows(Session &session, Arguments &words) {
  const FlowArguments arguments(words);
  delete_selected(session, arguments, parse_selection(arguments.line, arguments.start, session.device.interfaces()));
}

void purge(Session &session, Arguments &arguments) {
  arguments.finish();
  session.audit_exceptions.purged.merge(host::flow_bits());
  const uint64_t failures_before = session.device.tracing().failure_count();
  if (!session.agent.purge()) {
    throw CommandError("purge: the library did not purge its table");
  }
  require_erased(session, failures_before);
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
  *session.out << range_text() << '\n';
}

constexpr Command kCommands[] = {
    {"add-flow", "FLOW",
     "add one flow\n"
     "FLOW is written in the standard OpenFlow command-line syntax:\n"
     "  priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80,idle_timeout=60,actions=output:2\n"
     "Fields: in_port dl_vlan dl_src dl_dst dl_type nw_src nw_dst nw_tos nw_proto tp_src tp_dst icmp_type icmp_code,\n"
     "and ip, tcp, udp, sctp, icmp, arp, rarp, ipv6, mpls, mplsm. Ports are 1 to 48 (Eth1/1 to Eth1/48) and port "
     "channels\n"
     "(pc1); those of in_port need not exist. Actions: drop, normal, output:PORT (several), controller[:BYTES] or "
     "controller(app=N), also beside "
     "another.\n"
     "The priority is 32768 and seq=N, the sequence number, the lowest free one unless given. A flow of the same "
     "match\n"
     "and priority is replaced.",
     add_flow},
    {"mod-flow", "[--strict] FLOW",
     "give flows new actions\n"
     "FLOW names the flows by seq=N, or by a match that covers theirs (and a priority, if given), and has the "
     "actions;\n"
     "with --strict, by exactly their match and priority. When there are none, it is added.",
     modify_flows},
    {"mod-flows", "[--strict] FLOW", "the same as 'mod-flow'", modify_flows},
    {"del-flow", "[--strict] SELECTION | seq=N",
     "delete flows\n"
     "SELECTION is a match that covers theirs, and what else they must have: priority=N, out_port=PORT, action=drop,\n"
     "normal, output or controller, hits=0 for flows without packets, hits=N for N packets or more, cookie=N. "
     "With\n"
     "--strict, flows have exactly the match and priority.",
     delete_flow},
    {"del-flows", "[--strict] [SELECTION]", "delete flows as 'del-flow' does, all without a selection", delete_flows},
    {"purge", "", "delete all flows and OpenFlow interfaces", purge},
    {"compact", "", "close the holes that deleted flows left in the TCAM", compact},
    {"catch-all", "drop|normal|controller|normal,controller",
     "set what happens to packets that no flow matches\n"
     "controller is to the controllers alone; controller(app=N), N from 1 to 7, names the application. Where a copy "
     "to\n"
     "the controllers ends, the entry is installed anew, with a counter that starts at 0.",
     change_catch_all},
};

}  // namespace

std::span<const Command> flow_commands() {
  return kCommands;
}

}  // namespace app
