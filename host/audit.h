// Checks that the library's tables and the simulated ASIC agree, whatever happened before.
#ifndef HOST_AUDIT_H
#define HOST_AUDIT_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "host/asic/asic.h"

namespace host {

// States in which a known difference is no finding.
struct AuditExceptions {
  // After a purge, which leaves the port channels' flow masks alone.
  bool stale_flow_masks = false;
  // After a flow mask could not take up a flow (memory was short): the flow goes on without.
  bool missing_flow_bits = false;
  // After a request that failed while programming (-8): what it wrote stays in the TCAM, even where the table has
  // another record, until these indices are written again.
  bool failed_programming = false;
  // After a membership change that could not program every tree.
  bool stale_trees = false;
  // Indices of the records whose last modification failed: committed without working fan-out (a multicast index that
  // they name may be taken without a tree), the TCAM keeps the old result.
  std::set<uint16_t> failed_modifies;
  // Indices that could not be written again after a change of their interface's id.
  std::set<uint16_t> failed_rewrites;
};

// One readable line for each finding; none when all is well:
// - the current table's header adds up: range, free and allocated entries; the shadow table has no array;
// - every used record stands in the TCAM at its index, and no other index is valid but the catch-all's and stranded
// ones;
// - every counter, multicast index and replication tree that exists is named by exactly one used record, the catch-all
// or
//   a stranded index (unless the SDK refused to destroy it), and every record that needs one has it;
// - the port channels' flow masks are those of the used records.
std::vector<std::string> audit(const asic::Asic &asic, const AuditExceptions &exceptions = {});

// The valid TCAM indices that hold something else than the table says, and may: records of a request that failed after
// they were written, which still own their counter, and records whose erasure failed.
std::set<uint16_t> stranded_indices(const asic::Asic &asic);

}  // namespace host

#endif
