// SPDX-License-Identifier: Apache-2.0
// Where ordinary layer-2 forwarding takes a frame: the port behind which its receiver was last heard, in the same
// bridge domain, within the last 300 seconds; otherwise everywhere. There is no loop protection.
#ifndef HOST_PORTS_BRIDGE_H
#define HOST_PORTS_BRIDGE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "host/asic/packet.h"

namespace host::ports {

class Bridge {
 public:
  static constexpr uint64_t kAge = 300;  // seconds
  static constexpr size_t kStations = 16384;

  // Whether frames to an address are for bridges themselves and not forwarded: 01:80:c2:00:00:00 to 0f.
  static bool keeps(const asic::Mac &address);

  // A station was heard behind a port at a time in seconds. Group addresses are no stations; no more than kStations are
  // remembered.
  void learn(uint16_t bd, const asic::Mac &station, uint32_t port, uint64_t now);

  // The port behind which it is; none when nobody knows.
  std::optional<uint32_t> find(uint16_t bd, const asic::Mac &station, uint64_t now) const;

  // Forgets the stations behind a port.
  void forget(uint32_t port);

 private:
  struct Place {
    uint32_t port;
    uint64_t heard;
  };

  void expire(uint64_t now);

  std::map<std::pair<uint16_t, asic::Mac>, Place> stations_;
  uint64_t expired_ = 0;  // when the old stations were taken out last
};

}  // namespace host::ports

#endif
