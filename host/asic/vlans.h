// The map from VLANs to bridge domains.
#ifndef HOST_ASIC_VLANS_H
#define HOST_ASIC_VLANS_H

#include <cstdint>
#include <map>
#include <optional>

namespace host::asic {

class Vlans {
 public:
  // Every VLAN from 1 to 4094 has the bridge domain VLAN + 100.
  Vlans();

  // Gives a VLAN a bridge domain, in place of the one it had.
  void add(uint16_t vlan, uint16_t bd) { bd_[vlan] = bd; }
  void remove(uint16_t vlan) { bd_.erase(vlan); }

  std::optional<uint16_t> bridge_domain(uint32_t vlan) const;

 private:
  std::map<uint32_t, uint16_t> bd_;
};

}  // namespace host::asic

#endif
