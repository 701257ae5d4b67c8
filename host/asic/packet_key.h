// SPDX-License-Identifier: Apache-2.0
// A packet as the TCAM compares it.
//
// The key has three formats, of which a record's own `class` chooses the one that it is compared in. All share most
// fields and have the ethertype at a place of their own; the IP format alone has the others. A packet's key in IP
// format therefore holds everything that any record can ask for.
#ifndef HOST_ASIC_PACKET_KEY_H
#define HOST_ASIC_PACKET_KEY_H

#include <array>
#include <cstdint>

#include "host/asic/packet.h"
#include "platform/asic_sdk.h"

namespace host::asic {

using Key = std::array<uint8_t, TCAM_KEY_SIZE>;

enum class Format { Ip, Arp, Ethernet };

// The format that a key's `class` selects.
Format format_of(const Key &key);

// A key or mask in another format. What has no place there is lost: all but the shared fields and the ethertype.
Key reformat(const Key &key, Format from, Format to);

// The packet's key in IP format. `l2lif`: the hardware interface id of the ingress port; `bd`: the packet's bridge
// domain.
Key packet_key(const PacketHeader &packet, uint16_t l2lif, uint16_t bd);

}  // namespace host::asic

#endif
