// SPDX-License-Identifier: Apache-2.0
// What OpenFlow calls the reasons for which the agent refuses something.
#ifndef AGENT_OPENFLOW_ERRORS_H
#define AGENT_OPENFLOW_ERRORS_H

#include "agent/error.h"
#include "agent/openflow/wire.h"

namespace agent::openflow {

ProtocolError protocol_error(const AgentError &error);

}  // namespace agent::openflow

#endif
