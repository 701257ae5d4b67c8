// SPDX-License-Identifier: Apache-2.0
// One truth after a failure.
//
// Two facts are known: the current table (with what the flow memory adds to its records) and the record that stands at
// each TCAM index. A failed request leaves the table alone, so everything else is derived from the two:
//
// clang-format off
//   failure                       stays                                     goes at once
//   a flow cannot be converted    the table, the TCAM                       what the new flows had: counters, fan-outs,
//                                                                           bits
//   a modification names an       the table, the TCAM, the flows' fan-outs  the new fan-outs
//     unknown flow                  (built up again) and their bits
//   a write is refused (-8)       as above; flows that were overwritten are the new flows that were not written
//                                   written again; new flows that were
//                                   written, with counter and fan-out
//   a compaction stops            the table; overwritten flows are written  nothing
//                                   again; copies in former holes
//   a commit without memory       everything that stands in the TCAM, with  the table, the flows' bits
//                                   counter and fan-out
//   an erasure is refused         the record, in the TCAM alone             (tried once more after the commit)
//   a restoration is refused      the flow's last copy, wherever it stands  nothing
// clang-format on
//
// What stays in the TCAM where the table has no entry is erased when the next entry request, compaction or purge
// begins; then its counter and fan-out go back. What was refused is tried again there. A record that the operator wrote
// is left alone until a request writes or erases a flow at its index.
#include "oftab/oftab_main/reconcile.h"

#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/flow_memory.h"
#include "oftab/oftab_main/multicast_pool.h"
#include "oftab/oftab_main/output_fanout.h"
#include "oftab/oftab_main/port_channels.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/table.h"

namespace oftab {
namespace {

// The table and its flows, by the counter that their records name.
class table_flows {
 public:
  explicit table_flows(const table_view &table) : table_(table) {
    static_assert(NONE == 0xFFFF, "memset writes it");
    memset(positions_, 0xFF, sizeof positions_);
    for (uint16_t k = 0; k < table.count; ++k) {
      if (is_used(table.first[k])) {
        positions_[counter_name(table.first[k].stats_id)] = k;
      }
    }
  }

  const table_view &table() const { return table_; }

  // The flow whose counter a record names, and the one that has this counter; null when there is none.
  const oftab_sw_entry_t *named_by(const cache_unified_entry &record) const { return find(counter_named_by(record)); }
  const oftab_sw_entry_t *with_counter(uint16_t stats_id) const {
    const oftab_sw_entry_t *flow = find(counter_name(stats_id));
    return flow != nullptr && flow->stats_id == stats_id ? flow : nullptr;
  }

 private:
  static constexpr uint16_t NONE = 0xFFFF;

  const oftab_sw_entry_t *find(uint32_t counter) const {
    return positions_[counter] != NONE ? table_.first + positions_[counter] : nullptr;
  }

