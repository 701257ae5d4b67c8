// SPDX-License-Identifier: Apache-2.0
// What OpenFlow calls the reasons for which the agent refuses something.
#ifndef AGENT_OPENFLOW_ERRORS_H
#define AGENT_OPENFLOW_ERRORS_H

#include <cstdint>
#include <string>

#include "agent/error.h"
#include "agent/openflow/wire.h"

namespace agent::openflow {

ProtocolError protocol_error(const AgentError &error);

// "OFPET_HELLO_FAILED, OFPHFC_INCOMPATIBLE"; what has no name in OpenFlow 1.0 by its number: "error type 7, code 2".
std::string error_text(uint16_t type, uint16_t code);

}  // namespace agent::openflow

#endif
