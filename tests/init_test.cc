// SPDX-License-Identifier: Apache-2.0
// Initialisation, its failures, and the start-up entry point.
#include <functional>
#include <iostream>

#include "tests/support/allocations.h"
#include "tests/support/rig.h"

namespace test {
namespace {

TEST_F(SwitchTest, FurtherStartsChangeNothing) {
  set_up({add({{}})});
  const State before = state();
  sw.faults().reset();
  EXPECT_EQ(oftab_init(), 0);
  for (const uint32_t command : {0U, 106U, 110U}) {
    EXPECT_EQ(oftab_main(command), 0U);
  }
  EXPECT_EQ(oftab_alloc_init_stats() | oftab_init_tcam_entries() | oftab_test_pgm_entry() |
                oftab_insert_entries_bottom_up() | oftab_validate_entries(),
            0);
  EXPECT_EQ(sw.faults().sdk_calls(), 0U);
  EXPECT_TRUE(state() == before);
}

TEST_F(BareSwitchTest, FailedInitialisationLeavesNothingBehindAndCanBeRepeated) {
  const std::function<void()> failures[] = {
      [] { fail_allocation(1); },
      [] { fail_allocation(2); },
      [this] { sw.faults().fail("libsdk_l3_route_stats_create", 1, 77); },
      [this] { sw.faults().fail("qtr_custom_cache_unified_entry_set", 1, 77); },
  };
  const int64_t blocks = allocated_blocks();
  for (const auto &fail : failures) {
    sw.tracing().clear();
    fail();
    EXPECT_EQ(oftab_init(), -1);
    EXPECT_EQ(oftab_hw_rsrc_g.initialized, 0U);
    EXPECT_EQ(oftab_hw_rsrc_g.current_table, nullptr);
    EXPECT_EQ(oftab_hw_rsrc_g.shadow_table, nullptr);
    EXPECT_THAT(sw.asic().counters().ids(), testing::IsEmpty());
    EXPECT_THAT(sw.asic().tcam().valid_indices(), testing::IsEmpty());
    EXPECT_EQ(allocated_blocks(), blocks);
    EXPECT_EQ(traced(104).back(), "oftab_init() Exit. Failure \n");
  }
  EXPECT_EQ(oftab_init(), 0);
  EXPECT_EQ(oftab_hw_rsrc_g.initialized, 1U);
  EXPECT_EQ(traced(104).back(), "oftab_init() Exit. Success \n");
  EXPECT_EQ(sw.faults().calls("avl_create"), 1U);
}

TEST_F(BareSwitchTest, StartUpAbortsWhenInitialisationFails) {
  sw.tracing().set_console(host::services::kErrors, [](std::string_view text) { std::cerr << text; });
  sw.faults().fail("qtr_custom_cache_unified_entry_set", 1, 77);
  EXPECT_DEATH(oftab_main(0), "oftab_main\\([0-9]+\\) oftab init failed");
}

}  // namespace
}  // namespace test
