// SPDX-License-Identifier: Apache-2.0
#include "bench/floor.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/stopwatch.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

void use_shadow(std::vector<oftab_sw_entry_t> &records) {
  auto *const shadow = static_cast<oftab_sw_entry_t *>(std::calloc(OFTAB_FLOW_CAPACITY, sizeof records[0]));
  if (shadow == nullptr) {
    std::abort();
  }
  for (uint16_t i = 0; i < OFTAB_FLOW_CAPACITY; ++i) {
    benchmark::DoNotOptimize(shadow[i].tcam_index = i);
  }
  std::memcpy(shadow, records.data(), records.size() * sizeof records[0]);
  benchmark::ClobberMemory();
  std::memcpy(records.data(), shadow, records.size() * sizeof records[0]);
  benchmark::ClobberMemory();
  std::free(shadow);
}

}  // namespace

double shadow_ns(size_t records) {
  static std::vector<oftab_sw_entry_t> table(OFTAB_FLOW_CAPACITY);
  table.resize(records);
  return nanoseconds([] { use_shadow(table); });
}

}  // namespace bench
