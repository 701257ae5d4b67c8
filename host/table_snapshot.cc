// SPDX-License-Identifier: Apache-2.0
#include "host/table_snapshot.h"

#include <algorithm>
#include <array>
#include <span>

#include "host/services/bitset.h"
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

bool has_lost_its_array() {
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  return table != nullptr && table->entries_allocated != 0 && table->tcam_entry == nullptr;
}

std::string at_index(uint16_t index) {
  return "index " + std::to_string(index);
}

std::string flow_at(uint16_t index, const oftab_sw_entry_t &entry) {
  return at_index(index) + " (flow " + std::to_string(entry.seq_no) + ")";
}

bool same_match(const asic::Record &record, const oftab_sw_entry_t &entry) {
  return std::ranges::equal(record.key, entry.hw.key) && std::ranges::equal(record.mask, entry.hw.mask);
}

bool is_copy_of(const asic::Record &record, const oftab_sw_entry_t &entry) {
  return same_match(record, entry) && counter_named_by(record) == entry.stats_id;
}

bool was_copy_of(asic::Record record, oftab_sw_entry_t entry) {
  const auto forget_interface = [](auto &each) {
    hw::set(std::data(each.key), hw::ip_key::l2lif, 0);
    hw::set(std::data(each.mask), hw::ip_key::l2lif, 0);
  };
  forget_interface(record);
  forget_interface(entry.hw);
  return is_copy_of(record, entry);
}

bool same_result(const asic::Record &record, const oftab_sw_entry_t &entry) {
  return std::ranges::equal(record.result, entry.hw.result);
}

bool keeps_action(const asic::Record &record, const oftab_sw_entry_t &entry) {
  using fields = hw::forward_result;
  std::array<uint8_t, TCAM_RESULT_SIZE> table{};
  std::ranges::copy(entry.hw.result, table.begin());
  const bool without_copy =
      hw::get(table.data(), fields::cp_to_cpu) == 0 && hw::get(table.data(), fields::cpu_code) == 0;
  for (const hw::field field : {fields::drop, fields::cp_to_cpu, fields::cpu_code}) {
    hw::set(table.data(), field, hw::get(record.result.data(), field));
  }
  return without_copy && table == record.result;
}

uint32_t counter_named_by(const asic::Record &record) {
  return hw::get32(record.result.data(), hw::forward_result::adj_stats_ptr);
}

bool is_taken(uint32_t mcst_idx) {
  return services::has_bit(g_oftab_mcast_idx_bmp, mcst_idx - g_oftab_mcst_idx_lower);
}

TableSnapshot::TableSnapshot(const asic::Asic &asic, const std::set<uint16_t> &written)
    : asic_(asic), used_(used_records()) {
  add_live_owners();
  find_strays();
  find_stranded();
  for (const uint16_t index : stranded_) {
    add_owner(index, "stranded ");
  }
  for (const uint16_t index : written) {
    add_owner(index, "directly written ");
  }
}

void TableSnapshot::add_live_owners() {
  for (const auto &[index, entry] : used_) {
    counters_[entry->stats_id].push_back(flow_at(index, *entry));
    if (entry->mcst_idx != 0) {
      multicast_indices_[entry->mcst_idx].push_back(flow_at(index, *entry));
    }
  }
  if (initialized()) {
    add_catch_all_counters();
  }
}

// That of the record which stands at its index, and that of the catch-all's own record, which does not know the counter
// of an entry that was there before the library started.
void TableSnapshot::add_catch_all_counters() {
  const asic::Record &record = tcam(OFTAB_CATCH_ALL_INDEX);
  const uint32_t standing = record.valid() ? counter_named_by(record) : 0;
  const uint32_t own = oftab_hw_rsrc_g.catch_all_entry.stats_id;
  counters_[standing].emplace_back("the catch-all");
  if (own != standing) {
    counters_[own].emplace_back("the catch-all's record");
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
  const asic::Record *refused = asic_.tcam().refused_at(index);
  const bool not_restored =
      refused != nullptr && *refused != tcam(index) && is_copy_of(*refused, entry) && !same_result(tcam(index), entry);
  return not_restored || !is_copy_of(tcam(index), entry);
}

bool TableSnapshot::is_copy(uint16_t index) const {
  return std::ranges::any_of(
      used_, [&](const auto &used) { return used.first != index && was_copy_of(tcam(index), *used.second); });
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
    ++claims[counter_named_by(tcam(index))];
  }
  for (const uint16_t index : strays_) {
    const uint32_t counter = counter_named_by(tcam(index));
    const bool alone = claims[counter] == 1 || has_lost_its_array();  // a flow of a lost table may stand twice
    const bool owns = asic_.counters().exists(counter) && !counters_.contains(counter) && alone;
    if (owns || asic_.tcam().refused_at(index) != nullptr || is_copy(index)) {
      stranded_.insert(index);
    }
  }
}

// Several indices may share what was written at them directly.
void TableSnapshot::add_owner(uint16_t index, const std::string &kind) {
  const std::vector<std::string> owner = {kind + at_index(index)};
  counters_.try_emplace(counter_named_by(tcam(index)), owner);
  if (const uint32_t mcst_idx = hw::ltl_idx(tcam(index).result.data()); mcst_idx != 0) {
    multicast_indices_.try_emplace(mcst_idx, owner);
  }
}

}  // namespace host
