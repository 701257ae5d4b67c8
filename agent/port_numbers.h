// SPDX-License-Identifier: Apache-2.0
// OpenFlow's port numbers: 1 to 48 are the front-panel ports, 1000 + N is port channel N.
//
// Within the agent a port is an ifindex, or one of OpenFlow's reserved numbers, which are smaller than any ifindex. A
// number that names no port is kept as it is.
#ifndef AGENT_PORT_NUMBERS_H
#define AGENT_PORT_NUMBERS_H

#include <cstdint>

#include "host/services/interfaces.h"

namespace agent {

constexpr uint16_t kPortChannelBase = 1000;

constexpr uint32_t port_numbered(uint16_t number) {
  using host::services::Interfaces;
  if (number >= 1 && number <= Interfaces::kPorts) {
    return Interfaces::port_ifindex(number - 1U);
  }
  if (number > kPortChannelBase && number <= kPortChannelBase + Interfaces::kLastPortChannel) {
    return Interfaces::pc_ifindex(number - uint32_t{kPortChannelBase});
  }
  return number;
}

inline uint16_t number_of(uint32_t port) {
  using host::services::Interfaces;
  if (const auto slot = Interfaces::port_slot(port)) {
    return static_cast<uint16_t>(*slot + 1);
  }
  if (const auto pc = Interfaces::pc_number(port)) {
    return static_cast<uint16_t>(*pc + kPortChannelBase);
  }
  return static_cast<uint16_t>(port);
}

}  // namespace agent

#endif
