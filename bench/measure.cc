// SPDX-License-Identifier: Apache-2.0
#include "bench/measure.h"

#include <algorithm>
#include <optional>

#include "bench/call_costs.h"
#include "bench/floor.h"
#include "bench/stopwatch.h"
#include "bench/table.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

constexpr int kRounds = 15;

size_t used_range() {
  return oftab_hw_rsrc_g.current_table->entries_allocated;
}

double total_calls(const host::services::Faults &faults) {
  uint64_t sum = 0;
  for (size_t i = 0; i < static_cast<size_t>(host::services::Call::kCount); ++i) {
    sum += faults.calls(static_cast<host::services::Call>(i));
  }
  return static_cast<double>(sum);
}

// What measuring nothing takes.
double own_ns() {
  std::vector<double> samples(kRounds);
  std::ranges::generate(samples, [] { return nanoseconds([] {}); });
  return median(samples);
}

// What one run demanded.
struct Run {
  double calls_ns;
  size_t records;  // of the used range, before or after, whichever is larger
};

void run_once(const Operation &operation) {
  operation.prepare();
  operation.run();
  operation.finish();
}

Run trial(benchmark::State &state, const Operation &operation) {
  static const CallCosts costs;
  host::services::Faults &faults = the_switch().faults();
  operation.prepare();
  const size_t records_before = used_range();
  faults.reset();
  operation.run();
  const Run run = {costs.total(faults), std::max(records_before, used_range())};
  state.counters["calls"] = total_calls(faults);
  operation.finish();
  return run;
}

// The work on memory, in the place of the operation, so that it finds the same heap.
double memory_ns(const Operation &operation, size_t records) {
  std::vector<double> samples;
  for (int round = 0; round < kRounds; ++round) {
    operation.prepare();
    samples.push_back(shadow_ns(records));
    operation.run();
    operation.finish();
  }
  return median(samples);
}

double shadow_share(const Operation &operation, size_t records) {
  return operation.demands == Demands::CallsAndShadow ? memory_ns(operation, records) : 0;
}

}  // namespace

void measure(benchmark::State &state, const Operation &operation) {
  run_once(operation);  // what the library creates once and keeps is not counted
  const Run demanded = trial(state, operation);
  const double before = shadow_share(operation, demanded.records);
  const double own = own_ns();
  std::vector<double> times;
  for ([[maybe_unused]] auto iteration : state) {
    operation.prepare();
    times.push_back(nanoseconds(operation.run) - own);
    operation.finish();
    state.SetIterationTime(times.back() * 1e-9);
  }
  // On a busy machine, memory is not as fast before as behind.
  const double floor = demanded.calls_ns + (before + shadow_share(operation, demanded.records)) / 2;
  const double time = median(times);
  state.counters["us"] = time / 1000;
  state.counters["floor_us"] = floor / 1000;
  state.counters["ratio"] = time / floor;
  state.counters["flows"] = static_cast<double>(operation.flows);
}

void measure(benchmark::State &state, const Request &request) {
  std::optional<Handling> handling;
  measure(state, {request.flows, request.demands,
                  [&] {
                    request.before();
                    handling.emplace(request.code, request.bytes);
                  },
                  [&] { handling->handle(); }, [&] { handling->finish(); }});
}

}  // namespace bench
