// SPDX-License-Identifier: Apache-2.0
// Frames by their fields, written out plainly, with checksums that are summed up anew each time.
#ifndef TESTS_SUPPORT_FRAMES_H
#define TESTS_SUPPORT_FRAMES_H

#include <cstdint>
#include <optional>
#include <vector>

#include "agent/flow.h"

namespace test {

using Octets = std::vector<uint8_t>;

struct FrameFields {
  uint64_t dl_dst = 0x020000000001;
  uint64_t dl_src = 0x020000000002;
  std::optional<uint16_t> tag{};  // priority and VLAN id
  uint16_t type = 0x0800;

  uint8_t tos = 0;
  uint16_t fragment = 0;  // flags and offset
  uint8_t protocol = 17;  // ARP: the opcode
  uint32_t nw_src = 0x0a000001;
  uint32_t nw_dst = 0x0a000002;
  size_t options = 0;   // octets of IP options
  uint16_t tp_src = 0;  // ICMP: type and code
  uint16_t tp_dst = 0;
  bool no_checksum = false;  // UDP without one
  Octets payload{};
  size_t padding = 0;  // octets behind the packet

  Octets octets() const;

  bool is_later_fragment() const { return (fragment & 0x1fff) != 0; }
  bool has_ports() const { return type == 0x0800 && !is_later_fragment() && (protocol == 6 || protocol == 17); }

  // What an action of OpenFlow makes of the fields.
  void apply(const agent::Action &action);
};

}  // namespace test

#endif
