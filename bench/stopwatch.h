// SPDX-License-Identifier: Apache-2.0
// Time in nanoseconds: processor time of this thread, so that other work on the machine counts less.
#ifndef BENCH_STOPWATCH_H
#define BENCH_STOPWATCH_H

#include <algorithm>
#include <ctime>
#include <vector>

namespace bench {

inline double processor_ns() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <typename Operation>
double nanoseconds(Operation operation) {
  const double start = processor_ns();
  operation();
  return processor_ns() - start;
}

// Of one sample or more.
inline double median(std::vector<double> samples) {
  const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::nth_element(samples.begin(), middle, samples.end());
  return *middle;
}

}  // namespace bench

#endif
