// SPDX-License-Identifier: Apache-2.0
// What the simulated ASIC sees of a packet, and what it did with it.
#ifndef HOST_ASIC_PACKET_H
#define HOST_ASIC_PACKET_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace host::asic {

using Mac = std::array<uint8_t, 6>;

// The fields that key formats can carry. Fields that the packet does not have are 0.
struct PacketHeader {
  Mac mac_sa{};
  Mac mac_da{};
  uint16_t ethertype = 0;        // of the payload behind one VLAN tag, or of SNAP; 0x05ff for 802.3 without one
  std::optional<uint16_t> vlan;  // VLAN id of the outer tag; none when untagged
  uint32_t ip_sa = 0;
  uint32_t ip_da = 0;
  uint8_t tos = 0;
  uint8_t proto = 0;
  uint16_t src_port = 0;  // ICMP: type; later fragments: 0
  uint16_t dst_port = 0;  // ICMP: code
  size_t length = 0;      // bytes on the wire
  bool cut = false;       // the capture ends before a field that can be compared
  size_t payload_at = 0;  // where in the frame what the ethertype names begins

  // What flows can name and no key format carries.
  uint8_t vlan_pcp = 0;  // priority in the outer tag
  uint8_t arp_op = 0;    // low byte of the opcode
  uint32_t arp_spa = 0;  // sender's and target's address
  uint32_t arp_tpa = 0;
};

// Reads an Ethernet frame, however short; fields beyond its end stay 0. `wire_length` counts (a capture may be cut).
PacketHeader parse_frame(std::span<const uint8_t> frame, size_t wire_length);

// A frame of the packet's length that reads as the packet. What else it has is zero, but for an IPv4 header in order.
std::vector<uint8_t> compose_frame(const PacketHeader &packet);

enum class Verdict { NoMatch, Forward, Drop, Replicate };

struct Fate {
  Verdict verdict = Verdict::NoMatch;
  std::optional<uint16_t> tcam_index;  // the entry that matched
  uint32_t mcst_idx = 0;               // Replicate: the multicast index, and whether it has a tree
  bool tree_missing = false;
  std::vector<uint8_t> sdk_ports;   // Replicate: in rising order, without the port that the packet came in by
  bool pruned = false;              // Replicate: the tree has that port, too
  std::optional<uint8_t> cpu_code;  // goes to the CPU with this code

  bool is_trapped() const;  // it goes there instead of anywhere else
};

}  // namespace host::asic

#endif
