// SPDX-License-Identifier: Apache-2.0
// Changes of the agent's flow table, as OpenFlow has them, and what can come of one.
#ifndef AGENT_FLOW_MOD_H
#define AGENT_FLOW_MOD_H

#include <cstdint>
#include <map>
#include <vector>

#include "agent/error.h"
#include "agent/flow.h"
#include "agent/flow_table.h"

namespace agent {

constexpr uint32_t kNoBuffer = 0xFFFFFFFF;

struct FlowMod {
  enum class Command : uint8_t { Add, Modify, ModifyStrict, Delete, DeleteStrict };  // OpenFlow's numbers, from 0
  Command command = Command::Add;
  Flow flow;                      // its match need not be normalised
  uint32_t out_port = kPortNone;  // deletes only flows with an output to this port, unless kPortNone
  // For flows that are added or changed: the packet of this buffer is then handled by the actions.
  uint32_t buffer_id = kNoBuffer;
};

struct RemovedFlow {
  enum class Reason : uint8_t { IdleTimeout, HardTimeout, Delete };  // OpenFlow's numbers, from 0
  TableEntry entry;
  Reason reason = Reason::Delete;
  Time time{};  // when it was removed
};

// Whether an action of the flow sends to this port.
bool sends_to(const Flow &flow, uint32_t port);

using FlowModErrors = std::map<size_t, AgentError>;  // by the position of the change in its run

struct FlowModResults {
  FlowModErrors errors;
  std::vector<RemovedFlow> removed;  // in order; replaced flows are not among them
  size_t waiting = 0;                // flows of the table that the library is to be asked to take again
};

}  // namespace agent

#endif
