// SPDX-License-Identifier: Apache-2.0
// Checks that the library's tables and the simulated ASIC agree, whatever happened before.
#ifndef HOST_AUDIT_H
#define HOST_AUDIT_H

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "host/asic/asic.h"
#include "host/finding.h"

namespace host {

// A port channel's ifindex, and a flow that its flow mask has.
using FlowBit = std::pair<uint32_t, uint32_t>;
using FlowBits = std::set<FlowBit>;

// What no look at the table and the hardware can tell. Each exception names the flow or the index that it excuses.
struct AuditExceptions {
  FlowBits purged;                           // bits that a purge left behind (flow_bits() before it)
  FlowBits untracked;                        // flows that their port channel could not take up
  std::map<uint16_t, asic::Record> written;  // what the operator wrote directly; excused while it stands

  // The indices where it still stands.
  std::set<uint16_t> written_indices(const asic::Asic &asic) const;
};

// Every difference; none when all is well:
// - the current table's header adds up: range, free and allocated entries; the shadow table has no array;
// - every used record stands in the TCAM at its index, no other index is valid but the catch-all's, and that one holds
//   the catch-all's record;
// - every used record that needs a replication tree has one, with its ports;
// - every counter, multicast index and tree that exists is owned by exactly one used record, the catch-all or a record
//   that stands in the TCAM without a flow, and every counter that one of them names exists;
// - the port channels' flow masks are those of the used records.
std::vector<Finding> audit(const asic::Asic &asic, const AuditExceptions &exceptions = {});

// The valid TCAM indices that hold something else than the table says, and may: records of a request that failed after
// they were written, copies that a failed compaction left, and records whose erasure failed.
std::set<uint16_t> stranded_indices(const asic::Asic &asic);

// The bits of all flow masks.
FlowBits flow_bits();

}  // namespace host

#endif
