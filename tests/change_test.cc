// SPDX-License-Identifier: Apache-2.0
// Deletion, modification and compaction: their SDK calls, answers and texts.
#include <algorithm>

#include "tests/support/allocations.h"
#include "tests/support/rig.h"

namespace test {
namespace {

using testing::ElementsAre;

class ChangeTest : public SwitchTest {
 protected:
  // Flows 1 to 5 at 2000 to 2004; the third has outputs.
  ChangeTest() {
    set_up({add({numbered_flow(1, 50), numbered_flow(2, 40, deny()), numbered_flow(3, 30, output({port(1)})),
                 numbered_flow(4, 20), numbered_flow(5, 10)})});
    sw.tracing().clear();
    sw.call_log().set_on(true);
  }

  // Makes the call log that of a request behind its look at the catch-all.
  std::vector<std::string> calls(const Bytes &request, int32_t status) {
    sw.call_log().clear();
    EXPECT_EQ(submit(request).status, status);
    return {sw.call_log().lines().begin() + 1, sw.call_log().lines().end()};
  }

  std::string result_at(uint16_t index) { return hex(sw.asic().tcam().at(index).result).substr(0, 10); }
};

TEST_F(ChangeTest, DeletionReleasesAndErasesInOrder) {
  EXPECT_THAT(
      calls(erase({3, 1, 3, 77, 0}), 0),
      ElementsAre("libsdk_mcst_tree_destroy(0) = 0", "libsdk_l3_route_stats_destroy(2) = 0",
                  "qtr_custom_cache_unified_entry_set(2000, vld=0) = 0", "libsdk_mcst_tree_destroy(8192) = 0",
                  "libsdk_l3_route_stats_destroy(4) = 0", "qtr_custom_cache_unified_entry_set(2002, vld=0) = 0"));
  const oftab_tcam_tbl_t &table = *oftab_hw_rsrc_g.current_table;
  EXPECT_EQ(table.tcam_st_idx, 2000);
  EXPECT_EQ(table.entries_allocated, 5);
  EXPECT_EQ(table.free_entries, 4092);
  // All of the hole is 0 but the two bytes of its index, 2002.
  const auto *const hole = reinterpret_cast<const uint8_t *>(&table.tcam_entry[2]);
  EXPECT_EQ(table.tcam_entry[2].tcam_index, 2002);
  EXPECT_EQ(std::ranges::count(hole, hole + sizeof table.tcam_entry[2], 0), 294);
  EXPECT_THAT(traced(103), testing::IsEmpty());
  set_up({add({numbered_flow(6, 5, output({port(1)}))})});
  EXPECT_EQ(find_record(6)->mcst_idx, 8192U);
}

// The numbers 1, 6766 and 17712 share a bucket of the index.
TEST_F(ChangeTest, DeletionTellsFlowsOfOneBucketApart) {
  set_up({add({numbered_flow(6766, 60)}), erase({17712}), erase({1})});
  EXPECT_NE(find_record(6766), nullptr);
  EXPECT_EQ(find_record(1), nullptr);
}

TEST_F(ChangeTest, ModificationReplacesTheActionInPlace) {
  EXPECT_THAT(calls(modify({{.seq_no = 3, .action = deny()}, {.seq_no = 1, .action = output({port(4)})}}), 0),
              ElementsAre("libsdk_mcst_tree_destroy(8192) = 0", "libsdk_mcst_tree_destroy(0) = 0",
                          "libsdk_mcst_tree_create(8193) = 0", "libsdk_mcst_tree_group_add(8193, ports 5) = 0",
                          "qtr_custom_cache_unified_entry_set(2000, vld=1) = 0",
                          "qtr_custom_cache_unified_entry_set(2002, vld=1) = 0"));
  EXPECT_EQ(result_at(2000), "0500100002");  // index 8193
  EXPECT_EQ(result_at(2002), "0940000002");  // denied, and still naming the index that was released
}

TEST_F(ChangeTest, CompactionTellsOfAHeaderThatClaimsTooManyHoles) {
  set_up({erase({2})});
  ++oftab_hw_rsrc_g.current_table->free_entries;
  EXPECT_EQ(oftab_defragment_entries(), 0);
  EXPECT_THAT(traced(103), ElementsAre("Something is wrong. More entries to free:1 (2-1) \n"));
  set_up({purge()});
}

TEST_F(ChangeTest, NothingIsSearchedInAnEmptyTable) {
  set_up({purge()});
  sw.tracing().clear();
  EXPECT_EQ(submit(modify({{.seq_no = 1}})).status, -3);
  EXPECT_THAT(traced(104), testing::Not(testing::Contains("oftab_modify_entries_top_down() in for_loop. \n")));
}

// A flow may have its own index again, but not one that another's record names.
TEST_F(ChangeTest, IndexGoesOnOnlyToItsOwnFlow) {
  EXPECT_THAT(calls(modify({{.seq_no = 3, .action = output({port(4)})}}), 0),
              ElementsAre("libsdk_mcst_tree_destroy(8192) = 0", "libsdk_mcst_tree_create(8192) = 0",
                          "libsdk_mcst_tree_group_add(8192, ports 5) = 0",
                          "qtr_custom_cache_unified_entry_set(2002, vld=1) = 0"));
  set_up({modify({{.seq_no = 3}}), modify({{.seq_no = 2, .action = output({port(4)})}})});
  EXPECT_EQ(find_record(2)->mcst_idx, 8193U);
}

TEST_F(ChangeTest, ForeignRecordDoesNotReleaseAFlowsTree) {
  oftab_sw_entry_t foreign{};
  foreign.stats_id = 4000;
  foreign.mcst_idx = 8192;
  EXPECT_EQ(oftab_restore_result_action_defaults(&foreign), 0);
  EXPECT_THAT(sw.asic().trees().ports(8192), ElementsAre(2));
}

TEST_F(ChangeTest, CompactionPacksFromTheFirstFlowOn) {
  EXPECT_EQ(oftab_defragment_entries(), 0);
  EXPECT_THAT(traced(104), testing::Contains("TCAM Table Not Fragmented \n"));
  set_up({erase({1, 3, 4})});
  sw.call_log().clear();
  EXPECT_EQ(oftab_defragment_entries(), 0);
  EXPECT_THAT(sw.call_log().lines(), ElementsAre("qtr_custom_cache_unified_entry_set(2001, vld=1) = 0",
                                                 "qtr_custom_cache_unified_entry_set(2002, vld=1) = 0",
                                                 "qtr_custom_cache_unified_entry_set(2004, vld=0) = 0"));
  EXPECT_THAT(traced(104), testing::IsSupersetOf({"Unused entry:2000 (0/3) found\n", "Unused entry:2002 (1/3) found\n",
                                                  "Unused entry:2003 (2/3) found\n"}));
  EXPECT_EQ(oftab_hw_rsrc_g.current_table->tcam_st_idx, 2001);
  EXPECT_EQ(oftab_hw_rsrc_g.current_table->entries_allocated, 2);
}

TEST_F(ChangeTest, CompactionWithoutMemoryChangesNothing) {
  set_up({erase({2})});
  const State before = state();
  fail_allocations_of(4 * sizeof(oftab_sw_entry_t));
  EXPECT_EQ(oftab_defragment_entries(), -3);
  let_allocations_pass();
  EXPECT_THAT(traced(102), ElementsAre("oftab_defragment_entries() Exit. Malloc failure \n"));
  EXPECT_TRUE(state() == before);
}

TEST_F(ChangeTest, CopyKeepsItsIndexAndItsUpperFlags) {
  oftab_sw_entry_t copy{};
  copy.tcam_index = 2002;
  copy.flags = 0xff;
  oftab_sw_entry_t original = *find_record(3);
  original.tcam_index = 7;
  original.flags = 0x0e;
  EXPECT_EQ(oftab_cp_and_pgm_entry(&copy, &original), 0);
  EXPECT_EQ(copy.tcam_index, 2002);
  EXPECT_EQ(copy.flags, 0xf0);
}

TEST_F(SwitchTest, DeletionStopsAtItsCount) {
  set_up({add({numbered_flow(1, 3), numbered_flow(2, 2), numbered_flow(3, 1)})});
  ASSERT_EQ(oftab_cp_current_to_shadow(0, 0), 0);
  oftab_sw_entry_t *const records = oftab_hw_rsrc_g.shadow_table->tcam_entry;
  for (const int index : {2000, 2001, 2002}) {
    records[index].flags |= OFTAB_ENTRY_DELETE_PENDING;
  }
  oftab_entry_update_resp_t response{0, 0, -1};
  EXPECT_EQ(oftab_delete_and_pgm_entries(2, 0, &response), 0);
  EXPECT_EQ(response.status, 0);
  EXPECT_THAT(sw.asic().tcam().valid_indices(), testing::ElementsAre(2002, 4095));
  records[2002].flags = OFTAB_ENTRY_USED;
  EXPECT_EQ(oftab_cp_shadow_to_current(1), 0);
}

TEST_F(SwitchTest, RefusedErasureBehindAFailedModificationIsTriedAgain) {
  set_up({add({numbered_flow(1, 100), numbered_flow(2, 99), numbered_flow(3, 98), numbered_flow(4, 97)})});
  EXPECT_EQ(submit(modify({numbered_flow(77, 0)})).status, -3);
  set_up({erase({2}), erase({3})});
  sw.faults().fail("qtr_custom_cache_unified_entry_set", 4, 77);  // two new flows, a moved one, the place it left
  set_up({add({numbered_flow(5, 200), numbered_flow(6, 199)})});
  set_up({erase({6})});
  EXPECT_THAT(sw.asic().tcam().valid_indices(), testing::ElementsAre(1998, 2000, 2001, 4095));
}

TEST_F(SwitchTest, ActionKeptForADeadFlowIsNotThatOfTheNextOwnerOfItsCounter) {
  set_up({add({numbered_flow(1, 100, deny())})});
  sw.faults().fail("libsdk_mcst_tree_create", 1, 77);
  EXPECT_THAT(submit(modify({numbered_flow(1, 100, output({port(1)}))})).entry_statuses(), testing::ElementsAre(-10));
  set_up({erase({1})});
  oftab_install_catch_all(1, 1);
  oftab_clear_catch_all(1, 1);
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.stats_id, 2);  // the dead flow's
  set_up({set_catch_all({})});
  EXPECT_EQ(hex(sw.asic().tcam().at(4095).result).substr(0, 6), "030000");
  sw.asic().tcam().put(4095, {});
  set_up({add({})});
}

}  // namespace
}  // namespace test
