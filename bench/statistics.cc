// SPDX-License-Identifier: Apache-2.0
// Collection of the counters, and queries.
#include "bench/measure.h"
#include "bench/table.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

void collect(benchmark::State &state) {
  explain(state, "the walk over the table, three nanoseconds a record", 1.6);
  fill_table(arg(state, 0));
  measure(state, Operation{arg(state, 0), Demands::Calls, [] {}, [] { hdm_oftab_stats_timer_handler(); }});
}
BENCHMARK(collect)
    ->ArgNames({"table"})
    ->Arg(100)
    ->Arg(OFTAB_FLOW_CAPACITY)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void query_listed(benchmark::State &state) {
  const uint32_t flows = arg(state, 0);
  const uint32_t table = arg(state, 1);
  fill_table(table);
  measure(state, Request{OFTAB_MSG_GET_STATS, flows, listed_query(spread(flows, table))});
}
BENCHMARK(query_listed)
    ->ArgNames({"flows", "table"})
    ->Args({128, 128})
    ->Args({OFTAB_FLOW_CAPACITY, OFTAB_FLOW_CAPACITY})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void query_one(benchmark::State &state) {
  explain(state, "the walk over the table that finds the flow, a nanosecond a record", 100);
  fill_table(arg(state, 0));
  measure(state, Request{OFTAB_MSG_GET_STATS, 1, listed_query(spread(1, arg(state, 0)))});
}
BENCHMARK(query_one)->ArgNames({"table"})->Arg(OFTAB_FLOW_CAPACITY)->UseManualTime()->Unit(benchmark::kMicrosecond);

void query_all(benchmark::State &state) {
  fill_table(arg(state, 0));
  measure(state, Request{OFTAB_MSG_GET_STATS, arg(state, 0), query_of_all()});
}
BENCHMARK(query_all)->ArgNames({"table"})->Arg(OFTAB_FLOW_CAPACITY)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace bench
