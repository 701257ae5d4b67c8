#include "host/table_snapshot.h"

#include <algorithm>
#include <span>

#include "oftab/hw_entry.h"

namespace host {
namespace {

namespace hw = oftab::hw;

bool initialized() {
  return oftab_hw_rsrc_g.initialized != 0;
}

std::span<const oftab_sw_entry_t> current_range() {
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  if (table == nullptr || table->entries_allocated == 0 || table->tcam_entry == nullptr ||
      table->tcam_end_idx < table->tcam_st_idx) {
    return {};
  }
  return {table->tcam_entry, static_cast<size_t>(table->tcam_end_idx - table->tcam_st_idx) + 1};
}

std::map<uint16_t, const oftab_sw_entry_t *> used_records() {
  std::map<uint16_t, const oftab_sw_entry_t *> used;
  const std::span<const oftab_sw_entry_t> range = current_range();
  for (size_t k = 0; k < range.size(); ++k) {
    if ((range[k].flags & OFTAB_ENTRY_USED) != 0) {
      used[static_cast<uint16_t>(oftab_hw_rsrc_g.current_table->tcam_st_idx + k)] = &range[k];
    }
  }
  return used;
}

}  // namespace

std::string at_index(uint16_t index) {
  return "index " + std::to_string(index);
}

std::string flow_at(uint16_t index, const oftab_sw_entry_t &entry) {
  return at_index(index) + " (flow " + std::to_string(entry.seq_no) + ")";
}

bool same_match(const asic::Record &record, const oftab_sw_entry_t &entry) {
  return std::ranges::equal(record.key, entry.hw.key) && std::ranges::equal(record.mask, entry.hw.mask);
}

bool same_result(const asic::Record &record, const oftab_sw_entry_t &entry) {
  return std::ranges::equal(record.result, entry.hw.result);
}

TableSnapshot::TableSnapshot(const asic::Asic &asic) : asic_(asic), used_(used_records()) {
  add_live_owners();
  find_strays();
  find_stranded();
}

uint32_t TableSnapshot::tcam_counter(uint16_t index) const {
  return hw::get32(tcam(index).result.data(), hw::forward_result::adj_stats_ptr);
}

// The catch-all's record does not know the counter of an entry that was already there at initialisation.
uint32_t TableSnapshot::catch_all_counter() const {
  const uint16_t known = oftab_hw_rsrc_g.catch_all_entry.stats_id;
  return known == 0 || known == OFTAB_STATS_ID_NONE ? tcam_counter(OFTAB_CATCH_ALL_INDEX) : known;
}

void TableSnapshot::add_live_owners() {
  for (const auto &[index, entry] : used_) {
    counters_[entry->stats_id].push_back(flow_at(index, *entry));
    if (entry->mcst_idx != 0) {
      multicast_indices_[entry->mcst_idx].push_back(flow_at(index, *entry));
    }
  }
  if (initialized()) {
    counters_[catch_all_counter()].push_back("the catch-all");
  }
}

bool TableSnapshot::is_stray(uint16_t index) const {
  if (index == OFTAB_CATCH_ALL_INDEX) {
    return !initialized();
  }
  const auto found = used_.find(index);
  if (found == used_.end()) {
    return true;
  }
  const oftab_sw_entry_t &entry = *found->second;
  const bool not_restored = asic_.tcam().last_write_failed(index) && !same_result(tcam(index), entry);
  return not_restored || !same_match(tcam(index), entry) || tcam_counter(index) != entry.stats_id;
}

void TableSnapshot::find_strays() {
  for (const uint16_t index : asic_.tcam().valid_indices()) {
    if (is_stray(index)) {
      strays_.insert(index);
    }
  }
}

void TableSnapshot::find_stranded() {
  std::map<uint32_t, int> claims;
  for (const uint16_t index : strays_) {
    ++claims[tcam_counter(index)];
  }
  for (const uint16_t index : strays_) {
    const uint32_t counter = tcam_counter(index);
    const bool owns = asic_.counters().exists(counter) && !counters_.contains(counter) && claims[counter] == 1;
    if (owns || asic_.tcam().last_write_failed(index)) {
      stranded_.insert(index);
    }
  }
  for (const uint16_t index : stranded_) {
    add_stranded_owner(index);
  }
}

void TableSnapshot::add_stranded_owner(uint16_t index) {
  const std::vector<std::string> owner = {"stranded " + at_index(index)};
  counters_.try_emplace(tcam_counter(index), owner);
  if (const uint32_t mcst_idx = hw::ltl_idx(tcam(index).result.data()); mcst_idx != 0) {
    multicast_indices_.try_emplace(mcst_idx, owner);
  }
}

}  // namespace host
