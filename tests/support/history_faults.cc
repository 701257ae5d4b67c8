// SPDX-License-Identifier: Apache-2.0
// What the model takes over of failures.
#include <algorithm>
#include <string_view>

#include "host/table_snapshot.h"
#include "tests/support/history.h"
#include "tests/support/screen.h"

namespace test {

// What a request under faults came to: it was refused or granted, or its answer was lost.
void History::take_over(const Model &before, const State &state, const host::Reply &reply, const Outturn &outturn) {
  EXPECT_EQ(reply.responses.size(), is_silenced() ? 0U : 1U);
  const Response answer = reply.responses.empty() ? Response() : decode(reply.responses[0]);
  const bool unchanged = rig_.state().header == state.header && rig_.state().table == state.table;
  const bool refused = reply.responses.empty() ? unchanged : answer.status != 0;
  log_ << (refused ? " refused" : " granted") << (reply.responses.empty() ? " without an answer" : "");
  EXPECT_TRUE(unchanged || !refused);
  model_ = refused || outturn ? before : model_;
  if (outturn && (!refused || reply.responses.empty())) {
    outturn(model_, answer.entry_statuses());
  }
  if (!refused) {
    take_over_flows(before);
  }
  forget_traces();
  doubt_what_stays();
  follow_doubtful();
}

// A request that is refused puts back what flows had, but for port channels that cannot take them up again, and for
// ports of trees that it could not destroy.
void History::doubt_what_stays() {
  for (const auto &[pc, seq_no] : rig_.exceptions.untracked) {
    doubtful_.insert(seq_no);
  }
  const host::asic::Trees &trees = rig_.sw.asic().trees();
  for (const oftab_sw_entry_t &record : current_records()) {
    if (trees.last_destroy_failed(record.mcst_idx) && !trees.ports(record.mcst_idx).empty()) {
      doubtful_.insert(record.seq_no);
    }
  }
}

// Whether the message service failed, or there was no memory for the answer.
bool History::is_silenced() {
  const auto has_part = [this](const char *part) { return joined(rig_.traced(102)).find(part) != std::string::npos; };
  const bool failed = std::ranges::any_of(rig_.sw.faults().injected(), [](host::services::Call call) {
    const std::string_view name = host::services::name(call);
    return name == "hdm_ipq_handler_init" || name == "ipq_payload_get" || name == "fu_ipq_send_response";
  });
  return failed || has_part("Malloc error") || has_part("() Malloc failure");
}

void History::forget_traces() {
  rig_.exceptions.untracked.merge(rig_.untracked());
  rig_.sw.tracing().clear();
}

// What look-ups and reads that failed keep from the flows.
void History::take_over_flows(const Model &before) {
  for (const oftab_sw_entry_t &record : current_records()) {
    const auto found = model_.flows().find(record.seq_no);
    if ((record.flags & OFTAB_ENTRY_USED) == 0 || found == model_.flows().end()) {
      continue;
    }
    ModelFlow &flow = found->second;
    take_over_outputs(flow, record);
    if (!before.flows().contains(record.seq_no)) {  // its counter may go on from what its last owner left
      const route_stats counts = rig_.sw.asic().counters().peek(record.stats_id);
      flow.pending = {counts.packets, counts.bytes};
    }
  }
}

void History::take_over_outputs(ModelFlow &flow, const oftab_sw_entry_t &record) {
  std::vector<uint8_t> ports;
  if (flow.flow.action.type == OFTAB_ACTION_OUTPORT && flow.action_known && !flow.action_failed) {
    ports = host::asic::ports_of(record.out_ports);
    flow.flow.action.outputs.assign(record.pc_ifindex, record.pc_ifindex + record.num_pc);
    const auto bits = host::flow_bits();
    const auto lost = std::erase_if(flow.flow.action.outputs, [&](uint32_t pc) {
      return record.seq_no < OFTAB_FLOW_HANDLES && !bits.contains({pc, record.seq_no});
    });
    if (lost != 0) {
      doubtful_.insert(record.seq_no);
    }
  } else {
    ports = rig_.sw.asic().trees().ports(record.mcst_idx);  // whose destruction was refused
    doubtful_.insert(record.seq_no);
  }
  flow.sdk_ports = {ports.begin(), ports.end()};
  flow.had_outputs = record.mcst_idx != 0;
}

// One that could not be read was installed anew. Its counter may go on from what its last owner left.
void History::take_over_catch_all(bool anew) {
  const host::asic::Fate fate = rig_.sw.asic().fate_of(OFTAB_CATCH_ALL_INDEX, 0);
  model_.know_catch_all({fate.verdict, {}, fate.cpu_code});
  if (anew) {
    const uint32_t counter = oftab_hw_rsrc_g.catch_all_entry.stats_id % host::asic::Counters::kIds;
    const route_stats left = rig_.sw.asic().counters().peek(counter);
    model_.restart_catch_all({left.packets, left.bytes});
  }
}

// A later request may mend what a fault left of a flow's port channels and tree: such flows go by what is there.
void History::follow_doubtful() {
  for (const oftab_sw_entry_t &record : current_records()) {
    const auto found = model_.flows().find(record.seq_no);
    if (doubtful_.contains(record.seq_no) && found != model_.flows().end()) {
      take_over_outputs(found->second, record);
    }
  }
}

// Trees that did not follow a membership: no request mends them.
void History::doubt_refused_trees() {
  for (const oftab_sw_entry_t &record : current_records()) {
    const auto found = model_.flows().find(record.seq_no);
    if (found != model_.flows().end() && record.mcst_idx != 0 &&
        rig_.sw.asic().trees().ports(record.mcst_idx) != host::asic::ports_of(record.out_ports)) {
      found->second.action_known = false;
    }
  }
}

// A commit ran out of memory.
void History::lose_table() {
  log_ << " lost the table";
  check_findings();
  rig_.set_up({purge()});
  model_.purge();
  erased_.clear();
  last_seq_no_ += 100;
  disturber_.disturbed = false;
}

}  // namespace test
