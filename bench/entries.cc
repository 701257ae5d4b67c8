// SPDX-License-Identifier: Apache-2.0
// Entry requests: add, delete, modify, purge; and compaction.
#include "bench/measure.h"
#include "bench/table.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

// A request about so many flows to a table of `table` flows, filled anew each time.
void measure_change(benchmark::State &state, uint32_t flows, uint32_t table, const Bytes &request, Demands demands) {
  measure(state, Request{OFTAB_MSG_ENTRY_UPDATE, flows, request, demands, [=] { fill_table(table); }});
}

void explain_addition(benchmark::State &state) {
  explain(state, "beside two copies, a walk over the table for the records to write", 1.6);
}

void explain_deletion(benchmark::State &state) {
  explain(state, "beside two copies, a walk over the table to find the flows by number", 1.6);
}

// Adds flows that are stronger than all others, so that none has to move.
void add_strongest(benchmark::State &state) {
  explain_addition(state);
  const Bytes request = add_request(consecutive(kFirstSeqNo - arg(state, 0), arg(state, 0)));
  measure_change(state, arg(state, 0), arg(state, 1), request, Demands::CallsAndShadow);
}
BENCHMARK(add_strongest)
    ->ArgNames({"flows", "table"})
    ->ArgsProduct({{1, 100}, {0, 3995}})
    ->Args({OFTAB_FLOW_CAPACITY, 0})
    ->Args({1, OFTAB_FLOW_CAPACITY - 1})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// Adds a flow that is weaker than all others to a table that reaches the last index: all others move up.
void add_weakest(benchmark::State &state) {
  explain_addition(state);
  const Bytes request = add_request({kFirstSeqNo + arg(state, 0)});
  measure_change(state, 1, arg(state, 0), request, Demands::CallsAndShadow);
}
BENCHMARK(add_weakest)
    ->ArgNames({"table"})
    ->Arg(OFTAB_FLOW_CAPACITY - 1)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void delete_some(benchmark::State &state) {
  explain_deletion(state);
  const Bytes request = delete_request(spread(arg(state, 0), arg(state, 1)));
  measure_change(state, arg(state, 0), arg(state, 1), request, Demands::CallsAndShadow);
}
BENCHMARK(delete_some)
    ->ArgNames({"flows", "table"})
    ->ArgsProduct({{1, 100}, {100, OFTAB_FLOW_CAPACITY}})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void delete_all(benchmark::State &state) {
  explain_deletion(state);
  const uint32_t table = arg(state, 0);
  measure_change(state, table, table, delete_request(spread(table, table)), Demands::CallsAndShadow);
}
BENCHMARK(delete_all)
    ->ArgNames({"table"})
    ->Arg(128)
    ->Arg(OFTAB_FLOW_CAPACITY)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// Modification traces its search for each flow, which costs flows times table.
void modify(benchmark::State &state) {
  const Bytes request = modify_request(consecutive(kFirstSeqNo, arg(state, 0)));
  measure_change(state, arg(state, 0), arg(state, 1), request, Demands::CallsAndShadow);
}
BENCHMARK(modify)
    ->ArgNames({"flows", "table"})
    ->Args({1, OFTAB_FLOW_CAPACITY})
    ->Args({100, OFTAB_FLOW_CAPACITY})
    ->Args({1000, 1000})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void purge(benchmark::State &state) {
  explain(state, "what stands at each index is compared before it is erased", 1.6);
  measure_change(state, arg(state, 0), arg(state, 0), purge_request(), Demands::Calls);
}
BENCHMARK(purge)
    ->ArgNames({"table"})
    ->Arg(100)
    ->Arg(OFTAB_FLOW_CAPACITY)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// Compacts a full table from which every other flow was deleted.
void compact(benchmark::State &state) {
  const Bytes deletion = delete_request(spread(OFTAB_FLOW_CAPACITY / 2, OFTAB_FLOW_CAPACITY));
  measure(state, Operation{OFTAB_FLOW_CAPACITY / 2, Demands::CallsAndShadow,
                           [&] {
                             fill_table(OFTAB_FLOW_CAPACITY);
                             submit(OFTAB_MSG_ENTRY_UPDATE, deletion);
                           },
                           [] { oftab_defragment_entries(); }});
}
BENCHMARK(compact)->ArgNames({"table"})->Arg(OFTAB_FLOW_CAPACITY)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace bench
