// SPDX-License-Identifier: Apache-2.0
// The agent's flows against those that the library has.
#ifndef AGENT_FLOW_SYNC_H
#define AGENT_FLOW_SYNC_H

#include <set>
#include <string>
#include <vector>

#include "agent/flow_table.h"
#include "host/switch.h"

namespace agent {

// One line for each flow in which the two tables differ.
std::vector<std::string> differences(host::Switch &device, const FlowTable &table);

// The flows, by number, whose records were made for other interfaces or VLANs than there are now.
std::vector<uint32_t> overtaken_records(host::Switch &device, const FlowTable &table);

// The flows, by number, that the CPU serves for want of a multicast index: as many as have one free now.
std::vector<uint32_t> flows_with_room(const FlowTable &table);

// Makes the table hold what the library has, but for the records of these numbers, which are no flows. Flows that it
// knew, by number, match and priority, keep what the library does not know about them. Returns those that are gone.
std::vector<TableEntry> reread(host::Switch &device, FlowTable &table, Time now, const std::set<uint32_t> &no_flows);

}  // namespace agent

#endif
