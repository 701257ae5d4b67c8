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

std::string at_index(uint16_t index);
std::string flow_at(uint16_t index, const oftab_sw_entry_t &entry);

bool same_match(const asic::Record &record, const oftab_sw_entry_t &entry);
bool same_result(const asic::Record &record, const oftab_sw_entry_t &entry);

class TableSnapshot {
 public:
  explicit TableSnapshot(const asic::Asic &asic);

  // The used records by the TCAM index for which they stand.
  const std::map<uint16_t, const oftab_sw_entry_t *> &used() const { return used_; }

  // The valid indices that do not hold what the table says; of these, those that a failed write explains, or that alone
  // own their counter.
  const std::set<uint16_t> &strays() const { return strays_; }
  const std::set<uint16_t> &stranded() const { return stranded_; }

  // The owners: used records, the catch-all, and stranded indices of what nobody else owns.
  const Owners &counters() const { return counters_; }
  const Owners &multicast_indices() const { return multicast_indices_; }

 private:
  const asic::Record &tcam(uint16_t index) const { return asic_.tcam().at(index); }
  uint32_t tcam_counter(uint16_t index) const;
  uint32_t catch_all_counter() const;
  bool is_stray(uint16_t index) const;
  void add_live_owners();
  void find_strays();
  void find_stranded();
  void add_stranded_owner(uint16_t index);

  const asic::Asic &asic_;
  std::map<uint16_t, const oftab_sw_entry_t *> used_;
  std::set<uint16_t> strays_;
  std::set<uint16_t> stranded_;
  Owners counters_;
  Owners multicast_indices_;
};

}  // namespace host

#endif
