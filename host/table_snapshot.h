// SPDX-License-Identifier: Apache-2.0
// What the library's current table and the TCAM say at one moment, and who owns what.
#ifndef HOST_TABLE_SNAPSHOT_H
#define HOST_TABLE_SNAPSHOT_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/asic/asic.h"
#include "oftab/oftab.h"

namespace host {

// A resource's number -> the names of those that name it.
using Owners = std::map<uint32_t, std::vector<std::string>>;

// Whether a commit without memory has left the current table with a header alone.
bool has_lost_its_array();

std::string at_index(uint16_t index);
std::string flow_at(uint16_t index, const oftab_sw_entry_t &entry);

bool same_match(const asic::Record &record, const oftab_sw_entry_t &entry);
// The same match and the same counter: the entry's, be it with another action.
bool is_copy_of(const asic::Record &record, const oftab_sw_entry_t &entry);
// The same of a flow whose interface may have got another id since.
bool was_copy_of(asic::Record record, oftab_sw_entry_t entry);
bool same_result(const asic::Record &record, const oftab_sw_entry_t &entry);

// Whether a modification that failed explains the record: the table's lost its action, the hardware's kept it.
bool keeps_action(const asic::Record &record, const oftab_sw_entry_t &entry);

// The counter that a TCAM record counts on.
uint32_t counter_named_by(const asic::Record &record);

// Whether the pool counts a multicast index as taken.
bool is_taken(uint32_t mcst_idx);

class TableSnapshot {
 public:
  // `written`: indices that the operator wrote directly.
  explicit TableSnapshot(const asic::Asic &asic, const std::set<uint16_t> &written = {});

  // The used records by the TCAM index for which they stand.
  const std::map<uint16_t, const oftab_sw_entry_t *> &used() const { return used_; }

  // The valid indices that do not hold what the table says; of these, those that a failed write explains, that alone
  // own their counter, or that are copies of a flow.
  const std::set<uint16_t> &strays() const { return strays_; }
  const std::set<uint16_t> &stranded() const { return stranded_; }

  // The owners: used records, the catch-all, and stranded or directly written indices of what nobody else owns.
  const Owners &counters() const { return counters_; }
  const Owners &multicast_indices() const { return multicast_indices_; }

 private:
  const asic::Record &tcam(uint16_t index) const { return asic_.tcam().at(index); }
  bool is_stray(uint16_t index) const;
  bool is_copy(uint16_t index) const;
  void add_live_owners();
  void add_catch_all_counters();
  void find_strays();
  void find_stranded();
  void add_owner(uint16_t index, const std::string &kind);

  const asic::Asic &asic_;
  std::map<uint16_t, const oftab_sw_entry_t *> used_;
  std::set<uint16_t> strays_;
  std::set<uint16_t> stranded_;
  Owners counters_;
  Owners multicast_indices_;
};

}  // namespace host

#endif
