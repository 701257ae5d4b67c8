// SPDX-License-Identifier: Apache-2.0
// The map from VLANs to bridge domains.
//
// Frames without a VLAN are in bridge domains of their own, which no VLAN can be given: one for untagged frames, one
// for tags that carry a priority alone (VLAN 0). So that flows can match them, the map knows them by numbers that no
// tag can have, kUntagged and kPriorityTagged: a flow whose `vlan` is kUntagged, mask 0x1fff, takes untagged frames
// only. Frames of a VLAN without a bridge domain are in kNoDomain.
#ifndef HOST_ASIC_VLANS_H
#define HOST_ASIC_VLANS_H

#include <cstdint>
#include <optional>
#include <vector>

namespace host::asic {

class Vlans {
 public:
  static constexpr uint16_t kUntagged = 0xffff;
  static constexpr uint16_t kPriorityTagged = 0x1000;

  static constexpr uint16_t kNoDomain = 0;
  static constexpr uint16_t kPriorityTaggedDomain = 99;
  static constexpr uint16_t kUntaggedDomain = 100;

  // Every VLAN from 1 to 4094 has the bridge domain VLAN + 100.
  Vlans();

  // Gives a VLAN (1 to 4095) a bridge domain, in place of the one it had. Throws std::invalid_argument for the domains
  // of frames without a VLAN.
  void add(uint16_t vlan, uint16_t bd);
  void remove(uint16_t vlan) { bd_.at(vlan).reset(); }

  // The bridge domain of a VLAN, of kUntagged or of kPriorityTagged.
  std::optional<uint16_t> bridge_domain(uint32_t vlan) const;

  // The bridge domain of a frame: by the VLAN id in its tag, none for an untagged frame.
  uint16_t domain_of(std::optional<uint16_t> tag) const;

 private:
  std::vector<std::optional<uint16_t>> bd_ = std::vector<std::optional<uint16_t>>(kPriorityTagged + 1);  // by VLAN
};

}  // namespace host::asic

#endif
