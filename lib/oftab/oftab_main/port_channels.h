// Which flows output to which port channel.
#ifndef OFTAB_PORT_CHANNELS_H
#define OFTAB_PORT_CHANNELS_H

#include "oftab/oftab.h"

namespace oftab {

// Records the flow on every port channel of its list.
void record_pc_data(const oftab_sw_entry_t &entry);

// While one of these lives, the record of a port channel that loses its last flow stays in the tree; it goes when the
// scope ends, if it is still without flows. A request that fails can thus put its flows back without needing memory.
class port_channel_scope {
 public:
  port_channel_scope();
  ~port_channel_scope();
  port_channel_scope(const port_channel_scope &) = delete;
  port_channel_scope &operator=(const port_channel_scope &) = delete;
};

// To be told whenever the current table's array changes.
void current_table_changed();

}  // namespace oftab

#endif
