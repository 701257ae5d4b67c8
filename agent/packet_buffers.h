// SPDX-License-Identifier: Apache-2.0
// Packets kept for controllers, which answer with the number of the buffer instead of the packet.
#ifndef AGENT_PACKET_BUFFERS_H
#define AGENT_PACKET_BUFFERS_H

#include <array>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

namespace agent {

using Frame = std::span<const uint8_t>;

// A packet, and the ifindex that it came in by.
struct BufferedPacket {
  uint32_t in_port = 0;
  std::vector<uint8_t> frame;
};

class PacketBuffers {
 public:
  static constexpr uint32_t kCount = 256;

  enum class Miss : uint8_t { Unknown, Empty };  // never given out or given out again since; used already

  // The packet's number. The oldest packet makes room when all buffers are taken.
  uint32_t keep(uint32_t in_port, Frame frame);

  // Each packet is given back once.
  std::variant<BufferedPacket, Miss> take(uint32_t id);

 private:
  struct Buffer {
    uint32_t id = 0;
    bool full = false;
    BufferedPacket packet;
  };

  static constexpr uint32_t kIds = 1U << 31;  // no number is all ones, which stands for no buffer

  std::array<Buffer, kCount> buffers_;
  uint32_t next_id_ = kCount;  // so that fresh buffers, of number 0, hold no packet that anybody could name
};

}  // namespace agent

#endif
