// SPDX-License-Identifier: Apache-2.0
// Composing an Ethernet frame of what the ASIC sees of it: the other way round than reading one.
#include <algorithm>

#include "host/asic/packet.h"
#include "host/asic/protocols.h"

namespace host::asic {
namespace {

constexpr size_t kIpHeader = 20;

// Appends big-endian numbers.
class Writer {
 public:
  explicit Writer(std::vector<uint8_t> &bytes) : bytes_(bytes) {}

  Writer &put(uint64_t number, size_t width) {
    while (width-- > 0) {
      bytes_.push_back(static_cast<uint8_t>(number >> 8 * width));
    }
    return *this;
  }
  Writer &put(const Mac &mac) {
    bytes_.insert(bytes_.end(), mac.begin(), mac.end());
    return *this;
  }

 private:
  std::vector<uint8_t> &bytes_;
};

void put_segment(Writer to, const PacketHeader &packet) {
  constexpr uint64_t kNoOptions = 0x50;
  switch (packet.proto) {
    case kTcp:
      to.put(packet.src_port, 2).put(packet.dst_port, 2).put(0, 8).put(kNoOptions, 1).put(0, 7);
      break;
    case kUdp:
    case kSctp:
      to.put(packet.src_port, 2).put(packet.dst_port, 2).put(0, 4);
      break;
    case kIcmp:
      to.put(packet.src_port, 1).put(packet.dst_port, 1).put(0, 6);
      break;
    default:
      break;
  }
}

// `length`: of header and payload.
void put_ipv4(Writer to, const PacketHeader &packet, size_t length) {
  constexpr uint64_t kVersionAndWords = 0x45;
  constexpr uint64_t kTimeToLive = 64;
  to.put(kVersionAndWords, 1).put(packet.tos, 1).put(length, 2).put(0, 4);
  to.put(kTimeToLive, 1).put(packet.proto, 1).put(0, 2).put(packet.ip_sa, 4).put(packet.ip_da, 4);
  put_segment(to, packet);
}

// The checksum that makes the sum of the header's words all ones.
void fill_in_checksum(std::span<uint8_t> header) {
  uint32_t sum = 0;
  for (size_t i = 0; i < header.size(); i += 2) {
    sum += static_cast<uint32_t>(header[i]) << 8 | header[i + 1];
  }
  sum = (sum & 0xffff) + (sum >> 16);
  sum = ~(sum + (sum >> 16));
  header[10] = static_cast<uint8_t>(sum >> 8);
  header[11] = static_cast<uint8_t>(sum);
}

void put_arp(Writer to, const PacketHeader &packet) {
  constexpr uint64_t kEthernetAndIpv4 = 0x0001'0800'0604;
  to.put(kEthernetAndIpv4, 6).put(packet.arp_op, 2).put(packet.mac_sa).put(packet.arp_spa, 4);
  to.put(Mac{}).put(packet.arp_tpa, 4);
}

}  // namespace

std::vector<uint8_t> compose_frame(const PacketHeader &packet) {
  std::vector<uint8_t> frame;
  Writer to(frame);
  to.put(packet.mac_da).put(packet.mac_sa);
  if (packet.vlan) {
    to.put(kVlanTag, 2).put(uint64_t{packet.vlan_pcp} << 13 | *packet.vlan, 2);
  }
  const size_t payload_at = frame.size() + 2;
  const size_t payload = packet.length - std::min(packet.length, payload_at);
  to.put(packet.ethertype == kLengthField ? std::min<size_t>(payload, kLengthField) : packet.ethertype, 2);
  if (packet.ethertype == kIpv4) {
    put_ipv4(to, packet, payload);
    fill_in_checksum(std::span(frame).subspan(payload_at, kIpHeader));
  } else if (packet.ethertype == kArp) {
    put_arp(to, packet);
  }
  frame.resize(packet.length);
  return frame;
}

}  // namespace host::asic
