// SPDX-License-Identifier: Apache-2.0
// The requests that the library understands.
#ifndef HOST_REQUEST_H
#define HOST_REQUEST_H

#include <cstdint>
#include <span>

namespace host {

// Throws std::invalid_argument, naming the lengths, for a request that is shorter than its own counts say. The code is
// one of enum oftab_message.
void check_request(uint32_t code, std::span<const uint8_t> request);

}  // namespace host

#endif
