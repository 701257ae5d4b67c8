// SPDX-License-Identifier: Apache-2.0
#include "host/ports/checksum.h"

#include <cstring>

namespace host::ports {
namespace {

// The ones' complement sum of 16-bit words, in the order of the bytes as they lie.
uint16_t sum_of(std::span<const uint8_t> bytes) {
  uint64_t sum = 0;
  for (; bytes.size() >= sizeof(uint32_t); bytes = bytes.subspan(sizeof(uint32_t))) {
    uint32_t word = 0;
    std::memcpy(&word, bytes.data(), sizeof word);
    sum += word;
  }
  uint32_t last = 0;
  std::memcpy(&last, bytes.data(), bytes.size());
  sum += last;
  while (sum > 0xFFFF) {
    sum = (sum & 0xFFFF) + (sum >> 16);
  }
  return static_cast<uint16_t>(sum);
}

}  // namespace

// The field holds the sum of the addresses. A checksum of 0 would say that there is none.
void complete_checksum(std::span<uint8_t> frame, Offload &offload) {
  const size_t field = size_t{offload.csum_start} + offload.csum_offset;
  const bool is_left = (offload.flags & Offload::kChecksum) != 0 && offload.gso_type == 0;
  if (!is_left || field + sizeof(uint16_t) > frame.size()) {
    return;
  }
  const auto inverse = static_cast<uint16_t>(~sum_of(frame.subspan(offload.csum_start)));
  const uint16_t checksum = inverse == 0 ? 0xFFFF : inverse;
  std::memcpy(&frame[field], &checksum, sizeof checksum);
  offload = {};
}

}  // namespace host::ports
