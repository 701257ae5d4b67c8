// SPDX-License-Identifier: Apache-2.0
// Per-port static matches, of which there is one: LLDP.
#ifndef HOST_ASIC_STATIC_MATCHES_H
#define HOST_ASIC_STATIC_MATCHES_H

#include <cstdint>
#include <map>
#include <optional>

#include "host/asic/sdk_error.h"

namespace host::asic {

class StaticMatches {
 public:
  static constexpr uint32_t kLldp = 7;

  // SDK ports 1 to 48 exist, their LLDP match is on.
  StaticMatches();

  SdkError set(uint32_t sdk_port, uint32_t static_match, uint32_t enable);

  void add_port(uint8_t sdk_port) { lldp_[sdk_port] = 1; }
  // The value last set for the port; none for a port that does not exist.
  std::optional<uint32_t> lldp(uint8_t sdk_port) const;

 private:
  std::map<uint32_t, uint32_t> lldp_;
};

}  // namespace host::asic

#endif
