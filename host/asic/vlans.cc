#include "host/asic/vlans.h"

namespace host::asic {

Vlans::Vlans() {
  for (uint16_t vlan = 1; vlan < 4095; ++vlan) {
    add(vlan, static_cast<uint16_t>(vlan + 100));
  }
}

std::optional<uint16_t> Vlans::bridge_domain(uint32_t vlan) const {
  const auto found = bd_.find(vlan);
  return found == bd_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace host::asic
