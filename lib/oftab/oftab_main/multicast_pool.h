// SPDX-License-Identifier: Apache-2.0
// The pool of multicast indices: who has each, and what is known of its tree.
//
// An index is
//   free       nobody has it: its bit in the host's bitset is clear, its holder NOBODY;
//   taken      by a direct call: its bit is set, its holder NOBODY. Whoever releases it by number frees it;
//   held       by a flow: its bit is set, its holder the flow's counter + 1. It is freed when that flow is deleted or
//              modified, and neither another flow's release nor one by number touches it;
//   stranded   a request failed after it had written a record that names the index, and no flow of the table holds it:
//              its bit is set, its holder STRANDED. It is freed once that record is gone.
//
// Beside that, whatever the state: an index without a tree may be named by records (a flow that was modified from
// outport to another action goes on naming its index) and is not handed out while they do, or that flow's packets would
// reach another flow's ports. An index whose tree the SDK refused to create or to destroy is `refused`: passed over
// while there are others. `given_up_in` is the request in which a flow last gave it up. `ports_due`: the holder's ports
// have yet to be programmed, after a failure.
//
// The bitset is the host's to look at; everything else about an index is in its pool_index.
#ifndef OFTAB_MULTICAST_POOL_H
#define OFTAB_MULTICAST_POOL_H

#include "oftab/oftab.h"

namespace oftab {

constexpr uint32_t POOL_LOWER = 8192;

struct pool_index {
  static constexpr uint32_t NOBODY = 0;
  static constexpr uint32_t STRANDED = 0xFFFFFFFF;

  uint32_t holder;
  uint32_t given_up_in;
  bool has_tree;
  bool ports_due;
  bool refused;
};

constexpr bool in_pool(uint32_t index) {
  return index >= POOL_LOWER && index < POOL_LOWER + OFTAB_MCST_IDX_COUNT;
}

// Of an index of the pool.
pool_index &pool_at(uint32_t index);

inline uint32_t as_holder(const oftab_sw_entry_t &entry) {
  return entry.stats_id + 1U;
}

// Whether the entry itself holds the index that it names: it has a fan-out.
bool holds_fanout(const oftab_sw_entry_t &entry);

// Stands for the TCAM index of an entry that is not in the table.
constexpr uint16_t NOT_IN_TABLE = 0xFFFF;

// Takes an index for the entry that stands at `own_tcam_index`. False when there is none left.
bool allocate_index(uint32_t *index, uint16_t own_tcam_index);

// Gives the entry the index that it names again; its ports are due.
void restore_index(const oftab_sw_entry_t &entry);

}  // namespace oftab

#endif
