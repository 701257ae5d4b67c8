// SPDX-License-Identifier: Apache-2.0
// What flows have counted, read anew from the hardware.
#ifndef AGENT_COUNTS_H
#define AGENT_COUNTS_H

#include "agent/flow_table.h"
#include "host/switch.h"

namespace agent {

// Lets the library collect its counters at once and brings the table's counts up to date. Flows that have counted
// packets since the reading before were used now. Counts stay as they are when the library does not answer.
void read_counts(host::Switch &device, FlowTable &table, Time now);

}  // namespace agent

#endif
