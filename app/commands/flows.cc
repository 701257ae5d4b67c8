// SPDX-License-Identifier: Apache-2.0
// Commands that add, change, remove and list flows.
#include <algorithm>
#include <set>

#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "agent/status.h"
#include "agent/table_view.h"
#include "app/commands/catch_all.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/flow_changes.h"
#include "app/commands/flow_listing.h"
#include "app/commands/flow_selection.h"
#include "app/syntax/action_syntax.h"
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

// An output of the flow to a port channel whose members it does not follow; null when there is none.
const Action *unfollowed_output(const Flow &flow) {
  const auto unfollowed = std::ranges::find_if(flow.actions, [&](const Action &action) {
    const auto port = static_cast<uint32_t>(action.value);
    return action.kind == Action::Kind::Output && host::services::Interfaces::pc_number(port) &&
           !follows(*flow.seq_no, port);
  });
  return unfollowed == flow.actions.end() ? nullptr : &*unfollowed;
}

// What the operator may have meant otherwise: the CPU serves a flow, or its outputs stay as they are.
std::string doubt_text(const Flow &flow) {
  if (const Placement placement = placement_of(flow); placement.on_cpu()) {
    return concat(", on the CPU: ", *placement.cpu);
  }
  const Action *output = unfollowed_output(flow);
  if (output == nullptr) {
    return "";
  }
  return concat(", and does not follow the members of ", interface_name(static_cast<uint32_t>(output->value)), ": ",
                *flow.seq_no < OFTAB_FLOW_HANDLES ? concat("a flow follows ", +OFTAB_PC_PER_ENTRY, " port channels")
                                                  : concat("flows below number ", +OFTAB_FLOW_HANDLES, " do"));
}

// How many of several flows that is true for.
std::string doubts_text(std::span<const TableEntry *const> entries) {
  const auto on_cpu = std::ranges::count_if(entries, [](const auto *entry) { return is_on_cpu(entry->flow); });
  const auto unfollowed = std::ranges::count_if(
      entries, [](const auto *entry) { return !is_on_cpu(entry->flow) && unfollowed_output(entry->flow) != nullptr; });
  return concat(on_cpu == 0 ? "" : concat(", ", on_cpu, " on the CPU"),
                unfollowed == 0 ? "" : concat(", ", unfollowed, " not following the members of port channels"));
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

// What became of flows that were modified. One that no longer has outputs can get another number.
std::string modified_text(const FlowTable &table, std::span<const Flow> before) {
  std::vector<const TableEntry *> entries;
  for (const Flow &flow : before) {
    if (const TableEntry *entry = table.find(flow.match, priority_of(flow))) {
      entries.push_back(entry);
    }
  }
  if (entries.size() != 1) {
    return doubts_text(entries);
  }
  const Flow &flow = entries.front()->flow;
  return concat(flow.seq_no == before.front().seq_no ? "" : concat(", now number ", *flow.seq_no), doubt_text(flow));
}

// A modification that meets no flow adds one, unless it names a number.
void modify_flows(Session &session, Arguments &words) {
  const FlowArguments arguments(words, {"--strict"});
  Selection selection;
  selection.flow = parse_flow(arguments.line, arguments.start, FlowRole::Complete, session.device.interfaces());
  require_number_alone(arguments, selection.flow);
  const auto entries = selected(session.agent.flows(), selection, arguments.strict);
  if (entries.empty()) {
    const FlowMod change{.command = Change::ModifyStrict, .flow = selection.flow};
    apply_changes(session, {&change, 1});
    const TableEntry *added = session.agent.flows().find(selection.flow.match, priority_of(selection.flow));
    *session.out << "no flow matched: 1 flow added" << (added == nullptr ? "" : doubt_text(added->flow)) << '\n';
    return;
  }
  std::vector<Flow> before;
  std::ranges::transform(entries, std::back_inserter(before), [](const auto *entry) { return entry->flow; });
  apply_changes(session, changes_of(Change::Modify, entries, selection.flow));
  *session.out << counted(before.size(), "flow") << " modified" << modified_text(session.agent.flows(), before) << '\n';
}

void delete_selected(Session &session, const FlowArguments &arguments, const Selection &selection) {
  const auto entries = selected(session.agent.flows(), selection, arguments.strict);
  const size_t count = entries.size();
  apply_changes(session, changes_of(Change::Delete, entries, {}));
  *session.out << counted(count, "flow") << " deleted\n";
}

void delete_flow(Session &session, Arguments &words) {
  const FlowArguments arguments(words, {"--strict"});
  const Selection selection = parse_selection(arguments.line, arguments.start, session.device.interfaces());
  if (selection.is_everything()) {
    throw TextError(arguments.line.size() + 1, "say which flows: a match or seq=N");
  }
  require_number_alone(arguments, selection.flow);
  delete_selected(session, arguments, selection);
}

// Without a selection, all of them.
void delete_flows(Session &session, Arguments &words) {
  const FlowArguments arguments(words, {"--strict"});
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
  *session.out << range_text(session.agent.flows()) << '\n';
}

// "Fields: arp arp_op= ...", in lines of 110 columns.
std::string wrapped(std::string_view title, const std::set<std::string> &words) {
  constexpr size_t width = 110;
  std::string text;
  std::string line = concat(title, ":");
  for (const std::string &word : words) {
    if (line.size() + 1 + word.size() > width) {
      text += line + '\n';
      line = ' ';
    }
    line += concat(" ", word);
  }
  return text + line + '\n';
}

std::string flow_names() {
  return wrapped("Fields", flow_words()) + wrapped("Actions", action_words());
}

constexpr Command kCommands[] = {
    {.name = "add-flow",
     .arguments = "FLOW",
     .help =
         "add one flow\n"
         "FLOW is written in the standard OpenFlow command-line syntax:\n"
         "  priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80,idle_timeout=60,actions=output:2\n"
         "Ports are 1 to 48 (Eth1/1 to Eth1/48) and port channels (pc1); those of in_port need not exist.\n"
         "The priority is 32768 and seq=N, the sequence number, the lowest free one unless given. A flow of the same\n"
         "match and priority is replaced. Actions are done in their order, outputs can be several; a flow that the\n"
         "hardware cannot match or do is served by the CPU. controller(app=N), N from 1 to 7, names the application.",
     .run = add_flow,
     .names = flow_names},
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
