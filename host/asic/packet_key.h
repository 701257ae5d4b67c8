// A packet as the TCAM compares it: one key for each of the three key formats.
#ifndef HOST_ASIC_PACKET_KEY_H
#define HOST_ASIC_PACKET_KEY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "host/asic/packet.h"

namespace host::asic {

constexpr size_t kKeyWords = 6;  // 44 bytes, padded to whole 64-bit words

using KeyWords = std::array<uint64_t, kKeyWords>;

// A 44-byte key or mask as words; the padding is 0.
KeyWords to_words(std::span<const uint8_t> part);

enum Format : uint8_t { kIpFormat, kArpFormat, kEthernetFormat, kFormatCount };

// The format that a key's `class` selects.
Format format_of(std::span<const uint8_t> key);

class PacketKeys {
 public:
  // `l2lif`: the hardware interface id of the ingress port; `bd`: the bridge domain of the packet's VLAN.
  PacketKeys(const PacketHeader &packet, uint16_t l2lif, uint16_t bd);

  const KeyWords &in(Format format) const { return keys_[format]; }

 private:
  std::array<KeyWords, kFormatCount> keys_;
};

}  // namespace host::asic

#endif
