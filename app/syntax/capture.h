// SPDX-License-Identifier: Apache-2.0
// Reading pcap files.
#ifndef APP_SYNTAX_CAPTURE_H
#define APP_SYNTAX_CAPTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "host/asic/packet.h"

namespace app {

struct CapturedPacket {
  host::asic::PacketHeader header;
  std::vector<uint8_t> frame;  // as far as it was captured
};

// The packets of an Ethernet capture, in order, the first `most`. A CommandError that names the file, and the packet if
// one is to blame, for a file that cannot be used so far; Interrupted where that came before.
std::vector<CapturedPacket> read_capture(const std::string &path, size_t most = SIZE_MAX);

}  // namespace app

#endif
