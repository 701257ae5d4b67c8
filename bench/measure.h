// SPDX-License-Identifier: Apache-2.0
// Measures one operation of the library against its floor.
#ifndef BENCH_MEASURE_H
#define BENCH_MEASURE_H

#include <benchmark/benchmark.h>

#include <functional>

#include "bench/requests.h"

namespace bench {

// An argument of the row.
inline uint32_t arg(const benchmark::State &state, size_t position) {
  return static_cast<uint32_t>(state.range(position));
}

// A row about one flow, of so many in the table.
template <int64_t Flows>
void one_of(benchmark::internal::Benchmark *benchmark) {
  benchmark->ArgNames({"flows", "table"})->Args({1, Flows});
}

// The row may be above the mark: what stands in the way, and up to how many times the floor that explains.
inline void explain(benchmark::State &state, const char *reason, double bound) {
  state.SetLabel(reason);
  state.counters["bound"] = bound;
}

// Whether the operation demands a full array and two copies of the used range, beside its calls.
enum class Demands { Calls, CallsAndShadow };

struct Operation {
  uint32_t flows;  // that it is about
  Demands demands = Demands::Calls;
  std::function<void()> prepare;  // not timed
  std::function<void()> run;
  std::function<void()> finish = [] {};  // not timed
};

// Reports as counters: the median of `run` and the floor in microseconds, the one divided by the other, the calls into
// host and SDK, and the flows.
void measure(benchmark::State &state, const Operation &operation);

// The same for one request of message code `code`.
struct Request {
  uint32_t code;
  uint32_t flows;  // that it is about
  Bytes bytes;
  Demands demands = Demands::Calls;
  std::function<void()> before = [] {};  // brings about the state that the request meets
};
void measure(benchmark::State &state, const Request &request);

}  // namespace bench

#endif
