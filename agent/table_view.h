// SPDX-License-Identifier: Apache-2.0
// The library's current table, read as flows.
#ifndef AGENT_TABLE_VIEW_H
#define AGENT_TABLE_VIEW_H

#include <cstdint>
#include <span>
#include <vector>

#include "agent/flow.h"
#include "agent/flow_table.h"
#include "agent/hardware.h"
#include "host/switch.h"
#include "oftab/oftab.h"

namespace agent {

// The records of the current table's range, holes included; none when it is empty or does not exist yet.
std::span<const oftab_sw_entry_t> table_records();

inline bool is_live(const oftab_sw_entry_t &record) {
  return (record.flags & OFTAB_ENTRY_USED) != 0;
}

// Whether the library keeps a flow's outputs in step with the members of a port channel among them.
bool follows(uint32_t seq_no, uint32_t pc_ifindex);

// What the hardware does with packets that match a record.
HardwareActions actions_of(const oftab_sw_entry_t &record, const host::services::Interfaces &interfaces);

// A flow as table and hardware hold it.
struct InstalledFlow {
  uint16_t index;
  Flow flow;
  HardwareActions hardware;  // its actions as the hardware has them
  uint64_t packets;          // as of the last collection
  uint64_t bytes;
};

// The live flows, in the order in which the hardware compares them.
std::vector<InstalledFlow> installed_flows(host::Switch &device);

// The same flows as the agent knows them: with the match and actions that they were given, and with what the CPU has
// counted for them.
std::vector<InstalledFlow> installed_flows(host::Switch &device, const FlowTable &table);

// That of a live record.
InstalledFlow installed_flow(host::Switch &device, const oftab_sw_entry_t &record);

// The record at a TCAM index; none when no live flow stands there.
const oftab_sw_entry_t *live_record_at(uint16_t tcam_index);

}  // namespace agent

#endif
