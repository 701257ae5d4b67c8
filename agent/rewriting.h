// SPDX-License-Identifier: Apache-2.0
// Changes of packets in software: the actions of OpenFlow that set and strip fields.
#ifndef AGENT_REWRITING_H
#define AGENT_REWRITING_H

#include <cstdint>
#include <vector>

#include "agent/flow.h"

namespace agent {

// Whether a frame's TCP or UDP checksum covers it already, or the pseudo-header alone: the sender left the rest to the
// hardware that puts the frame on the wire.
enum class TransportChecksum : uint8_t { Complete, Due };

// Does one action that changes packets. A frame without the field stays as it is: a tag is added where one is set,
// addresses and type of service are those of IPv4, ports those of TCP and UDP. IPv4 and transport checksums stay as
// right or wrong as they were.
void rewrite(std::vector<uint8_t> &frame, const Action &action,
             TransportChecksum checksum = TransportChecksum::Complete);

}  // namespace agent

#endif
