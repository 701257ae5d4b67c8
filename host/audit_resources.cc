// SPDX-License-Identifier: Apache-2.0
// The audit of what the records own: counters, multicast indices, trees, and bits in flow masks.
#include <algorithm>
#include <cstdio>
#include <span>
#include <string>

#include "host/audit_checks.h"
#include "host/services/avl_tree.h"
#include "host/services/bitset.h"

namespace host {
namespace {

std::string list_of(const std::vector<std::string> &owners) {
  std::string text = "owned by ";
  for (const std::string &owner : owners) {
    text += (&owner == owners.data() ? "" : ", ") + owner;
  }
  return text;
}

// A resource that exists. `refused`: the SDK refused to destroy it.
void check_owner(const AuditContext &context, const std::string &what, const Owners &owners, Finding finding,
                 bool refused) {
  const auto found = owners.find(finding.resource);
  finding.what = what + " " + std::to_string(finding.resource);
  if (found == owners.end()) {
    finding.problem = "nobody owns it";
    finding.state = refused ? State::RefusedRelease : State::Disagreement;
    context.find(true, finding);
  } else if (found->second.size() > 1) {
    finding.problem = list_of(found->second);
    finding.remedy = Remedy::None;
    context.find(true, finding);
  }
}

void check_counters(const AuditContext &context) {
  const asic::Counters &counters = context.asic.counters();
  for (const uint32_t id : counters.ids()) {
    check_owner(context, "counter", context.table.counters(), {.remedy = Remedy::DestroyCounter, .resource = id},
                counters.last_destroy_failed(id));
  }
  for (const auto &[index, entry] : context.table.used()) {
    context.find(!counters.exists(entry->stats_id),
                 {.what = flow_at(index, *entry),
                  .problem = "its counter " + std::to_string(entry->stats_id) + " does not exist"});
  }
}

void check_trees(const AuditContext &context) {
  const asic::Trees &trees = context.asic.trees();
  for (const uint32_t index : trees.indices()) {
    const bool refused = trees.last_destroy_failed(index);
    const Finding finding{.what = "tree " + std::to_string(index),
                          .problem = "its multicast index is free",
                          .state = refused ? State::RefusedRelease : State::Disagreement,
                          .remedy = Remedy::DestroyTree,
                          .resource = index};
    context.find(!is_taken(index), finding);
  }
}

void check_multicast_indices(const AuditContext &context) {
  const asic::Trees &trees = context.asic.trees();
  for (const uint32_t bit : services::set_bits(g_oftab_mcast_idx_bmp)) {
    const uint32_t index = g_oftab_mcst_idx_lower + bit;
    check_owner(context, "multicast index", context.table.multicast_indices(), {.resource = index}, false);
    context.find(!trees.exists(index) && !trees.last_build_failed(index),
                 {.what = "multicast index " + std::to_string(index), .problem = "taken, but has no tree"});
  }
}

FlowBits recorded_flow_bits(const TableSnapshot &table) {
  FlowBits bits;
  for (const auto &[index, entry] : table.used()) {
    for (int32_t i = 0; i < entry->num_pc && entry->seq_no < OFTAB_FLOW_HANDLES; ++i) {
      bits.emplace(entry->pc_ifindex[i], entry->seq_no);
    }
  }
  return bits;
}

Finding about_bit(const FlowBit &bit, const char *problem, State state) {
  char port_channel[32];
  std::snprintf(port_channel, sizeof port_channel, "port channel 0x%08x", bit.first);
  return {.what = port_channel,
          .problem = "flow " + std::to_string(bit.second) + problem,
          .state = state,
          .flow = bit.second};
}

}  // namespace

void check_resources(const AuditContext &context) {
  check_counters(context);
  check_trees(context);
  check_multicast_indices(context);
}

void check_flow_masks(const AuditContext &context) {
  const FlowBits recorded = recorded_flow_bits(context.table);
  const FlowBits masked = flow_bits();
  for (const FlowBit &bit : recorded) {
    const State state = context.exceptions.untracked.contains(bit) ? State::Untracked : State::Disagreement;
    context.find(!masked.contains(bit), about_bit(bit, " is missing in its flow mask", state));
  }
  for (const FlowBit &bit : masked) {
    const bool purged = context.exceptions.purged.contains(bit);
    const bool live =
        std::ranges::any_of(context.table.used(), [&](const auto &used) { return used.second->seq_no == bit.second; });
    context.find(!recorded.contains(bit) && (live || !purged),
                 about_bit(bit, " is in its flow mask, but does not output to it",
                           purged ? State::Purged : State::Disagreement));
  }
}

FlowBits flow_bits() {
  FlowBits bits;
  for (const void *record : services::avl_records(oftab_pc_tree)) {
    const auto &each = *static_cast<const pc_entry *>(record);
    for (const uint32_t handle : services::set_bits(std::span<const uint32_t>(each.flow_mask))) {
      bits.emplace(each.pc_ifindex, handle);
    }
  }
  return bits;
}

}  // namespace host
