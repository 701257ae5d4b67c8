// SPDX-License-Identifier: Apache-2.0
// Commands about files of flows.
#include <algorithm>
#include <map>

#include "agent/actions.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/flow_changes.h"
#include "app/commands/flow_listing.h"
#include "app/syntax/flow_file.h"

namespace app {

using namespace agent;

namespace {

using Change = FlowMod::Command;

// Flows by their identity, as text: what is the same for two of them can differ in the rest.
using FlowSet = std::map<std::string, Flow>;

std::string identity(const Flow &flow) {
  return concat(priority_of(flow), " ", to_text(flow.match));
}

bool same(const Flow &one, const Flow &other) {
  return flow_text(one) == flow_text(other) && one.cookie == other.cookie;
}

FlowSet flows_of(const FlowTable &table) {
  FlowSet flows;
  for (const auto &[seq_no, entry] : table.entries()) {
    flows.emplace(identity(entry.flow), entry.flow);
  }
  return flows;
}

// A file that says what the flows are: it changes none.
FlowSet flows_of(const std::string &path, const host::services::Interfaces &interfaces) {
  FlowSet flows;
  for (const FlowMod &mod : read_flow_file(path, interfaces)) {
    if (mod.command != Change::Add) {
      throw CommandError(concat(path, ":", mod.flow.line, ": a flow is wanted here, not a change"));
    }
    flows.insert_or_assign(identity(mod.flow), mod.flow);
  }
  return flows;
}

// Visits each flow that only one of the two has, or that they have differently.
template <typename Visit>
void for_each_missing(const FlowSet &flows, const FlowSet &others, Visit visit) {
  for (const auto &[name, flow] : flows) {
    const auto other = others.find(name);
    if (other == others.end() || !same(flow, other->second)) {
      visit(flow, other == others.end());
    }
  }
}

void add_flows(Session &session, Arguments &arguments) {
  const std::string path = next_file(session, arguments);
  arguments.finish();
  const std::vector<FlowMod> changes = read_flow_file(path, session.device.interfaces());
  const auto adds = std::ranges::count(changes, Change::Add, &FlowMod::command);
  const size_t before = session.agent.flows().size();
  apply_changes(session, changes, path);
  const auto added = static_cast<size_t>(adds);
  const size_t grown = session.agent.flows().size() - before;
  *session.out << counted(added, "flow") << " added";
  if (added != changes.size()) {
    *session.out << ", " << counted(changes.size() - added, "other change") << " made";
  } else if (grown < added) {
    *session.out << ", " << added - grown << " in place of others";
  }
  *session.out << "; " << range_text(session.agent.flows()) << '\n';
}

// Before anything is lost: the first line in the file that does not fit is named.
void require_room(const FlowSet &flows, const std::string &path) {
  if (flows.size() <= OFTAB_FLOW_CAPACITY) {
    return;
  }
  std::vector<size_t> lines;
  lines.reserve(flows.size());
  std::ranges::transform(flows, std::back_inserter(lines), [](const auto &named) { return named.second.line; });
  std::ranges::nth_element(lines, lines.begin() + OFTAB_FLOW_CAPACITY);
  throw CommandError(concat(path, ":", lines[OFTAB_FLOW_CAPACITY], ": the table takes ",
                            counted(OFTAB_FLOW_CAPACITY, "flow"), ", and the file has ", flows.size(),
                            "; nothing was changed"));
}

void replace_flows(Session &session, Arguments &arguments) {
  const std::string path = next_file(session, arguments);
  arguments.finish();
  const FlowSet wanted = flows_of(path, session.device.interfaces());
  require_room(wanted, path);
  const FlowSet present = flows_of(session.agent.flows());
  std::vector<FlowMod> changes;
  for_each_missing(present, wanted, [&](const Flow &flow, bool absent) {
    if (absent) {
      changes.push_back({.command = Change::DeleteStrict, .flow = flow});
    }
  });
  const size_t deleted = changes.size();
  for_each_missing(wanted, present, [&](const Flow &flow, bool) { changes.push_back({.flow = flow}); });
  std::ranges::stable_sort(std::span(changes).subspan(deleted), {}, [](const FlowMod &add) { return add.flow.line; });
  apply_changes(session, changes, path);
  *session.out << counted(changes.size() - deleted, "flow") << " added or replaced, " << deleted << " deleted; "
               << range_text(session.agent.flows()) << '\n';
}

void diff_flows(Session &session, Arguments &arguments) {
  const std::string path = next_file(session, arguments);
  const auto other = arguments.empty() ? std::nullopt : std::optional(next_file(session, arguments));
  arguments.finish();
  const FlowSet first = flows_of(path, session.device.interfaces());
  const FlowSet second = other ? flows_of(*other, session.device.interfaces()) : flows_of(session.agent.flows());
  size_t differences = 0;
  const auto print = [&](const char *sign) {
    return [&differences, &session, sign](const Flow &flow, bool) {
      *session.out << sign << (flow.cookie == 0 ? "" : concat("cookie=", hex(flow.cookie), ", ")) << flow_text(flow)
                   << '\n';
      ++differences;
    };
  };
  for_each_missing(first, second, print("-"));
  for_each_missing(second, first, print("+"));
  if (differences != 0) {
    throw CommandError(concat(counted(differences, "line"), differences == 1 ? " differs" : " differ"));
  }
}

constexpr Command kCommands[] = {
    {"add-flows", "FILE",
     "add the flows of a file; '-' is standard input\n"
     "One a line. A line that begins with add, modify, modify_strict, delete or delete_strict does that instead. "
     "Nothing\n"
     "is done when a line is bad. The flows go in few requests, and stand by their priorities.",
     add_flows},
    {"replace-flows", "FILE",
     "make the flows those of a file\n"
     "Others go, missing ones come, and flows that are the same already stay with their counters.",
     replace_flows},
    {"diff-flows", "FILE [FILE]",
     "compare a file of flows with those of the switch, or with another file\n"
     "Lines with '-' are only in the first, lines with '+' only in the second. It fails when there are any.",
     diff_flows, true},
};

}  // namespace

std::span<const Command> flow_file_commands() {
  return kCommands;
}

}  // namespace app
