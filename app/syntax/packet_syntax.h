// SPDX-License-Identifier: Apache-2.0
// One packet described in the syntax of flows: "in_port=1,dl_vlan=110,tcp,nw_dst=10.0.0.1,tp_dst=80,len=1500".
#ifndef APP_SYNTAX_PACKET_SYNTAX_H
#define APP_SYNTAX_PACKET_SYNTAX_H

#include <string>
#include <string_view>

#include "agent/fields.h"
#include "agent/text.h"
#include "host/asic/packet.h"
#include "host/services/interfaces.h"

namespace app {

// Reads the packet described from byte `start` of `line` on; what it leaves open is 0, its port Eth1/1, its length 64
// bytes. Throws a TextError.
agent::Packet parse_packet(std::string_view line, size_t start, const host::services::Interfaces &interfaces);

// "10.0.0.1:1025 > 10.0.0.2:80 tcp", with MAC addresses for what is not IPv4, then VLAN and length.
std::string to_text(const host::asic::PacketHeader &packet);

}  // namespace app

#endif
