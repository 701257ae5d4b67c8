// SPDX-License-Identifier: Apache-2.0
// oftab_bench: what the library's operations cost, and how that compares with what they have to cost.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <span>
#include <string_view>

#include "bench/report.h"

namespace {

// Whether each row runs for at least 0.1 s, as is the default: what is above its bound then is so for a reason.
bool is_honest(std::span<char *> words) {
  constexpr std::string_view kOption = "--benchmark_min_time=";
  return std::ranges::none_of(words, [&](const char *word) {
    return std::string_view(word).starts_with(kOption) && std::atof(word + kOption.size()) < 0.1;
  });
}

}  // namespace

int main(int count, char **words) {
  // The heap keeps what it once got. Otherwise it returns a freed table to the kernel and fetches the next one page by
  // page, or not, as the tables happen to lie.
  constexpr int kManyTables = 64 << 20;
  mallopt(M_MMAP_THRESHOLD, kManyTables / 2);
  mallopt(M_TRIM_THRESHOLD, kManyTables);
  const bool honest = is_honest({words, static_cast<size_t>(count)});
  benchmark::Initialize(&count, words);
  if (benchmark::ReportUnrecognizedArguments(count, words)) {
    return 1;
  }
  bench::Table table;
  const size_t chosen = benchmark::RunSpecifiedBenchmarks(&table);
  return chosen == 0 || table.has_failures() || (honest && table.has_rows_above()) ? 1 : 0;
}
