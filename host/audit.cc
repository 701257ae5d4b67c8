#include "host/audit.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "host/services/avl_tree.h"
#include "host/services/bitset.h"
#include "host/table_snapshot.h"
#include "oftab/hw_entry.h"

namespace host {
namespace {

using Entry = oftab_sw_entry_t;
using Findings = std::vector<std::string>;

// Flow masks are compared as sets of (port channel, flow handle).
using FlowBits = std::set<std::pair<uint32_t, uint32_t>>;

FlowBits recorded_flow_bits(const TableSnapshot &table) {
  FlowBits bits;
  for (const auto &[index, entry] : table.used()) {
    for (int32_t i = 0; i < entry->num_pc && entry->seq_no < OFTAB_FLOW_HANDLES; ++i) {
      bits.emplace(entry->pc_ifindex[i], entry->seq_no);
    }
  }
  return bits;
}

FlowBits masked_flow_bits() {
  FlowBits bits;
  for (const void *record : services::avl_records(oftab_pc_tree)) {
    const auto &each = *static_cast<const pc_entry *>(record);
    for (uint32_t handle = 0; handle < OFTAB_FLOW_HANDLES; ++handle) {
      if ((each.flow_mask[handle / 32] >> handle % 32 & 1U) != 0) {
        bits.emplace(each.pc_ifindex, handle);
      }
    }
  }
  return bits;
}

// The multicast indices that the pool counts as taken.
std::set<uint32_t> taken_indices() {
  std::set<uint32_t> taken;
  for (const uint32_t bit : services::set_bits(g_oftab_mcast_idx_bmp)) {
    taken.insert(g_oftab_mcst_idx_lower + bit);
  }
  return taken;
}

class Audit {
 public:
  Audit(const asic::Asic &asic, const AuditExceptions &exceptions)
      : asic_(asic), exceptions_(exceptions), table_(asic) {}

  Findings run() {
    if (oftab_hw_rsrc_g.initialized != 0) {
      check_header(*oftab_hw_rsrc_g.current_table);
    }
    for (const auto &[index, entry] : table_.used()) {
      check_record(index, *entry);
      check_fan_out(index, *entry);
    }
    check_strays();
    check_counters();
    check_multicast_indices();
    check_flow_masks();
    return std::move(findings_);
  }

 private:
  void find(bool wrong, const std::string &text) {
    if (wrong) {
      findings_.push_back(text);
    }
  }

  const asic::Record &tcam(uint16_t index) const { return asic_.tcam().at(index); }

  void check_header(const oftab_tcam_tbl_t &table) {
    const size_t used = table_.used().size();
    const int records = table.tcam_end_idx - table.tcam_st_idx + 1;
    const bool empty = table.entries_allocated == 0;
    find(table.free_entries != OFTAB_FLOW_CAPACITY - used,
         "header: " + std::to_string(table.free_entries) + " free, but " + std::to_string(used) + " used");
    find(empty && (table.tcam_st_idx != 0 || table.tcam_end_idx != 0), "header: an empty table has a range");
    find(!empty && table.tcam_entry == nullptr, "header: the table counts entries but has no array");
    find(!empty && (records != table.entries_allocated || table.tcam_end_idx >= OFTAB_FLOW_CAPACITY),
         "header: range " + std::to_string(table.tcam_st_idx) + " to " + std::to_string(table.tcam_end_idx) + " with " +
             std::to_string(table.entries_allocated) + " entries allocated");
    find(oftab_hw_rsrc_g.shadow_table->tcam_entry != nullptr, "the shadow table still has its array");
  }

  void check_record(uint16_t index, const Entry &entry) {
    find(entry.tcam_index != index, flow_at(index, entry) + ": names TCAM index " + std::to_string(entry.tcam_index));
    const bool match_differs = !tcam(index).valid() || !same_match(tcam(index), entry);
    const bool result_differs = !same_result(tcam(index), entry);
    find(((match_differs && !exceptions_.failed_rewrites.contains(index)) ||
          (result_differs && !exceptions_.failed_modifies.contains(index))) &&
             !overwritten(index),
         flow_at(index, entry) + ": does not stand in the TCAM");
  }

  // Whether a request that failed while programming left something at this index.
  bool overwritten(uint16_t index) const {
    return exceptions_.failed_programming && (table_.stranded().contains(index) || is_copy(index));
  }

  // Whether a TCAM record is that of a flow at another index.
  bool is_copy(uint16_t index) const {
    return std::ranges::any_of(table_.used(), [&](const auto &used) {
      return used.first != index && same_match(tcam(index), *used.second) && same_result(tcam(index), *used.second);
    });
  }

