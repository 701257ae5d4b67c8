// SPDX-License-Identifier: Apache-2.0
#include "host/asic/static_matches.h"

namespace host::asic {

StaticMatches::StaticMatches() {
  for (uint8_t sdk_port = 1; sdk_port <= 48; ++sdk_port) {
    add_port(sdk_port);
  }
}

SdkError StaticMatches::set(uint32_t sdk_port, uint32_t static_match, uint32_t enable) {
  if (static_match != kLldp) {
    return SdkError::UnknownStaticMatch;
  }
  const auto port = lldp_.find(sdk_port);
  if (port == lldp_.end()) {
    return SdkError::UnknownPort;
  }
  port->second = enable;
  return SdkError::None;
}

std::optional<uint32_t> StaticMatches::lldp(uint8_t sdk_port) const {
  const auto port = lldp_.find(sdk_port);
  return port == lldp_.end() ? std::nullopt : std::optional(port->second);
}

}  // namespace host::asic
