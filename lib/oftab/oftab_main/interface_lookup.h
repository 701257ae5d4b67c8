// What the library asks the interface manager about an ifindex.
#ifndef OFTAB_INTERFACE_LOOKUP_H
#define OFTAB_INTERFACE_LOOKUP_H

#include <cstdint>

#include "platform/interface_manager.h"

namespace oftab {

// The slot ("location") of a front-panel port's ifindex; only 0 to 47 exist.
constexpr uint8_t location_of(uint32_t ifindex) {
  return static_cast<uint8_t>(ifindex >> 12);
}

// The interface of an ifindex, or null (with a warning) when the interface manager does not know it.
void *find_interface(uint32_t ifindex);

// The SDK port of an ifindex: its ASIC port plus 1, modulo 256. False (with a warning) when it has no port.
bool find_sdk_port(uint32_t ifindex, uint8_t *sdk_port);

// Calls `visit(ifindex, sdk_port)` for each member of a port channel that has a port, in the interface manager's order.
template <typename Visit>
void for_each_member_port(void *port_channel_interface, Visit visit) {
  void *port_channel = HDM_HDIM_IF_PC(port_channel_interface);
  for (void *member = HDM_HDIM_PC_GET_NEXT_PIF(port_channel, nullptr); member != nullptr;
       member = HDM_HDIM_PC_GET_NEXT_PIF(port_channel, member)) {
    const uint32_t ifindex = HDM_HDIM_PIF_INDEX(member);
    uint8_t sdk_port = 0;
    if (find_sdk_port(ifindex, &sdk_port)) {
      visit(ifindex, sdk_port);
    }
  }
}

}  // namespace oftab

#endif
