// Collection of the counters, and queries.
#include "bench/measure.h"
#include "bench/table.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

uint32_t arg(const benchmark::State &state, size_t position) {
  return static_cast<uint32_t>(state.range(position));
}

void collect(benchmark::State &state) {
  fill_table(arg(state, 0));
  measure(state, Operation{Demands::Calls, [] {}, [] { hdm_oftab_stats_timer_handler(); }});
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
  measure(state, Request{OFTAB_MSG_GET_STATS, listed_query(spread(flows, table))});
  state.SetComplexityN(state.range(0) + state.range(1));
}
BENCHMARK(query_listed)
    ->ArgNames({"flows", "table"})
    ->Args({128, 128})
    ->Args({512, 512})
    ->Args({1024, 1024})
    ->Args({2048, 2048})
    ->Args({OFTAB_FLOW_CAPACITY, OFTAB_FLOW_CAPACITY})
    ->UseManualTime()
    ->Complexity()
    ->Unit(benchmark::kMicrosecond);

void query_one(benchmark::State &state) {
  fill_table(arg(state, 0));
  measure(state, Request{OFTAB_MSG_GET_STATS, listed_query(spread(1, arg(state, 0)))});
}
BENCHMARK(query_one)->ArgNames({"table"})->Arg(OFTAB_FLOW_CAPACITY)->UseManualTime()->Unit(benchmark::kMicrosecond);

void query_all(benchmark::State &state) {
  fill_table(arg(state, 0));
  measure(state, Request{OFTAB_MSG_GET_STATS, query_of_all()});
}
BENCHMARK(query_all)->ArgNames({"table"})->Arg(OFTAB_FLOW_CAPACITY)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace bench
