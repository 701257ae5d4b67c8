// SPDX-License-Identifier: Apache-2.0
#include "app/views/fate.h"

#include <algorithm>
#include <iterator>

#include "agent/actions.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "agent/text.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using host::asic::Fate;
using host::asic::Verdict;

std::string code_text(const Fate &fate) {
  return concat("(code ", *fate.cpu_code, ")");
}

std::string ports_text(const Fate &fate) {
  const char *pruned = fate.pruned ? " (not back out of the port that it came in by)" : "";
  if (!fate.sdk_ports.empty()) {
    std::vector<uint32_t> ports;
    std::ranges::transform(fate.sdk_ports, std::back_inserter(ports), sdk_port_ifindex);
    return interface_names(ports) + pruned;
  }
  if (fate.pruned) {
    return concat("no port", pruned);
  }
  return fate.tree_missing ? concat("no port (multicast index ", fate.mcst_idx, " has no tree)")
                           : concat("no port (the tree of multicast index ", fate.mcst_idx, " is empty)");
}

std::string forwarding_text(const Fate &fate) {
  switch (fate.verdict) {
    case Verdict::Drop:
      return "dropped";
    case Verdict::Replicate:
      return ports_text(fate);
    case Verdict::NoMatch:
      return "not decided by the TCAM";
    case Verdict::Forward:
      break;
  }
  return "normal";
}

}  // namespace

Outcome outcome_of(const Fate &fate) {
  if (!fate.tcam_index || fate.tcam_index == OFTAB_CATCH_ALL_INDEX) {
    return Outcome::Unmatched;
  }
  switch (fate.verdict) {
    case Verdict::Drop:
      return Outcome::Dropped;
    case Verdict::Replicate:
      return Outcome::Output;
    case Verdict::NoMatch:
    case Verdict::Forward:
      break;
  }
  return fate.is_trapped() ? Outcome::Controller : Outcome::Normal;
}

bool is_copied(const Fate &fate) {
  return fate.cpu_code.has_value() && !fate.is_trapped();
}

std::string match_text(const Fate &fate) {
  if (!fate.tcam_index) {
    return "nothing";
  }
  if (fate.tcam_index == OFTAB_CATCH_ALL_INDEX) {
    return "the catch-all entry";
  }
  const std::string index = concat("index ", *fate.tcam_index);
  const oftab_sw_entry_t *record = live_record_at(*fate.tcam_index);
  if (record == nullptr) {
    return index + " (no flow of the table)";
  }
  return concat("flow ", record->seq_no, " (", index, ", priority ", record->priority, ")");
}

std::string cpu_text(const FlowTable &flows, const Packet &packet) {
  const TableEntry *entry = flows.winner(packet);
  return entry == nullptr ? "on the CPU: no flow"
                          : concat("on the CPU: flow ", *entry->flow.seq_no, " (priority ", priority_of(entry->flow),
                                   "): ", to_text(entry->flow.actions));
}

std::string destination_text(const Fate &fate) {
  if (fate.is_trapped()) {
    return concat("controller ", code_text(fate));
  }
  return forwarding_text(fate) + (fate.cpu_code ? concat(" and a copy to the CPU ", code_text(fate)) : "");
}

}  // namespace app
