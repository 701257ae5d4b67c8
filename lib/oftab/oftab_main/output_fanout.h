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
// belongs to another entry. The entry goes on naming the index.
void release_fanout(const oftab_sw_entry_t &entry);

// Whether the entry itself holds the index that it names.
bool holds_fanout(const oftab_sw_entry_t &entry);

// Takes the entry's released index again, unless it is taken for the entry already, and lets its tree replicate to the
// entry's ports.
void put_back_fanout(const oftab_sw_entry_t &entry);

// Tries again for the current table's entries whose trees could not be put back.
void complete_fanouts();

}  // namespace oftab

#endif
