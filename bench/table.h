// SPDX-License-Identifier: Apache-2.0
// The switch under measurement and its flow table.
#ifndef BENCH_TABLE_H
#define BENCH_TABLE_H

#include <cstdint>

#include "bench/requests.h"
#include "host/switch.h"

namespace bench {

constexpr uint32_t kFirstSeqNo = 5000;

// The process's switch, booted at the first call, all trace outputs off.
host::Switch &the_switch();

// One request, in three steps so that only the library's share is timed.
class Handling {
 public:
  Handling(uint32_t code, const Bytes &request);
  void handle();
  // Throws std::runtime_error unless the library answered with status 0.
  void finish();

 private:
  uint32_t code_;
};

// All three steps.
void submit(uint32_t code, const Bytes &request);

// Leaves the table with so many flows, numbered from kFirstSeqNo.
void fill_table(uint32_t flows);

// `count` sequence numbers from `first`, and `count` spread evenly over a table of `flows` flows, in random order.
SeqNos consecutive(uint32_t first, uint32_t count);
SeqNos spread(uint32_t count, uint32_t flows);

}  // namespace bench

#endif