  void check_fan_out(uint16_t index, const Entry &entry) {
    const bool has_tree = asic_.trees().exists(entry.mcst_idx);
    const bool outport = entry.result_kind == OFTAB_RESULT_OUTPORT;
    const bool may_have = outport || entry.result_kind == OFTAB_RESULT_CONTROLLER;
    const bool failed_modify = exceptions_.failed_modifies.contains(index);
    find(outport && !has_tree && !failed_modify, flow_at(index, entry) + ": its multicast index has no tree");
    find(has_tree && !may_have && !asic_.trees().last_destroy_failed(entry.mcst_idx),
         flow_at(index, entry) + ": holds a tree that its action does not use");
    if (has_tree && may_have && !failed_modify) {
      check_tree(index, entry);
    }
  }

  void check_tree(uint16_t index, const Entry &entry) {
    find(oftab::hw::ltl_idx(entry.hw.result) != entry.mcst_idx,
         flow_at(index, entry) + ": its result names another multicast index than its record");
    find(!exceptions_.stale_trees && asic_.trees().ports(entry.mcst_idx) != asic::ports_of(entry.out_ports),
         flow_at(index, entry) + ": its tree has other ports than its record");
  }

  void check_strays() {
    for (const uint16_t index : table_.strays()) {
      const bool explained = table_.stranded().contains(index) || (exceptions_.failed_programming && is_copy(index));
      find(!explained && !table_.used().contains(index), at_index(index) + ": valid in the TCAM, but no flow is there");
    }
  }

  // `excused`: nobody need own the resource, because the SDK refused to destroy it.
  void check_owners(const std::string &resource, const Owners &owners, uint32_t id, bool excused) {
    const auto found = owners.find(id);
    if (found == owners.end()) {
      find(!excused, resource + " " + std::to_string(id) + ": nobody owns it");
    } else if (found->second.size() > 1) {
      std::string text = resource + " " + std::to_string(id) + ": owned by " + found->second.front();
      for (size_t i = 1; i < found->second.size(); ++i) {
        text += ", " + found->second[i];
      }
      find(true, text);
    }
  }

  void check_counters() {
    const asic::Counters &counters = asic_.counters();
    for (const uint16_t id : counters.ids()) {
      check_owners("counter", table_.counters(), id, counters.last_destroy_failed(id));
    }
    for (const auto &[index, entry] : table_.used()) {
      find(!counters.exists(entry->stats_id),
           flow_at(index, *entry) + ": its counter " + std::to_string(entry->stats_id) + " does not exist");
    }
  }

  void check_multicast_indices() {
    const asic::Trees &trees = asic_.trees();
    std::set<uint32_t> present = taken_indices();
    for (const uint32_t index : present) {
      find(!trees.exists(index) && !is_named_by_failed_modify(index),
           "multicast index " + std::to_string(index) + ": taken, but has no tree");
    }
    for (const uint32_t index : trees.indices()) {
      const bool added = present.insert(index).second;
      find(added && !trees.last_destroy_failed(index),
           "tree " + std::to_string(index) + ": its multicast index is free");
    }
    for (const uint32_t index : present) {
      check_owners("multicast index", table_.multicast_indices(), index, trees.last_destroy_failed(index));
    }
  }

  bool is_named_by_failed_modify(uint32_t mcst_idx) const {
    return std::ranges::any_of(table_.used(), [&](const auto &used) {
      return used.second->mcst_idx == mcst_idx && exceptions_.failed_modifies.contains(used.first);
    });
  }

  // Reports the bits of one set that the other lacks.
  void report_bits(const FlowBits &bits, const FlowBits &other, const std::string &verdict) {
    for (const auto &[pc_ifindex, handle] : bits) {
      char port_channel[32];
      snprintf(port_channel, sizeof port_channel, "port channel 0x%08x", pc_ifindex);
      find(!other.contains({pc_ifindex, handle}),
           std::string(port_channel) + ": flow " + std::to_string(handle) + " " + verdict);
    }
  }

  void check_flow_masks() {
    const FlowBits recorded = recorded_flow_bits(table_);
    const FlowBits masked = masked_flow_bits();
    if (!exceptions_.missing_flow_bits) {
      report_bits(recorded, masked, "is missing in its flow mask");
    }
    if (!exceptions_.stale_flow_masks) {
      report_bits(masked, recorded, "is in its flow mask, but does not output to it");
    }
  }

  const asic::Asic &asic_;
  const AuditExceptions &exceptions_;
  const TableSnapshot table_;
  Findings findings_;
};

}  // namespace

Findings audit(const asic::Asic &asic, const AuditExceptions &exceptions) {
  return Audit(asic, exceptions).run();
}

std::set<uint16_t> stranded_indices(const asic::Asic &asic) {
  return TableSnapshot(asic).stranded();
}

}  // namespace host
