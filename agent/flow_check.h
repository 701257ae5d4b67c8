// SPDX-License-Identifier: Apache-2.0
// Whether this switch, with the interfaces and VLANs that it has, can take a flow.
#ifndef AGENT_FLOW_CHECK_H
#define AGENT_FLOW_CHECK_H

#include <optional>

#include "agent/error.h"
#include "agent/flow.h"
#include "host/switch.h"

namespace agent {

// Why not; none when it can. Actions are looked at first, then flags.
std::optional<AgentError> refused(host::Switch &device, const Flow &flow);

// The same for the flags alone.
std::optional<AgentError> refused_flags(const Flow &flow);

// What of a match it has nothing for.
Absence absence_in(host::Switch &device, const Match &match);

// What a failing request of the library means for its flow.
AgentError failed(int32_t status);

}  // namespace agent

#endif
