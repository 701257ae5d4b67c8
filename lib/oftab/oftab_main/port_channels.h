// SPDX-License-Identifier: Apache-2.0
// Which flows output to which port channel.
#ifndef OFTAB_PORT_CHANNELS_H
#define OFTAB_PORT_CHANNELS_H

#include "oftab/oftab.h"

namespace oftab {

// Whether the port channel is among the entry's recorded outputs.
bool lists_port_channel(const oftab_sw_entry_t &entry, uint32_t pc_ifindex);

// Records the flow on every port channel of its list.
void record_pc_data(const oftab_sw_entry_t &entry);

// The memory of records that leave the tree is kept aside for the next ones, so that a request that fails can put its
// flows back without needing memory. At the end of a request what is left of it is freed.
void free_spare_records();

}  // namespace oftab

#endif
