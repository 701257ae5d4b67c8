// SPDX-License-Identifier: Apache-2.0
#include "agent/packet_buffers.h"

#include <utility>

namespace agent {

uint32_t PacketBuffers::keep(uint32_t in_port, Frame frame) {
  const uint32_t id = next_id_;
  next_id_ = (next_id_ + 1) % kIds;
  buffers_[id % kCount] = {id, true, {in_port, {frame.begin(), frame.end()}}};
  return id;
}

std::variant<BufferedPacket, PacketBuffers::Miss> PacketBuffers::take(uint32_t id) {
  Buffer &buffer = buffers_[id % kCount];
  if (buffer.id != id) {
    return Miss::Unknown;
  }
  if (!std::exchange(buffer.full, false)) {
    return Miss::Empty;
  }
  return std::move(buffer.packet);
}

}  // namespace agent
