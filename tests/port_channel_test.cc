// SPDX-License-Identifier: Apache-2.0
// The flows recorded on port channels.
#include "tests/support/allocations.h"
#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {
namespace {

// The flow mask of a port channel as (word, value) pairs of its words that are not 0.
std::vector<std::pair<uint32_t, uint32_t>> mask_words(uint32_t pc_ifindex) {
  std::vector<std::pair<uint32_t, uint32_t>> words;
  const pc_entry *entry = oftab_pc_entry_find(pc_ifindex);
  for (uint32_t i = 0; entry != nullptr && i < std::size(entry->flow_mask); ++i) {
    if (entry->flow_mask[i] != 0) {
      words.emplace_back(i, entry->flow_mask[i]);
    }
  }
  return words;
}

using testing::ElementsAre;
using testing::Pair;

TEST_F(SwitchTest, FlowMaskTakesUpAndReleasesFlows) {
  const struct {
    uint32_t flow;
    int add;
    std::vector<std::pair<uint32_t, uint32_t>> words;
    int32_t status = 0;
  } steps[] = {
      {37, 0, {}},
      {37, 1, {{1, 0x20}}},
      {37, 1, {{1, 0x20}}},
      {3, 1, {{0, 8}, {1, 0x20}}},
      {37, 0, {{0, 8}}},
      {4095, 1, {{0, 8}, {127, 0x80000000}}},
      {3, 0, {{127, 0x80000000}}},
      {4095, 0, {}},
      {4096, 0, {}},  // the mask has no bit for it: a warning when it is taken up
      {4096, 1, {}, -3},
      {4096, 0, {}},
  };
  for (const auto &step : steps) {
    EXPECT_EQ(oftab_pc_entry_update_flowmask(kPc, step.flow, step.add), step.status);
    EXPECT_EQ(mask_words(kPc), step.words);
    EXPECT_EQ(oftab_pc_entry_find(kPc) == nullptr, step.words.empty());
  }
  EXPECT_THAT(traced(103),
              ElementsAre("oftab_pc_entry_update_flowmask: flow 4096 is not tracked on port channel 16000005\n"));
  EXPECT_THAT(traced(104), testing::Contains("index 127 flow_mask = 80000000\n"));
  set_up({erase({})});  // frees what the port channel had
  fail_allocation(1);
  EXPECT_EQ(oftab_pc_entry_update_flowmask(kPc, 1, 1), -3);
  const std::string call = "oftab_pc_entry_update_flowmask: pc_ifindex = 16000005 flow_handle = 25 add = ";
  EXPECT_THAT(joined(traced(104)), testing::StartsWith(call + "0\npc_entry is NULL\nflow_mask = 0\n" + call +
                                                       "1\npc_entry is NULL\nflow_mask = 0\nindex 1 flow_mask = 20\n" +
                                                       call + "1\nflow_mask = 20\nindex 1 flow_mask = 20\n"));
}

TEST_F(SwitchTest, ComparisonOrdersByIfindex) {
  const pc_entry low{.pc_ifindex = 5, .flow_mask = {}};
  const pc_entry high{.pc_ifindex = 9, .flow_mask = {}};
  EXPECT_EQ(oftab_pc_compare_func(&low, &high), -4);
  EXPECT_EQ(oftab_pc_compare_func(&high, &low), 4);
  EXPECT_EQ(oftab_pc_compare_func(&low, &low), 0);
  EXPECT_EQ(oftab_pc_compare_func(nullptr, &low), -1);
  EXPECT_EQ(oftab_pc_compare_func(&low, nullptr), 1);
}

TEST_F(SwitchTest, OutputsToPortChannelsAreRecorded) {
  sw.interfaces().create_pc(kPc);
  sw.interfaces().create_pc(port_channel(6));
  set_up({add({numbered_flow(1, 9)})});
  const int64_t blocks = allocated_blocks();
  set_up({add({numbered_flow(2, 8, output({kPc}))})});
  EXPECT_THAT(traced(104),
              testing::Contains("oftab_pc_entry_update_flowmask: pc_ifindex = 16000005 flow_handle = 2 add = 1\n"));
  set_up({erase({2})});
  EXPECT_EQ(allocated_blocks(), blocks);
  set_up({add({{.seq_no = 37, .action = output({kPc, port(1), port_channel(6), kPc})},
               {.seq_no = 40, .priority = 5, .action = output({kPc})}})});
  EXPECT_THAT(mask_words(kPc), ElementsAre(Pair(1, 0x120)));
  EXPECT_THAT(mask_words(port_channel(6)), ElementsAre(Pair(1, 0x20)));
  EXPECT_EQ(find_record(37)->num_pc, 3);
  oftab_sw_entry_t copy = *find_record(37);
  EXPECT_EQ(oftab_entry_clear_pc_data(&copy), 0);
  EXPECT_EQ(copy.num_pc, 0);
  EXPECT_EQ(copy.pc_ifindex[0], 0U);
  EXPECT_THAT(mask_words(kPc), ElementsAre(Pair(1, 0x100)));
  EXPECT_EQ(oftab_pc_entry_find(port_channel(6)), nullptr);
  oftab_pc_entry_update_flowmask(kPc, 37, 1);
  oftab_pc_entry_update_flowmask(port_channel(6), 37, 1);
}

TEST_F(BareSwitchTest, WithoutATreeNothingIsRecorded) {
  sw.faults().fail("libsdk_l3_route_stats_create", 1, 77);
  for (const uint64_t nth : {1U, 2U, 3U}) {
    sw.faults().fail("avl_create", nth, 77);
  }
  EXPECT_EQ(oftab_init_pc_tree(), -1);
  EXPECT_EQ(oftab_init(), -1);
  sw.boot();
  EXPECT_EQ(oftab_pc_tree, nullptr);
  EXPECT_EQ(oftab_pc_entry_find(kPc), nullptr);
  EXPECT_EQ(oftab_pc_entry_update_flowmask(kPc, 1, 1), 0);
  EXPECT_THAT(traced(103), testing::IsEmpty());
  sw.interfaces().create_pc(kPc);
  set_up({add({{.action = output({kPc})}}), erase({1})});
  EXPECT_EQ(oftab_init_pc_tree(), 0);
  EXPECT_NE(oftab_pc_tree, nullptr);
}

}  // namespace
}  // namespace test
