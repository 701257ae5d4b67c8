// SPDX-License-Identifier: Apache-2.0
#include "oftab/oftab_main/interface_lookup.h"

#include "oftab/trace.h"

namespace oftab {

void *find_port_channel(uint32_t ifindex) {
  void *lif = HDM_HDIM_FIND_LIF(ifindex);
  void *interface = lif == nullptr ? nullptr : HDM_HDIM_LIF_IF(lif);
  return interface != nullptr && HDM_HDIM_IF_IS_PC(interface) != 0 ? interface : nullptr;
}

bool find_sdk_port(const char *function, uint32_t ifindex, uint8_t *sdk_port) {
  uint8_t port = 0;
  if (if_index_get_port(ifindex, &port) != 0) {
    TRACE_WARNING_IN(function, "%s: no port for ifindex 0x%x \n", function, ifindex);
    return false;
  }
  *sdk_port = static_cast<uint8_t>(port + 1);
  return true;
}

}  // namespace oftab
