// SPDX-License-Identifier: Apache-2.0
// Where new flows are placed, and how they are merged with those that are there, as seen in the TCAM.
#include <algorithm>

#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {
namespace {

// `count` flows numbered from `first`, their priorities falling by `step` from `priority`.
struct Batch {
  uint32_t first;
  uint32_t count;
  uint32_t priority;
  uint32_t step = 1;
};

// Flows `first` to `last` at the indices from `index` on.
struct Run {
  int index;
  uint32_t first;
  uint32_t last;

  bool operator==(const Run &) const = default;
};

struct Case {
  const char *name;
  std::vector<Batch> there;      // added one after the other
  std::vector<uint32_t> erased;  // then deleted
  std::vector<Batch> request;    // in one add
  const char *decision;
  int start;
  int direction;  // 0: not traced, the table is empty
  std::vector<Run> layout;
  size_t writes;  // records written: the new and the moved ones
};

const std::vector<Batch> kTen{{1, 10, 100}};                     // 2000 to 2009
const std::vector<Batch> kBottomFull{{1, 2000, 5000}};           // 2095 to 4094
const std::vector<Batch> kTopFull{{1, 1, 10}, {2, 1999, 5000}};  // 1 to 2000
const std::vector<Batch> kFull{{1, 4095, 5000}};                 // 0 to 4094

constexpr char kFirst[] = "first time installing";
constexpr char kTopPrio[] = "top free & prio";
constexpr char kBottomPrio[] = "bottom free & prio";

const std::vector<Run> kPastTheRange{{2000, 1, 6},   {2006, 11, 12}, {2008, 7, 7},
                                     {2009, 13, 13}, {2010, 8, 10},  {2013, 14, 15}};
const std::vector<Run> kShifted{{1, 4001, 4002}, {3, 2, 2000}, {2002, 1, 1}};
const std::vector<Run> kBehindTheFirst{{1, 2, 2}, {2, 4001, 4002}, {4, 3, 2000}, {2002, 1, 1}};
const std::vector<Run> kAppended{{1, 2, 2000}, {2000, 1, 1}, {2001, 2001, 4094}};
const std::vector<Run> kTwoSided{{0, 2001, 4001}, {2001, 2, 2000}, {4000, 1, 1}, {4001, 4002, 4095}};

const Case kCases[] = {
    {"FirstFlows", {}, {}, {{1, 10, 100}}, kFirst, 2000, 0, {{2000, 1, 10}}, 10},
    {"First1999", {}, {}, {{1, 1999, 5000}}, kFirst, 2000, 0, {{2000, 1, 1999}}, 1999},
    {"First2000", {}, {}, {{1, 2000, 5000}}, kFirst, 2095, 0, {{2095, 1, 2000}}, 2000},
    {"First2500", {}, {}, {{1, 2500, 5000}}, kFirst, 1595, 0, {{1595, 1, 2500}}, 2500},
    {"First4095", {}, {}, kFull, kFirst, 0, 0, {{0, 1, 4095}}, 4095},
    {"AllErased", {{1, 2, 9}}, {1, 2}, {{3, 2, 9}}, kFirst, 2000, 0, {{2000, 3, 4}}, 2},
    {"Stronger", kTen, {}, {{11, 3, 200, 40}}, kTopPrio, 1997, 1, {{1997, 11, 13}, {2000, 1, 10}}, 3},
    {"EqualToFirst", kTen, {}, {{11, 1, 100}}, kTopPrio, 1999, 1, {{1999, 11, 11}, {2000, 1, 10}}, 1},
    {"Weaker", kTen, {}, {{11, 3, 50, 10}}, kBottomPrio, 2012, 2, {{2000, 1, 13}}, 3},
    {"EqualStays", kTen, {}, {{11, 1, 95}}, kBottomPrio, 2010, 2, {{2000, 1, 6}, {2006, 11, 11}, {2007, 7, 10}}, 5},
    {"EqualMoves", kTen, {1}, {{11, 1, 95}}, kTopPrio, 1999, 1, {{1999, 2, 5}, {2003, 11, 11}, {2004, 6, 10}}, 10},
    {"WeakestUnderAHole", kTen, {1}, {{11, 1, 0}}, kTopPrio, 1999, 1, {{1999, 2, 11}}, 10},
    {"Holes", kTen, {3, 4, 10}, {{11, 1, 1}}, kBottomPrio, 2010, 2, {{2000, 1, 2}, {2002, 5, 9}, {2007, 11, 11}}, 6},
    {"Unsorted", kTen, {}, {{11, 1, 50}, {12, 1, 300}}, kBottomPrio, 2011, 2, {{2000, 1, 12}}, 2},
    {"PastTheOldRange", kTen, {}, {{11, 5, 95}}, kBottomPrio, 2014, 2, kPastTheRange, 9},
    {"WeakerOnTop", kBottomFull, {}, {{2001, 1, 10}}, "top free", 2094, 1, {{2094, 1, 2001}}, 2001},
    {"StrongerBelow", kTopFull, {}, {{4001, 2, 9000}}, "bottom free", 2002, 2, kShifted, 2002},
    {"EqualBelow", kTopFull, {}, {{4001, 2, 5000}}, "bottom free", 2002, 2, kBehindTheFirst, 2001},
    {"LastOnTop", kTopFull, {}, {{4001, 1, 9000}}, kTopPrio, 0, 1, {{0, 4001, 4001}, {1, 2, 2000}, {2000, 1, 1}}, 1},
    {"AllBelow", kTopFull, {}, {{2001, 2094, 9, 0}}, kBottomPrio, 4094, 2, kAppended, 2094},
    {"NoRoom", kTopFull, {}, {{2001, 2095, 20000}}, "Default top-down", 0, 1, kTwoSided, 4095},
    {"LastHole", kFull, {100}, {{4096, 1, 1}}, "Default top-down", 0, 1, {{0, 1, 99}, {99, 101, 4096}}, 3996},
};

// The decision as it is traced.
std::string decision(const Case &row) {
  const std::string start = std::to_string(row.start);
  const std::string direction = " install_dir:" + std::to_string(std::max(row.direction, 1)) + " \n";
  return row.decision + (row.direction == 0 ? ". start_idnex:" + start + " \n" : ". start_index:" + start + direction) +
         "start_index:" + start + direction +
         (row.direction == 2
              ? "using top_down for bottom up start_index:" + std::to_string(row.layout[0].index) + direction
              : "");
}

std::vector<Flow> flows(const std::vector<Batch> &batches) {
  std::vector<Flow> flows;
  for (const Batch &batch : batches) {
    for (uint32_t i = 0; i < batch.count; ++i) {
      flows.push_back(numbered_flow(batch.first + i, batch.priority - i * batch.step));
    }
  }
  return flows;
}

// What stands in the TCAM, but for the catch-all.
std::vector<Run> layout(const host::asic::Tcam &tcam) {
  std::vector<Run> runs;
  for (const uint16_t index : tcam.valid_indices()) {
    const auto &key = tcam.at(index).key;
    const uint32_t flow = key[32] | static_cast<uint32_t>(key[33]) << 8;
    if (!runs.empty() &&
        runs.back() == Run{index - static_cast<int>(flow - runs.back().first), runs.back().first, flow - 1}) {
      runs.back().last = flow;
    } else if (index != OFTAB_CATCH_ALL_INDEX) {
      runs.push_back({index, flow, flow});
    }
  }
  return runs;
}

size_t records_written(const std::vector<std::string> &calls) {
  return static_cast<size_t>(std::ranges::count_if(calls, [](const std::string &call) {
    return call.find("entry_set(") != std::string::npos && call.ends_with("vld=1) = 0");
  }));
}

class Placement : public SwitchTest, public testing::WithParamInterface<Case> {};

TEST_P(Placement, DecidesAndMerges) {
  const Case &row = GetParam();
  for (const Batch &batch : row.there) {
    set_up({add(flows({batch}))});
  }
  set_up({erase(row.erased)});
  sw.tracing().clear();
  sw.call_log().set_on(true);

  set_up({add(flows(row.request))});
  EXPECT_TRUE(layout(sw.asic().tcam()) == row.layout);
  EXPECT_EQ(records_written(sw.call_log().lines()), row.writes);
  EXPECT_THAT(joined(traced(104)), testing::HasSubstr(decision(row)));
  EXPECT_THAT(traced(103), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Table, Placement, testing::ValuesIn(kCases), case_name);

TEST_F(SwitchTest, FlowsThatAllFailPlaceNothing) {
  EXPECT_EQ(submit(add(std::vector<Flow>(OFTAB_FLOW_CAPACITY, {.action = {.type = 9}}))).status, -11);
  EXPECT_EQ(traced(103).size(), 1U);
  EXPECT_THAT(sw.asic().tcam().valid_indices(), testing::ElementsAre(OFTAB_CATCH_ALL_INDEX));
}

// Of flows that are placed by a direct call, only what lies before the end of the array is in the header.
TEST_F(SwitchTest, DirectInsertionsKeepWithinTheArray) {
  const Bytes two = add({numbered_flow(1, 20), numbered_flow(2, 10)});
  const Bytes unknown_actions = add(std::vector<Flow>(2, {.action = {.type = 9}}));
  const struct {
    std::vector<Bytes> there;
    const Bytes &request;
    uint16_t start;
    std::array<int, 3> header;  // first, last, allocated
    std::vector<int32_t> statuses;
  } cases[] = {{{}, two, 4094, {4094, 4094, 1}, {0, -5}},
               {{}, two, 4095, {0, 0, 0}, {-5, -5}},
               {{}, two, 5000, {0, 0, 0}, {-5, -5}},
               {{}, unknown_actions, 0, {0, 0, 0}, {-11, -11}},
               {{add({numbered_flow(3, 9), numbered_flow(4, 8), numbered_flow(5, 7), numbered_flow(6, 6)}), erase({5})},
                two,
                4094,
                {4094, 4094, 1},
                {-5, -5}}};
  for (const auto &row : cases) {
    set_up(row.there);
    sw.tracing().clear();
    Bytes response(sizeof(oftab_entry_update_resp_t) + 2 * sizeof(oftab_resp_entry_t));
    auto *const header = reinterpret_cast<oftab_entry_update_resp_t *>(response.data());
    header->num_entries = 2;
    EXPECT_EQ(oftab_cp_current_to_shadow(1, 2), 0);
    oftab_insert_entries_top_down(reinterpret_cast<const oftab_entry_update_req_t *>(row.request.data()), row.start, 1,
                                  header);
    const oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
    EXPECT_EQ((std::array<int, 3>{shadow.tcam_st_idx, shadow.tcam_end_idx, shadow.entries_allocated}), row.header);
    EXPECT_EQ(decode(response).entry_statuses(), row.statuses);
    EXPECT_EQ(traced(103).size(), 1U);
    if (row.statuses[0] == 0) {  // what a direct call converts is the caller's
      libsdk_l3_route_stats_destroy(0, shadow.tcam_entry[row.start].stats_id);
    }
    set_up({erase({3, 4, 6})});
  }
}

}  // namespace
}  // namespace test
