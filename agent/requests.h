// SPDX-License-Identifier: Apache-2.0
// The messages that the library receives, byte by byte.
#ifndef AGENT_REQUESTS_H
#define AGENT_REQUESTS_H

#include <cstdint>
#include <span>
#include <vector>

#include "agent/flow.h"
#include "agent/hardware.h"

namespace agent {

using Bytes = std::vector<uint8_t>;

// Adds or modifies (`entry_op`) what stands in the TCAM for flows. Every flow has its sequence number, which is its
// context too.
Bytes flow_request(uint32_t entry_op, std::span<const Flow *const> flows);
Bytes flow_request(uint32_t entry_op, const Flow &flow);

// Add the catch-all entry, one after the other, which changes its action. A copy to the controllers is asked for on its
// own, and stays then: a catch-all that has it must be installed anew to lose it.
std::vector<Bytes> catch_all_requests(const HardwareActions &actions);

Bytes delete_request(std::span<const uint32_t> seq_nos);
Bytes purge_request();

Bytes interface_request(uint32_t intf_op, std::span<const uint32_t> ifindexes);

// `seq_nos` belong to the operation for listed flows.
Bytes statistics_request(uint32_t op, std::span<const uint32_t> seq_nos = {});

}  // namespace agent

#endif
