// SPDX-License-Identifier: Apache-2.0
// oftab_bench: what the library's operations cost, and how that compares with what they have to cost.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include "bench/report.h"

int main(int count, char **words) {
  // The heap keeps what it once got. Otherwise it returns a freed table to the kernel and fetches the next one page by
  // page, or not, as the tables happen to lie.
  constexpr int kManyTables = 64 << 20;
  mallopt(M_MMAP_THRESHOLD, kManyTables / 2);
  mallopt(M_TRIM_THRESHOLD, kManyTables);
  benchmark::Initialize(&count, words);
  if (benchmark::ReportUnrecognizedArguments(count, words)) {
    return 1;
  }
  bench::Table table;
  const size_t chosen = benchmark::RunSpecifiedBenchmarks(&table);
  return chosen == 0 || table.has_failures() ? 1 : 0;
}
