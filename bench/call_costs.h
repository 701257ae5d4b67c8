// What a bare call of each operation that the library imports costs, on this machine and in this run.
#ifndef BENCH_CALL_COSTS_H
#define BENCH_CALL_COSTS_H

#include <array>
#include <vector>

#include "host/services/faults.h"

namespace bench {

class CallCosts {
 public:
  // Measures on the running switch, which it leaves as it was.
  CallCosts();

  // Nanoseconds that the calls counted in `faults` take. The three calls of the message service, once a request, count
  // nothing. Throws std::logic_error for a call that was not measured.
  double total(const host::services::Faults &faults) const;

 private:
  template <typename Operation>
  void time(host::services::Call call, Operation operation);
  void time_tracing();
  void time_tcam();
  void time_counters();
  void time_fanout();
  void time_lookups();
  void time_timer();

  std::array<std::vector<double>, static_cast<size_t>(host::services::Call::kCount)> samples_;
};

}  // namespace bench

#endif
