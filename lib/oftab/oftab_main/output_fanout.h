// SPDX-License-Identifier: Apache-2.0
// The fan-out of an outport entry: a multicast index of the pool, its replication tree, and who holds them.
#ifndef OFTAB_OUTPUT_FANOUT_H
#define OFTAB_OUTPUT_FANOUT_H

#include "oftab/oftab.h"

namespace oftab {

// On whose behalf an action is applied: the operation named in the traces, and whether it modifies an existing entry
// (which words two of the messages differently).
struct action_caller {
  const char *function;
  bool modifying;
};

// Gives the entry its output ports, a multicast index and a tree that replicates to the ports. 0 or OFTAB_ERR_FANOUT;
// after a failure the entry may still hold an index with its tree.
int32_t set_up_fanout(oftab_sw_entry_t &entry, const oftab_flow_t &flow, const action_caller &caller);

// Destroys the entry's tree and gives its index back, whether or not it has one; does nothing at all when the index
// belongs to another entry. The entry goes on naming the index. A tree that the entry held and that the SDK refuses to
// destroy is a warning in the name of `function`.
void release_fanout(const char *function, const oftab_sw_entry_t &entry);

// The same for an index that nobody holds any more, or (`held`) whose holder gives it up.
void release_index(const char *function, uint32_t index, bool held);

// Lets the tree of an entry that holds its index, but whose tree was torn down or changed, replicate to the entry's
// ports. If the SDK refuses, its ports stay due.
void restore_tree(const char *function, const oftab_sw_entry_t &entry);

}  // namespace oftab

#endif
