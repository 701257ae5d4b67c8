// SPDX-License-Identifier: Apache-2.0
// The switch held against the model.
#include "host/table_snapshot.h"
#include "tests/support/history.h"

namespace test {
namespace {

constexpr int kPacketsPerStep = 4;

std::string text_of(const Outcome &outcome) {
  std::string text = "verdict " + std::to_string(static_cast<int>(outcome.verdict)) + ", ports";
  for (const uint8_t port : outcome.sdk_ports) {
    text += ' ';
    text += std::to_string(port);
  }
  return text + (outcome.cpu_code ? ", CPU code " + std::to_string(*outcome.cpu_code) : "");
}

bool same_entry(const oftab_resp_entry_t &one, const oftab_resp_entry_t &other) {
  return one.context == other.context && one.seq_no == other.seq_no && one.status == other.status;
}

Counts counts(const oftab_stats_resp_info_t &record) {
  return {record.pkt_cnt, record.byte_cnt};
}

}  // namespace

void History::check() {
  if (!disturber_.disturbed) {
    check_packets();
  }
  EXPECT_EQ(oftab_hw_rsrc_g.current_table->free_entries, OFTAB_FLOW_CAPACITY - model_.flows().size());
  check_findings();
}

void History::check_packets() {
  for (int i = 0; i < kPacketsPerStep; ++i) {
    const Packet packet = random_packet(dice_);
    const host::asic::Fate fate = rig_.sw.inject(packet.ingress, packet.header);
    const std::optional<Outcome> due = model_.forward(packet);
    if (due) {
      const std::set<uint8_t> ports(fate.sdk_ports.begin(), fate.sdk_ports.end());
      const Outcome actual{fate.verdict, ports, fate.cpu_code};
      EXPECT_EQ(text_of(actual), text_of(*due)) << "a packet met TCAM index " << fate.tcam_index.value_or(0xffff);
    }
  }
}

void History::check_answer(const host::Reply &reply, const Response &due) {
  ASSERT_EQ(reply.responses.size(), 1U);
  const Response actual = decode(reply.responses[0]);
  EXPECT_EQ(actual.entry_op, due.entry_op);
  EXPECT_EQ(actual.num_entries, due.num_entries);
  EXPECT_EQ(actual.status, due.status);
  EXPECT_TRUE(std::ranges::equal(actual.entries, due.entries, same_entry));
}

// All counts, in the order of the TCAM.
void History::check_all_counts() {
  const StatsResponse response = decode_stats(rig_.send(stats_request(OFTAB_STATS_ALL, {}), OFTAB_MSG_GET_STATS));
  ASSERT_EQ(response.records.size(), model_.flows().size());
  uint64_t last_priority = uint64_t{1} << 32;
  for (const oftab_stats_resp_info_t &record : response.records) {
    ASSERT_TRUE(model_.flows().contains(record.seq_no));
    const ModelFlow &flow = model_.flows().at(record.seq_no);
    EXPECT_LE(flow.flow.priority, last_priority);
    last_priority = flow.flow.priority;
    EXPECT_EQ(counts(record), flow.totals);
  }
  const oftab_sw_entry_t &catch_all = oftab_hw_rsrc_g.catch_all_entry;
  if (host::counter_named_by(rig_.sw.asic().tcam().at(OFTAB_CATCH_ALL_INDEX)) == catch_all.stats_id) {
    EXPECT_EQ((Counts{catch_all.pkt_cnt, catch_all.byte_cnt}), model_.catch_all_totals());
  }
}

void History::check_listed_counts() {
  const uint32_t seq_no = some_seq_no(4);
  const auto flow = model_.flows().find(seq_no);
  const bool known = flow != model_.flows().end();
  const StatsResponse response =
      decode_stats(rig_.send(stats_request(OFTAB_STATS_LISTED, {seq_no}), OFTAB_MSG_GET_STATS));
  ASSERT_EQ(response.records.size(), 1U);
  EXPECT_EQ(counts(response.records[0]), known ? flow->second.totals : Counts{});
  EXPECT_EQ(response.records[0].status, known || model_.flows().empty() ? 0 : -1);
}

void History::check_findings() {
  EXPECT_THAT(rig_.sw.violations().list(), testing::IsEmpty());
  forget_traces();
  for (const host::Finding &finding : host::audit(rig_.sw.asic(), rig_.exceptions)) {
    EXPECT_TRUE(may_be(finding)) << finding.text();
  }
}

bool History::may_be(const host::Finding &finding) {
  const auto found = model_.flows().find(finding.flow.value_or(0));
  const ModelFlow *flow = found != model_.flows().end() ? &found->second : nullptr;
  switch (finding.state) {
    case host::State::Disagreement:
      return false;
    case host::State::FailedAction:
      return flow != nullptr && (flow->action_failed || !flow->action_known);
    case host::State::RefusedWrite:  // or the refused action happens to be what the failed one left
      return disturber_.disturbed || (flow != nullptr && (flow->action_failed || !flow->action_known));
    case host::State::RefusedTree:
      return disturber_.disturbed || (flow != nullptr && !flow->action_known);
    case host::State::RefusedRelease:
    case host::State::Untracked:
    case host::State::Purged:
      return true;
    default:
      return disturber_.disturbed;
  }
}

}  // namespace test
