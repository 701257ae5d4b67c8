// SPDX-License-Identifier: Apache-2.0
// Numbers of the protocols that frames carry.
#ifndef HOST_ASIC_PROTOCOLS_H
#define HOST_ASIC_PROTOCOLS_H

#include <cstdint>

namespace host::asic {

enum Ethertype : uint16_t {
  kLengthField = 0x05ff,  // stands for an 802.3 length, which an ethertype is above
  kIpv4 = 0x0800,
  kArp = 0x0806,
  kRarp = 0x8035,
  kVlanTag = 0x8100,
  kIpv6 = 0x86DD,
  kMpls = 0x8847,
  kMplsMulticast = 0x8848,
  kServiceTag = 0x88A8
};

enum Protocol : uint8_t { kIcmp = 1, kTcp = 6, kUdp = 17, kSctp = 132 };

}  // namespace host::asic

#endif
