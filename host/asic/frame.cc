// SPDX-License-Identifier: Apache-2.0
// Reading an Ethernet frame: addresses, one VLAN tag, and of IPv4 and ARP what flows can name.
#include <algorithm>

#include "host/asic/packet.h"
#include "host/asic/protocols.h"

namespace host::asic {
namespace {

constexpr uint16_t kSmallestEthertype = 0x0600;  // below: an 802.3 length field
constexpr uint16_t kSnapPoints = 0xaaaa;         // the service access points of SNAP, and behind them
constexpr uint32_t kEthernetSnap =
    0x03000000;  // unnumbered information, and the organisation whose types are ethertypes

// Reads big-endian numbers; one that reaches beyond the end is 0, and noted in `short_of`.
class Reader {
 public:
  Reader(std::span<const uint8_t> bytes, bool &short_of) : bytes_(bytes), short_of_(short_of) {}

  uint32_t number(size_t offset, size_t width) const {
    uint32_t value = 0;
    for (size_t i = 0; i < width && has(offset, width); ++i) {
      value = value << 8 | bytes_[offset + i];
    }
    return value;
  }
  uint8_t u8(size_t offset) const { return static_cast<uint8_t>(number(offset, 1)); }
  uint16_t u16(size_t offset) const { return static_cast<uint16_t>(number(offset, 2)); }
  uint32_t u32(size_t offset) const { return number(offset, 4); }

  Mac mac(size_t offset) const {
    Mac octets{};
    if (has(offset, octets.size())) {
      std::ranges::copy(bytes_.subspan(offset, octets.size()), octets.begin());
    }
    return octets;
  }

  Reader from(size_t offset) const { return {bytes_.subspan(std::min(offset, bytes_.size())), short_of_}; }

 private:
  bool has(size_t offset, size_t width) const {
    const bool whole = offset + width <= bytes_.size();
    short_of_ = short_of_ || !whole;
    return whole;
  }

  std::span<const uint8_t> bytes_;
  bool &short_of_;
};

void read_ports(PacketHeader &packet, const Reader &segment) {
  switch (packet.proto) {
    case kTcp:
    case kUdp:
    case kSctp:
      packet.src_port = segment.u16(0);
      packet.dst_port = segment.u16(2);
      break;
    case kIcmp:
      packet.src_port = segment.u8(0);
      packet.dst_port = segment.u8(1);
      break;
    default:
      break;
  }
}

void read_ipv4(PacketHeader &packet, const Reader &header) {
  constexpr size_t kShortestHeader = 20;
  const size_t header_length = (header.u8(0) & 0x0fU) * size_t{4};
  const bool first_fragment = (header.u16(6) & 0x1fffU) == 0;
  packet.tos = header.u8(1);
  packet.proto = header.u8(9);
  packet.ip_sa = header.u32(12);
  packet.ip_da = header.u32(16);
  if (first_fragment && header_length >= kShortestHeader) {
    read_ports(packet, header.from(header_length));
  }
}

void read_arp(PacketHeader &packet, const Reader &body) {
  packet.arp_op = body.u8(7);
  packet.arp_spa = body.u32(14);
  packet.arp_tpa = body.u32(24);
}

struct Payload {
  uint16_t ethertype;
  size_t at;
};

// Reads the ethertype, which SNAP has behind a length field. Other frames with a length field have none.
Payload read_type(const Reader &whole, size_t at) {
  const uint16_t type = whole.u16(at);
  if (type >= kSmallestEthertype) {
    return {type, at + 2};
  }
  const Reader header = whole.from(at + 2);
  const bool snap = header.u16(0) == kSnapPoints && header.u32(2) == kEthernetSnap;
  return snap ? Payload{header.u16(6), at + 10} : Payload{kLengthField, at + 2};
}

bool is_vlan_tag(uint16_t ethertype) {
  return ethertype == kVlanTag || ethertype == kServiceTag;
}

}  // namespace

PacketHeader parse_frame(std::span<const uint8_t> frame, size_t wire_length) {
  bool short_of = false;
  const Reader whole(frame, short_of);
  PacketHeader packet;
  packet.length = wire_length;
  packet.mac_da = whole.mac(0);
  packet.mac_sa = whole.mac(6);
  size_t type_at = 12;
  if (is_vlan_tag(whole.u16(type_at))) {
    packet.vlan = static_cast<uint16_t>(whole.u16(type_at + 2) & 0x0fffU);
    packet.vlan_pcp = static_cast<uint8_t>(whole.u8(type_at + 2) >> 5);
    type_at += 4;
  }
  const bool has_type = type_at + 2 <= frame.size();
  const auto [ethertype, payload_at] = has_type ? read_type(whole, type_at) : Payload{whole.u16(type_at), type_at + 2};
  packet.ethertype = ethertype;
  packet.payload_at = payload_at;
  if (packet.ethertype == kIpv4) {
    read_ipv4(packet, whole.from(payload_at));
  }
  packet.cut = short_of && frame.size() < wire_length;  // nothing else of ARP is compared
  if (packet.ethertype == kArp) {
    read_arp(packet, whole.from(payload_at));
  }
  return packet;
}

}  // namespace host::asic
