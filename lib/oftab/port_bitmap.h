// SPDX-License-Identifier: Apache-2.0
// The port bits of a port group: SDK port p is bit 0x80 >> (p mod 8) of byte p div 8.
#ifndef OFTAB_PORT_BITMAP_H
#define OFTAB_PORT_BITMAP_H

#include <cstdint>
#include <cstring>

#include "platform/asic_sdk.h"

namespace oftab {

// Where a walk over the ports ends; port 255 itself is never visited.
constexpr unsigned PORT_WALK_END = 255;

constexpr uint8_t port_bit(uint8_t sdk_port) {
  return static_cast<uint8_t>(0x80U >> sdk_port % 8);
}

inline void set_port(port_group &group, uint8_t sdk_port) {
  group.port_bitmap[sdk_port / 8] |= port_bit(sdk_port);
}

inline void clear_port(port_group &group, uint8_t sdk_port) {
  group.port_bitmap[sdk_port / 8] &= static_cast<uint8_t>(~port_bit(sdk_port));
}

inline void clear_ports(port_group &group) {
  group.bitmap_size = sizeof group.port_bitmap;
  memset(group.port_bitmap, 0, sizeof group.port_bitmap);
}

// The lowest set port at or after `from`, or PORT_WALK_END.
inline unsigned next_port(const port_group &group, unsigned from) {
  while (from < PORT_WALK_END && (group.port_bitmap[from / 8] & port_bit(static_cast<uint8_t>(from))) == 0) {
    from = group.port_bitmap[from / 8] == 0 ? (from / 8 + 1) * 8 : from + 1;
  }
  return from < PORT_WALK_END ? from : PORT_WALK_END;
}

}  // namespace oftab

#endif
