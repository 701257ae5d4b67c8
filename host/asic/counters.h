// SPDX-License-Identifier: Apache-2.0
// Hardware counters: ids of 13 bits, of which 0 is never given out.
#ifndef HOST_ASIC_COUNTERS_H
#define HOST_ASIC_COUNTERS_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "host/asic/sdk_error.h"
#include "host/services/bitset.h"
#include "platform/asic_sdk.h"

namespace host::asic {

class Counters {
 public:
  static constexpr uint32_t kIds = 8192;

  Counters() { exists_.clear(); }

  // Gives out the lowest free id. Like the hardware, it does not clear the counter: a new owner finds what the last one
  // left, until its first read.
  SdkError create(uint32_t &id);
  // The counts since the previous read.
  SdkError read(uint32_t id, route_stats &counts);
  SdkError destroy(uint32_t id);

  // Takes note that a destruction failed before it got here; forgotten when one succeeds.
  void note_failed_destroy(uint32_t id) { destroy_failed_.insert(id); }
  bool last_destroy_failed(uint32_t id) const { return destroy_failed_.contains(id); }

  // How many counters can exist at a time (8191 unless set).
  void set_capacity(size_t counters) { capacity_ = counters; }
  size_t capacity() const { return capacity_; }

  // Counts one packet, if the counter exists.
  void count(uint32_t id, size_t bytes);

  // Side door: look without clearing, set the counts (both throw std::out_of_range for an id of 8192 or more).
  route_stats peek(uint32_t id) const { return counts_.at(id); }
  void set(uint32_t id, route_stats counts) { counts_.at(id) = counts; }

  bool exists(uint32_t id) const { return id < kIds && exists_.test(id); }
  std::vector<uint32_t> ids() const { return exists_.set_bits(); }  // of the counters that exist, rising

 private:
  services::Bitset exists_{kIds};
  std::vector<route_stats> counts_ = std::vector<route_stats>(kIds);
  std::set<uint32_t> destroy_failed_;
  size_t count_ = 0;  // counters that exist
  size_t capacity_ = kIds - 1;
  uint32_t lowest_free_ = 1;
};

}  // namespace host::asic

#endif
