// SPDX-License-Identifier: Apache-2.0
// The checksum that a frame's sender left to its hardware.
#ifndef HOST_PORTS_CHECKSUM_H
#define HOST_PORTS_CHECKSUM_H

#include <cstdint>
#include <span>

#include "host/ports/port_end.h"

namespace host::ports {

// Writes it into the frame, unless that is still to be cut into segments, each of which will have its own.
void complete_checksum(std::span<uint8_t> frame, Offload &offload);

}  // namespace host::ports

#endif
