// SPDX-License-Identifier: Apache-2.0
#include "host/asic/vlans.h"

#include <stdexcept>
#include <string>

namespace host::asic {

Vlans::Vlans() {
  bd_[kPriorityTagged] = kPriorityTaggedDomain;
  for (uint16_t vlan = 1; vlan < 4095; ++vlan) {
    add(vlan, static_cast<uint16_t>(vlan + 100));
  }
}

void Vlans::add(uint16_t vlan, uint16_t bd) {
  if (bd == kUntaggedDomain || bd == kPriorityTaggedDomain) {
    throw std::invalid_argument("bridge domain " + std::to_string(bd) + " is that of frames without a VLAN");
  }
  bd_.at(vlan) = bd;
}

std::optional<uint16_t> Vlans::bridge_domain(uint32_t vlan) const {
  if (vlan == kUntagged) {
    return kUntaggedDomain;
  }
  return vlan < bd_.size() ? bd_[vlan] : std::nullopt;
}

uint16_t Vlans::domain_of(std::optional<uint16_t> tag) const {
  if (!tag) {
    return kUntaggedDomain;
  }
  return *tag == 0 ? kPriorityTaggedDomain : bridge_domain(*tag).value_or(kNoDomain);
}

}  // namespace host::asic
