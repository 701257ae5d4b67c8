// SPDX-License-Identifier: Apache-2.0
#include "host/asic/counters.h"

#include <algorithm>
#include <utility>

namespace host::asic {

SdkError Counters::create(uint32_t &id) {
  if (count_ >= std::min<size_t>(capacity_, kIds - 1)) {
    return SdkError::CountersExhausted;
  }
  lowest_free_ = exists_.next_free(lowest_free_).value();
  exists_.set(lowest_free_);
  ++count_;
  id = lowest_free_;
  return SdkError::None;
}

SdkError Counters::read(uint32_t id, route_stats &counts) {
  if (!exists(id)) {
    return SdkError::UnknownCounter;
  }
  counts = std::exchange(counts_[id], route_stats{});
  return SdkError::None;
}

SdkError Counters::destroy(uint32_t id) {
  if (!exists(id)) {
    return SdkError::UnknownCounter;
  }
  exists_.clear(id);
  --count_;
  destroy_failed_.erase(id);
  lowest_free_ = std::min(lowest_free_, id);
  return SdkError::None;
}

void Counters::count(uint32_t id, size_t bytes) {
  if (exists(id)) {
    counts_[id].bytes += bytes;
    ++counts_[id].packets;
  }
}

}  // namespace host::asic