  table_view table_;
  uint16_t positions_[COUNTER_NAMES];
};

// The table's entry for an index; null for a hole and outside the range.
const oftab_sw_entry_t *entry_at(const table_view &table, uint16_t index) {
  const oftab_sw_entry_t *entry = table.at(index);
  return entry != nullptr && is_used(*entry) ? entry : nullptr;
}

// Whether a flow of the table would be gone if another record were written at this index.
bool holds_last_copy(const table_flows &flows, uint16_t index) {
  const cache_unified_entry *record = standing_record(index);
  if (record == nullptr || !is_unsettled()) {
    return false;
  }
  const oftab_sw_entry_t *flow = flows.named_by(*record);
  return flow != nullptr && flow->tcam_index != index && records_naming_counter(counter_named_by(*record)) == 1;
}

// Entries that had moved to higher indices are written from low to high, those that had moved to lower ones from high
// to low: each one overwrites the copy of a neighbour that stands at its own index by then. One that is in nobody's way
// and stands nowhere may have to wait for the second round.
//
//   table       10: A  11: B  12: C             10: -  11: A  12: B  13: C
//   TCAM        10: X  11: A  12: B  13: C      10: A  11: B  12: C  13: C
//   restored    A at 10, B at 11, C at 12       B at 12, A at 11
//
// Each is tried once; a refused one waits for the next request.
void restore_records(const char *function, const table_flows &flows) {
  const table_view &table = flows.table();
  bool tried[OFTAB_FLOW_CAPACITY] = {};
  const auto restore = [&](uint16_t k) {
    const oftab_sw_entry_t &entry = table.first[k];
    if (tried[k] || !is_used(entry) || !is_write_due(entry) || holds_last_copy(flows, entry.tcam_index)) {
      return false;
    }
    tried[k] = true;
    return program_record(function, entry);
  };
  for (bool progress = true; progress;) {
    progress = false;
    for (uint16_t k = 0; k < table.count; ++k) {
      progress = restore(k) || progress;
    }
    for (uint16_t k = table.count; k-- > 0;) {
      progress = restore(k) || progress;
    }
  }
}

bool is_tree_due(const oftab_sw_entry_t &entry) {
  return holds_fanout(entry) && pool_at(entry.mcst_idx).ports_due;
}

void restore_trees(const char *function, const table_view &table) {
  for (const oftab_sw_entry_t &entry : table) {
    if (is_used(entry) && is_tree_due(entry)) {
      restore_tree(function, entry);
    }
  }
}

bool is_stray(const table_view &table, uint16_t index) {
  return standing_record(index) != nullptr && entry_at(table, index) == nullptr;
}

void erase_strays(const table_flows &flows) {
  for (uint16_t index = 0; index < OFTAB_FLOW_CAPACITY; ++index) {
    if (is_stray(flows.table(), index) && !holds_last_copy(flows, index)) {
      oftab_sw_entry_t erased = {};
      erased.tcam_index = index;
      oftab_clear_and_program_entry(&erased);
    }
  }
}

bool is_counter_named(const table_flows &flows, uint16_t stats_id) {
  const bool of_catch_all = oftab_hw_rsrc_g.initialized != 0 && oftab_hw_rsrc_g.catch_all_entry.stats_id == stats_id;
  return of_catch_all || flows.with_counter(stats_id) != nullptr || records_naming_counter(counter_name(stats_id)) > 0;
}

void release_unnamed_counters(const char *function, const table_flows &flows) {
  uint16_t stats_id = first_own_counter(0);
  for (; stats_id != OFTAB_STATS_ID_NONE; stats_id = first_own_counter(static_cast<uint16_t>(stats_id + 1))) {
    if (!is_counter_named(flows, stats_id)) {
      release_counter(function, stats_id);
    }
  }
}

// Whether a record that is not the table's names the index.
bool is_named_by_stray(const table_view &table, uint32_t mcst_idx) {
  for (uint16_t index = 0; index < OFTAB_FLOW_CAPACITY && records_naming_index(mcst_idx) > 0; ++index) {
    const cache_unified_entry *record = standing_record(index);
    if (record != nullptr && hw::ltl_idx(record->result) == mcst_idx) {
      const oftab_sw_entry_t *entry = entry_at(table, index);
      if (entry == nullptr || !stands(*entry)) {
        return true;
      }
    }
  }
  return false;
}

// An index whose holder is no flow of the table is stranded, and goes unless a stray record names it. One that a direct
// call's entry holds is the caller's.
void release_unless_named(const char *function, const table_flows &flows, uint32_t mcst_idx) {
  uint32_t &holder = pool_at(mcst_idx).holder;
  if (holder == pool_index::NOBODY) {
    return;
  }
  if (holder != pool_index::STRANDED) {
    const auto stats_id = static_cast<uint16_t>(holder - 1);
    const oftab_sw_entry_t *flow = flows.with_counter(stats_id);
    if (!is_own_counter(stats_id) || (flow != nullptr && flow->mcst_idx == mcst_idx)) {
      return;
    }
    holder = pool_index::STRANDED;
  }
  if (!is_named_by_stray(flows.table(), mcst_idx)) {
    release_index(function, mcst_idx, true);
  }
}

void release_all_unnamed(const char *function, const table_flows &flows) {
  for (uint32_t index = POOL_LOWER; in_pool(index); ++index) {
    release_unless_named(function, flows, index);
  }
  release_unnamed_counters(function, flows);
}

// Whether something is left for the next time.
bool is_work_left(const table_view &table) {
  for (const oftab_sw_entry_t &entry : table) {
    if (is_used(entry) && (is_tree_due(entry) || is_write_due(entry))) {
      return true;
    }
  }
  for (uint16_t index = 0; index < OFTAB_FLOW_CAPACITY; ++index) {
    if (is_stray(table, index)) {
      return true;
    }
  }
  return false;
}

// The header of a table without array counts entries that nobody can read.
int count_used() {
  return current_view().count == 0 ? 0 : OFTAB_FLOW_CAPACITY - oftab_hw_rsrc_g.current_table->free_entries;
}

enum strays { KEEP_STRAYS, ERASE_STRAYS };

void reconcile(const char *function, const table_flows &flows, strays what) {
  restore_trees(function, flows.table());
  restore_records(function, flows);
  if (what == ERASE_STRAYS) {
    erase_strays(flows);
  }
  release_all_unnamed(function, flows);
  set_unsettled(is_work_left(flows.table()));
}

bool is_live_on(const oftab_sw_entry_t &failed, uint32_t pc_ifindex) {
  for (const oftab_sw_entry_t &entry : current_view()) {
    if (is_used(entry) && entry.seq_no == failed.seq_no && lists_port_channel(entry, pc_ifindex)) {
      return true;
    }
  }
  return false;
}

// Withdraws a flow that is not to be from its port channels, but not a live one of the same number.
void withdraw(const oftab_sw_entry_t &failed) {
  for (int32_t i = 0; i < failed.num_pc; ++i) {
    if (!is_live_on(failed, failed.pc_ifindex[i])) {
      oftab_pc_entry_update_flowmask(failed.pc_ifindex[i], failed.seq_no, 0);
    }
  }
}

// The shadow's entries leave the port channels on which the table does not have them.
void withdraw_shadow(const table_flows &flows) {
  for (const oftab_sw_entry_t &entry : shadow_view()) {
    const oftab_sw_entry_t *same = flows.with_counter(entry.stats_id);
    if (same == nullptr || memcmp(same->pc_ifindex, entry.pc_ifindex, sizeof entry.pc_ifindex) != 0) {
      withdraw(entry);
    }
  }
}

// A modified flow of the table has again what it had before: kept action, index (its tree follows) and flow bits.
void take_back(const oftab_sw_entry_t &entry) {
  bool had_fanout = false;
  if (!take_back_modification(entry, &had_fanout)) {
    return;
  }
  if (had_fanout) {
    restore_index(entry);
  } else if (holds_fanout(entry)) {
    pool_at(entry.mcst_idx).holder = pool_index::STRANDED;
  }
  record_pc_data(entry);
}

// A flow stands at its index now, so its copies elsewhere are nobody's last one. Writes the flow in whose place one is;
// null when there is none, or it was refused.
const oftab_sw_entry_t *write_over_copy(const char *function, const table_flows &flows, const oftab_sw_entry_t &moved) {
  for (uint16_t index = 0; index < OFTAB_FLOW_CAPACITY; ++index) {
    const cache_unified_entry *record = standing_record(index);
    const oftab_sw_entry_t *waiting = entry_at(flows.table(), index);
    if (record != nullptr && waiting != nullptr && flows.named_by(*record) == &moved && is_write_due(*waiting)) {
      return program_record(function, *waiting) ? waiting : nullptr;
    }
  }
  return nullptr;
}

}  // namespace

bool is_write_due(const oftab_sw_entry_t &entry) {
  return is_unsettled() && !stands(entry) && !is_foreign(entry.tcam_index);
}

void begin_request(const char *function) {
  begin_modifications();
  if (is_unsettled()) {
    reconcile(function, table_flows(current_view()), ERASE_STRAYS);
  }
}

void finish_request(const char *function) {
  if (is_unsettled()) {
    reconcile(function, table_flows(current_view()), ERASE_STRAYS);
  } else if (any_foreign() || count_own_records() != count_used()) {
    erase_strays(table_flows(current_view()));
  }
}

void abandon_request(const char *function) {
  const table_flows flows(current_view());
  withdraw_shadow(flows);
  for (const oftab_sw_entry_t &entry : flows.table()) {
    if (is_used(entry)) {
      take_back(entry);
    }
  }
  release_array(*oftab_hw_rsrc_g.shadow_table);
  set_unsettled(true);
  reconcile(function, flows, KEEP_STRAYS);
}

void rewrite_entry(const char *function, const oftab_sw_entry_t &entry) {
  if (!is_unsettled()) {
    program_record(function, entry);
    return;
  }
  const table_flows flows(current_view());
  if (!holds_last_copy(flows, entry.tcam_index) && program_record(function, entry)) {
    for (const oftab_sw_entry_t *moved = &entry; moved != nullptr;) {
      moved = write_over_copy(function, flows, *moved);
    }
    release_all_unnamed(function, flows);
  }
}

void release_failed_entry(const char *function, oftab_sw_entry_t &entry) {
  if (holds_fanout(entry)) {
    release_fanout(function, entry);
  }
  withdraw(entry);
  if (entry.stats_id != OFTAB_STATS_ID_NONE) {
    release_counter(function, entry.stats_id);
  }
}

void release_unnamed(const char *function) {
  release_all_unnamed(function, table_flows(current_view()));
}

}  // namespace oftab
