// SPDX-License-Identifier: Apache-2.0
// Packets for the flows of tests.
#ifndef TESTS_SUPPORT_PACKETS_H
#define TESTS_SUPPORT_PACKETS_H

#include "host/asic/packet.h"

namespace test {

// A packet that, of all flows that numbered_flow makes, matches only the one with this sequence number.
inline host::asic::PacketHeader packet_of(uint32_t seq_no, size_t length = 64) {
  host::asic::PacketHeader packet;
  packet.ethertype = 0x800;
  packet.src_port = static_cast<uint16_t>(seq_no);
  packet.length = length;
  return packet;
}

}  // namespace test

#endif
