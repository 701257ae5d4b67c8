// SPDX-License-Identifier: Apache-2.0
#include "host/ports/bridge.h"

namespace host::ports {

bool Bridge::keeps(const asic::Mac &address) {
  return address[0] == 0x01 && address[1] == 0x80 && address[2] == 0xc2 && address[3] == 0 && address[4] == 0 &&
         address[5] < 0x10;
}

void Bridge::learn(uint16_t bd, const asic::Mac &station, uint32_t port, uint64_t now) {
  if ((station[0] & 1U) != 0) {
    return;
  }
  const std::pair key(bd, station);
  if (stations_.size() >= kStations && now != expired_) {
    expire(now);
  }
  if (stations_.size() < kStations || stations_.contains(key)) {
    stations_[key] = {port, now};
  }
}

std::optional<uint32_t> Bridge::find(uint16_t bd, const asic::Mac &station, uint64_t now) const {
  const auto found = stations_.find({bd, station});
  const bool known = found != stations_.end() && now - found->second.heard < kAge;
  return known ? std::optional(found->second.port) : std::nullopt;
}

void Bridge::forget(uint32_t port) {
  std::erase_if(stations_, [port](const auto &station) { return station.second.port == port; });
}

void Bridge::expire(uint64_t now) {
  expired_ = now;
  std::erase_if(stations_, [now](const auto &station) { return now - station.second.heard >= kAge; });
}

}  // namespace host::ports
