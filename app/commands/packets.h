// SPDX-License-Identifier: Apache-2.0
// How commands tell the packets that they work on.
#ifndef APP_COMMANDS_PACKETS_H
#define APP_COMMANDS_PACKETS_H

#include <string>
#include <string_view>
#include <vector>

#include "app/commands/command.h"
#include "app/syntax/capture.h"

namespace app {

// Whether a word begins the description of a packet, which has fields; anything else names a capture.
bool is_description(std::string_view word);

// A TextError without any arguments.
void require_packet(const Arguments &arguments);

// The packets of a capture, the first `most`. A CommandError when they cannot be read.
std::vector<CapturedPacket> captured_packets(const std::string &path, size_t most = SIZE_MAX);

}  // namespace app

#endif
