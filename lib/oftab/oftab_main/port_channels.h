// Which flows output to which port channel.
#ifndef OFTAB_PORT_CHANNELS_H
#define OFTAB_PORT_CHANNELS_H

#include "oftab/oftab.h"

namespace oftab {

// Whether the port channel is among the entry's recorded outputs.
bool lists_port_channel(const oftab_sw_entry_t &entry, uint32_t pc_ifindex);

// Records the flow on every port channel of its list.
void record_pc_data(const oftab_sw_entry_t &entry);

// While one of these lives, the memory of a port channel's record that loses its last flow and leaves the tree is kept
// aside for the next record: a request that fails can put its flows back without needing memory.
class pc_memory_scope {
 public:
  pc_memory_scope();
  ~pc_memory_scope();
  pc_memory_scope(const pc_memory_scope &) = delete;
  pc_memory_scope &operator=(const pc_memory_scope &) = delete;
};

}  // namespace oftab

#endif
