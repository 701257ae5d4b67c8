// SPDX-License-Identifier: Apache-2.0
// Room for the frames that are received in one go. A front panel has one for all of its ports.
#ifndef HOST_PORTS_BATCH_H
#define HOST_PORTS_BATCH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "host/ports/checksum.h"
#include "host/ports/port_end.h"

namespace host::ports {

class Batch {
 public:
  static constexpr size_t kFrames = 32;
  static constexpr size_t kLargest = 1 << 16;  // a frame that is still to be cut into segments
  static constexpr size_t kHeadroom = 4;       // in front of each place, for a tag that goes back into its frame

  // The place for a frame: kLargest bytes, with the headroom in front of them. What nothing was written to takes no
  // memory.
  uint8_t *place(size_t index) { return &places_[index * (kHeadroom + kLargest) + kHeadroom]; }

  void clear() { count_ = 0; }

  // A frame in its place, or an empty one in the stead of one that could not be taken whole. Its checksum is completed
  // here, since it may go where nobody else would.
  void add(std::span<uint8_t> frame, Offload offload = {}) {
    complete_checksum(frame, offload);
    packets_[count_++] = {frame, offload};
  }
  bool is_full() const { return count_ == kFrames; }
  size_t size() const { return count_; }
  std::span<const Packet> packets() const { return {packets_.data(), count_}; }

 private:
  std::unique_ptr<uint8_t[]> places_{new uint8_t[kFrames * (kHeadroom + kLargest)]};
  std::array<Packet, kFrames> packets_;
  size_t count_ = 0;
};

}  // namespace host::ports

#endif
