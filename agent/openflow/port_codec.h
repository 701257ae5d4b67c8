// SPDX-License-Identifier: Apache-2.0
// Ports as OpenFlow describes them.
#ifndef AGENT_OPENFLOW_PORT_CODEC_H
#define AGENT_OPENFLOW_PORT_CODEC_H

#include "agent/openflow/wire.h"
#include "agent/ports.h"

namespace agent::openflow {

wire::Port encode_port(const Port &port);
wire::PortStats encode_port_counts(const Port &port);

}  // namespace agent::openflow

#endif
