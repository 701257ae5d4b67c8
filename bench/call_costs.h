// SPDX-License-Identifier: Apache-2.0
// What a bare call of each operation that the library imports costs, on this machine and in this run.
#ifndef BENCH_CALL_COSTS_H
#define BENCH_CALL_COSTS_H

#include <array>

#include "host/services/faults.h"

namespace bench {

class CallCosts {
 public:
  // Measures on the running switch, which it leaves as it was.
  CallCosts();

  // Nanoseconds that the calls counted in `faults` take. The three calls of the message service, once a request, count
  // nothing. Throws std::logic_error for another call that is not marked as timed.
  double total(const host::services::Faults &faults) const;

 private:
  std::array<double, host::services::kCallCount> nanoseconds_{};
};

}  // namespace bench

#endif
