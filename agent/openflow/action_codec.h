// SPDX-License-Identifier: Apache-2.0
// Action lists of OpenFlow 1.0, to and from the agent's.
#ifndef AGENT_OPENFLOW_ACTION_CODEC_H
#define AGENT_OPENFLOW_ACTION_CODEC_H

#include <vector>

#include "agent/flow.h"
#include "agent/openflow/wire.h"

namespace agent::openflow {

// Throws a ProtocolError for a list that is not one: lengths, types and values are checked, ports that a switch cannot
// have too; whether it has them is for the agent to say.
std::vector<Action> decode_actions(ByteView list);

void append_actions(Bytes &bytes, const std::vector<Action> &actions);

}  // namespace agent::openflow

#endif
