// SPDX-License-Identifier: Apache-2.0
// What a front-panel port leads to: a network interface, a TAP, or a cable within the process.
#ifndef HOST_PORTS_PORT_END_H
#define HOST_PORTS_PORT_END_H

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace host::ports {

using Frame = std::span<const uint8_t>;

// What a frame's sender left to the hardware: a checksum, or the cut into segments. All 0 for a frame that is complete.
// The kernel's virtio_net_hdr, in the machine's byte order.
struct Offload {
  static constexpr uint8_t kChecksum = 1;  // in `flags`: of what is at csum_start and behind it

  uint8_t flags;
  uint8_t gso_type;
  uint16_t hdr_len;
  uint16_t gso_size;
  uint16_t csum_start;
  uint16_t csum_offset;
};
static_assert(sizeof(Offload) == 10);

struct Packet {
  Frame frame;
  Offload offload{};
};

class Batch;

struct LinkState {
  enum class Medium : uint8_t { Unknown, Copper, Fibre };

  bool up = false;
  std::array<uint8_t, 6> mac{};  // all 0 when the end has none
  uint32_t megabits = 0;         // a second; 0 when unknown
  bool half_duplex = false;
  Medium medium = Medium::Unknown;

  bool operator==(const LinkState &) const = default;
};

class PortEnd {
 public:
  PortEnd() = default;
  virtual ~PortEnd() = default;
  PortEnd(const PortEnd &) = delete;
  PortEnd &operator=(const PortEnd &) = delete;

  virtual std::string name() const = 0;

  // Becomes readable when there is a frame to receive. It may be another one after `renew` returned true; -1 while
  // what the end stands for is gone.
  virtual int descriptor() const = 0;

  // The name, and whether what it stands for is gone.
  std::string described() const { return descriptor() < 0 ? name() + " (missing)" : name(); }

  // Takes waiting frames into an empty batch, until that is full. Does not wait.
  virtual void receive(Batch &batch) = 0;

  // Sends frames in order, without waiting: how many were taken before one was not.
  virtual size_t send(std::span<const Packet> packets) = 0;

  // How many frames came faster than they were taken, since this was asked last.
  virtual uint64_t overruns() { return 0; }

  virtual LinkState state() const = 0;

  // Follows an interface that vanished or came back. True when the descriptor is another one.
  virtual bool renew() { return false; }
};

}  // namespace host::ports

#endif
