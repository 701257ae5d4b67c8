// SPDX-License-Identifier: Apache-2.0
// What the library asks the interface manager about an ifindex. Warnings are traced in the name of `function`, the
// operation that asks.
#ifndef OFTAB_INTERFACE_LOOKUP_H
#define OFTAB_INTERFACE_LOOKUP_H

#include <cstdint>

#include "platform/interface_manager.h"

namespace oftab {

// The slot ("location") of a front-panel port's ifindex; only 0 to 47 exist.
constexpr uint8_t location_of(uint32_t ifindex) {
  return static_cast<uint8_t>(ifindex >> 12);
}

// The interface of a port channel; null when the ifindex is none, which includes one without LIF or interface.
void *find_port_channel(uint32_t ifindex);

// The SDK port of an ifindex: its ASIC port plus 1, modulo 256. False (with a warning) when it has no port.
bool find_sdk_port(const char *function, uint32_t ifindex, uint8_t *sdk_port);

// Calls `visit(ifindex, sdk_port)` for each member of a port channel that has a port, in the interface manager's order.
// `interface` is what find_port_channel gave.
template <typename Visit>
void for_each_member_port(const char *function, void *interface, Visit visit) {
  void *port_channel = HDM_HDIM_IF_PC(interface);
  if (port_channel == nullptr) {
    return;
  }
  for (void *member = HDM_HDIM_PC_GET_NEXT_PIF(port_channel, nullptr); member != nullptr;
       member = HDM_HDIM_PC_GET_NEXT_PIF(port_channel, member)) {
    const uint32_t ifindex = HDM_HDIM_PIF_INDEX(member);
    uint8_t sdk_port = 0;
    if (find_sdk_port(function, ifindex, &sdk_port)) {
      visit(ifindex, sdk_port);
    }
  }
}

}  // namespace oftab

#endif
