// SPDX-License-Identifier: Apache-2.0
// What stays and what goes after a request that failed: flows judged by their packets, what stands in the TCAM, and
// what is given back.
#include <functional>

#include "tests/support/allocations.h"
#include "tests/support/rig.h"

namespace test {
namespace {

using host::services::Repeat;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kWrite[] = "qtr_custom_cache_unified_entry_set";
constexpr int32_t kCode = 77;

class Recovery : public PortChannelTest {
 protected:
  // Runs an operation whose `nth` write is refused, and all that follow it unless `repeat` says otherwise.
  void with_refused_writes(uint64_t nth, const std::function<void()> &operate, Repeat repeat = Repeat::FromThenOn) {
    sw.faults().fail(kWrite, nth, kCode, repeat);
    operate();
    sw.faults().disarm();
  }

  // The indices written since the log was last cleared, in order.
  std::vector<int> writes() {
    std::vector<int> indices;
    for (const std::string &call : sw.call_log().lines()) {
      if (call.starts_with(kWrite)) {
        indices.push_back(std::stoi(call.substr(sizeof kWrite)));
      }
    }
    return indices;
  }

  // Counters, trees and indices exist for the table's flows alone.
  void expect_no_leak(size_t trees) {
    EXPECT_EQ(sw.asic().counters().ids().size(), OFTAB_FLOW_CAPACITY - oftab_hw_rsrc_g.current_table->free_entries + 1);
    EXPECT_EQ(sw.asic().trees().indices().size(), trees);
    EXPECT_EQ(state().taken_indices.size(), trees);
  }
};

TEST_F(Recovery, FirstOfTwoRecordsForAFlowHolds) {
  set_up({add({numbered_flow(1, 50, deny()), numbered_flow(2, 40, deny())})});
  const Response response = submit(modify({{.seq_no = 1}, {.seq_no = 1, .action = controller(9)}, {.seq_no = 2}}));
  EXPECT_EQ(response.status, 0);
  EXPECT_THAT(response.entry_statuses(), ElementsAre(0, -3, 0));
  EXPECT_EQ(fate(1) + " " + fate(2), "forward forward");
}

TEST_F(Recovery, FlowsWithoutFanOutAreSkippedByMembershipChanges) {
  set_up({add({numbered_flow(1, 50, output({kPc})), numbered_flow(2, 40, deny()), numbered_flow(3, 30, output({kPc})),
               numbered_flow(4, 20, output({kPc}))})});
  sw.faults().fail("libsdk_mcst_tree_create", 1, kCode, Repeat::FromThenOn);
  const Response response = submit(modify({{.seq_no = 1, .action = output({kPc})},
                                           {.seq_no = 2, .action = output({kPc})},
                                           {.seq_no = 4, .action = controller(9)}}));
  sw.faults().disarm();
  EXPECT_THAT(response.entry_statuses(), ElementsAre(-10, -10, -3));
  EXPECT_THAT(traced(102), testing::Contains("oftab_modify_action:create failed for ltl_index : 8195"));
  sw.call_log().set_on(true);
  sw.join(port(7), kPc);
  EXPECT_THAT(sw.call_log().lines(), ElementsAre("libsdk_mcst_tree_group_add(8193, ports 8 10) = 0"));
  excused = {{host::State::FailedAction, 1}, {host::State::FailedAction, 2}, {host::State::FailedAction, 4}};
}

TEST_F(Recovery, FailedWriteLeavesTheTableAndStrandsTheOthers) {
  set_up({add({numbered_flow(1, 50)})});
  const State before = state();
  sw.tracing().clear();
  sw.faults().fail(kWrite, 2, kCode);
  const Response response =
      submit(add({numbered_flow(2, 9), numbered_flow(3, 8, output({port(1)})), numbered_flow(4, 7)}));
  EXPECT_EQ(response.status, -8);
  EXPECT_THAT(response.entry_statuses(), ElementsAre(0, 0, 0));
  EXPECT_THAT(traced(102), ElementsAre("\nFailed installing entry  2002. rc=77", "Programming entries failed \n"));
  EXPECT_EQ(state().table, before.table);
  EXPECT_THAT(sw.asic().tcam().valid_indices(), ElementsAre(2000, 2001, 2003, 4095));
  EXPECT_THAT(sw.asic().trees().indices(), IsEmpty());  // the failed one's was given back
  EXPECT_EQ(sw.asic().counters().ids().size(), 4U);     // the stranded ones keep theirs
  excused = {{host::State::Stranded, 2001}, {host::State::Stranded, 2003}};
  expect_sound();
  excused.clear();

  set_up({add({numbered_flow(5, 9), numbered_flow(6, 8), numbered_flow(7, 7)})});
  EXPECT_EQ(sw.asic().counters().ids().size(), 5U);
}

TEST_F(Recovery, StrandedEntryAtTheFirstIndexGoesLikeAnyOther) {
  std::vector<Flow> flows;
  for (uint32_t seq_no = 2; seq_no < 2000; ++seq_no) {
    flows.push_back(numbered_flow(seq_no, 9000 - seq_no));
  }
  set_up({add({numbered_flow(1, 10)}), add(flows)});  // at 2 to 2000
  with_refused_writes(2, [&] {
    EXPECT_EQ(submit(add({numbered_flow(3001, 9001, output({kPc})), numbered_flow(3002, 9000)})).status, -8);
  });
  EXPECT_EQ(fate(3001), "to 10");
  EXPECT_EQ(oftab_mcst_idx_dealloc(8192), 0);  // belongs to the stranded entry
  sw.tracing().clear();
  sw.faults().fail("libsdk_mcst_tree_destroy", 1, kCode);
  set_up({erase({})});
  EXPECT_EQ(fate(3001), "drop");
  EXPECT_THAT(traced(103), ElementsAre(testing::HasSubstr("tree of mcast_id = 8192 could not be destroyed")));
  EXPECT_THAT(state().taken_indices, IsEmpty());
  excused = {{host::State::RefusedRelease, 0}};

  // Nobody gets the multicast index that a record there names.
  set_up({add({numbered_flow(3001, 9001, output({kPc})), numbered_flow(3002, 9000)}), modify({{.seq_no = 3001}}),
          add({numbered_flow(3003, 1, output({kPc}))})});
  EXPECT_EQ(find_record(3003)->mcst_idx, 8194U);
}

// Programming stops at the `refused` writes; flows that it has overwritten are written again, none of them over the
// last copy of another.
struct RestoreCase {
  const char *name;
  std::function<void(Recovery &)> operate;
  std::vector<uint64_t> refused;
  std::vector<int> writes;
  std::vector<uint16_t> stranded;
};

class Restoration : public Recovery, public testing::WithParamInterface<RestoreCase> {};

TEST_P(Restoration, EveryFlowStandsAllTheTime) {
  const RestoreCase &row = GetParam();
  set_up({add({numbered_flow(1, 60, deny()), numbered_flow(2, 55, deny()), numbered_flow(3, 50, deny()),
               numbered_flow(4, 45, deny()), numbered_flow(5, 40, deny()), numbered_flow(6, 35, deny())}),
          erase({2}), set_catch_all({})});
  const State before = state();
  for (const uint64_t nth : row.refused) {
    sw.faults().fail(kWrite, nth, kCode);
  }
  sw.call_log().set_on(true);
  row.operate(*this);
  sw.faults().disarm();
  EXPECT_EQ(writes(), row.writes);
  EXPECT_TRUE(state().header == before.header && state().table == before.table);
  for (const uint32_t seq_no : {1U, 3U, 4U, 5U, 6U}) {
    EXPECT_EQ(fate(seq_no), "drop") << "flow " << seq_no;
  }
  for (const uint16_t index : row.stranded) {
    excused.emplace(host::State::Stranded, index);
  }
  if (row.refused.size() > 1) {
    excused.insert({{host::State::RefusedWrite, 4}, {host::State::RefusedWrite, 3}});
  }
  expect_sound();
  excused.clear();
  set_up({erase({})});
  EXPECT_TRUE(state() == before);
}

// A compaction whose move of an entry to this index is refused.
std::function<void(Recovery &)> compaction_up_to(int index) {
  return [=](Recovery &rig) {
    rig.sw.tracing().clear();
    EXPECT_EQ(oftab_defragment_entries(), -1);
    const std::string to = std::to_string(index);
    const std::string from = std::to_string(index + 1);
    EXPECT_THAT(rig.traced(102), testing::IsSupersetOf({"\nFailed programming the entry  " + to + ". rc=77",
                                                        "Entry movement from " + from + " to " + to + " failed \n"}));
  };
}

// Flow 1 stands at 2000, flows 3 to 6 at 2002 to 2005.
const RestoreCase kRestorations[] = {
    {"MovedUp", compaction_up_to(2004), {5}, {2000, 2001, 2002, 2003, 2004, 2003, 2002}, {2001}},
    {"MovedUpAndRefusedAgain", compaction_up_to(2004), {5, 6, 7}, {2000, 2001, 2002, 2003, 2004, 2003}, {2001}},
    {"FirstMove", compaction_up_to(2001), {2}, {2000, 2001}, {}},
    {"MovedDown",
     [](Recovery &rig) {
       EXPECT_EQ(rig.submit(add({numbered_flow(7, 58), numbered_flow(8, 57)})).status, -8);
     },
     {6},
     {2001, 2002, 2003, 2004, 2005, 2006, 2002, 2003, 2004, 2005},
     {2001}},
};

INSTANTIATE_TEST_SUITE_P(Table, Restoration, testing::ValuesIn(kRestorations), case_name);

Flow from_port(uint32_t seq_no, uint16_t priority, const Action &action) {
  Flow flow = numbered_flow(seq_no, priority, action);
  flow.value.ifindex = port(seq_no);
  flow.mask.ifindex = 0xffffffff;
  return flow;
}

// Behind the compaction, flow 4's last copy stands in flow 3's place, and flow 3's is a stray one.
TEST_F(Recovery, FlowFollowsOneThatLeavesItsPlaceForANewInterfaceId) {
  set_up({add({numbered_flow(1, 60, deny()), numbered_flow(2, 55, deny()), from_port(3, 50, deny()),
               from_port(4, 45, deny()), numbered_flow(5, 40, deny()), numbered_flow(6, 35, deny())}),
          erase({2})});
  sw.faults().fail(kWrite, 5, kCode);
  sw.faults().fail(kWrite, 6, kCode);
  EXPECT_EQ(oftab_defragment_entries(), -1);
  sw.faults().disarm();
  sw.call_log().set_on(true);
  sw.change_interface_id(port(3), 0x901);
  EXPECT_THAT(writes(), IsEmpty());  // flow 4 would be gone
  with_refused_writes(2, [&] { sw.change_interface_id(port(4), 0x900); });
  EXPECT_THAT(writes(), ElementsAre(2003, 2002));
  excused = {{host::State::Stranded, 2001}, {host::State::RefusedWrite, 3}};
  expect_sound();
  sw.call_log().clear();
  sw.change_interface_id(port(4), 0x902);
  EXPECT_THAT(writes(), ElementsAre(2003, 2002));
  excused = {{host::State::Stranded, 2001}};
  expect_sound();
  excused.clear();
  set_up({erase({})});
}

// A flow that names an index without a tree, and whose record the operator has overwritten, while an erasure is due.
TEST_F(Recovery, OverwrittenFlowIsWrittenForANewInterfaceIdAndKeepsTheIndexItNames) {
  set_up({add({from_port(1, 50, output({port(9)})), numbered_flow(2, 40)}), modify({{.seq_no = 1, .action = deny()}})});
  with_refused_writes(1, [&] { set_up({erase({2})}); });
  oftab_install_global_entry(2000, 2000);
  sw.call_log().set_on(true);
  sw.change_interface_id(port(1), 0x900);
  EXPECT_THAT(writes(), ElementsAre(2000));

  oftab_install_global_entry(2000, 2000);
  exceptions.written[2000] = sw.asic().tcam().at(2000);
  sw.faults().fail(kWrite, 1, kCode);
  set_up({add({numbered_flow(3, 5, output({port(9)}))})});
  EXPECT_EQ(find_record(3)->mcst_idx, 8193U);
  excused = {{host::State::Written, 1}};
}

TEST_F(Recovery, TreeThatCouldNotBePutBackIsCompletedByTheNextRequest) {
  for (const char *call : {"libsdk_mcst_tree_create", "libsdk_mcst_tree_group_add"}) {
    SCOPED_TRACE(call);
    set_up({purge(), add({numbered_flow(2, 40, output({port(1)}))})});
    const State before = state();
    sw.faults().fail(call, 1, kCode, Repeat::FromThenOn);
    EXPECT_EQ(submit(modify({{.seq_no = 2, .action = deny()}, {.seq_no = 99}})).status, -3);
    sw.faults().disarm();
    EXPECT_THAT(traced(102),
                testing::Contains("oftab_process_entry_update: tree of mcast_id = 8192 could not be put back \n"));
    EXPECT_EQ(fate(2), "to");
    excused = {{host::State::RefusedTree, 2}};
    expect_sound();
    excused.clear();
    sw.faults().reset();
    send(intf_request(OFTAB_INTF_DELETE, {port(1)}), OFTAB_MSG_INTF_UPDATE);
    EXPECT_EQ(sw.faults().calls(call), 0U);
    set_up({erase({})});
    EXPECT_EQ(fate(2), "to 2");
    EXPECT_TRUE(state() == before);
  }
}

// A record whose erasure is refused keeps its counter: no flow gets it until the record is gone.
TEST_F(Recovery, FlowsDoNotShareTheCounterOfARefusedErasure) {
  set_up({add({numbered_flow(1, 50), numbered_flow(2, 40, deny())})});
  with_refused_writes(1, [&] { set_up({erase({2})}); });
  sw.faults().fail(kWrite, 1, kCode);  // before the new flow is written
  sw.faults().fail(kWrite, 5, kCode);  // and after
  set_up({add({numbered_flow(3, 60), numbered_flow(4, 5, output({port(1)}))})});
  EXPECT_EQ(fate(2) + " " + fate(2) + " " + fate(3), "drop drop forward");
  sw.advance(10);
  EXPECT_EQ(find_record(3)->pkt_cnt, 1U);
  excused = {{host::State::Stranded, 2001}};
  expect_sound();
  excused.clear();
  set_up({set_catch_all({}), erase({})});
  EXPECT_EQ(fate(2), "forward");
  expect_no_leak(1);
}

TEST_F(Recovery, FailedTwinLeavesAFlowsPortChannelAlone) {
  constexpr uint32_t kOtherPc = port_channel(6);
  sw.interfaces().create_pc(kOtherPc);
  set_up({add({numbered_flow(1, 60), numbered_flow(2, 50, output({kPc}))}), erase({1})});
  EXPECT_EQ(oftab_defragment_entries(), 0);
  sw.faults().fail("libsdk_mcst_tree_create", 1, kCode);
  EXPECT_EQ(submit(add({numbered_flow(2, 9, output({kPc, kOtherPc}))})).status, -10);
  EXPECT_EQ(oftab_pc_entry_find(kOtherPc), nullptr);
  sw.join(port(7), kPc);
  EXPECT_EQ(fate(2), "to 8 10");
}

// Releases are tried once. The index goes to nobody while there are others.
TEST_F(Recovery, RefusedReleasesAreWarnedOf) {
  set_up({add({numbered_flow(1, 50, output({port(1)}))})});
  sw.tracing().clear();
  sw.faults().fail("libsdk_mcst_tree_destroy", 1, kCode);
  sw.faults().fail("libsdk_l3_route_stats_destroy", 1, kCode);
  set_up({erase({1})});
  EXPECT_THAT(traced(103), ElementsAre(testing::HasSubstr("77"), testing::HasSubstr("77")));
  EXPECT_EQ(sw.faults().calls("libsdk_mcst_tree_destroy"), 1U);
  EXPECT_EQ(sw.faults().calls("libsdk_l3_route_stats_destroy"), 1U);
  set_up({add({numbered_flow(2, 50, output({port(1)}))})});
  EXPECT_EQ(find_record(2)->mcst_idx, 8193U);
  excused = {{host::State::RefusedRelease, 0}};
}

TEST_F(Recovery, TreesThatStandAreLeftAlone) {
  set_up({add({numbered_flow(1, 50, output({port(1)}))}), erase({1}), add({numbered_flow(2, 50, output({port(1)}))})});
  sw.call_log().set_on(true);
  with_refused_writes(1, [&] { EXPECT_EQ(submit(add({numbered_flow(3, 9)})).status, -8); });
  EXPECT_THAT(sw.call_log().lines(), testing::Each(testing::Not(testing::StartsWith("libsdk_mcst_tree"))));
}

TEST_F(Recovery, DirectWriteOverAStrandedEntryIsLeftAlone) {
  set_up({add({numbered_flow(1, 50)})});
  with_refused_writes(
      2,
      [&] {
        submit(add({numbered_flow(2, 9), numbered_flow(3, 8), numbered_flow(4, 7)}));
      },
      Repeat::Once);
  EXPECT_THAT(sw.asic().tcam().valid_indices(), ElementsAre(2000, 2001, 2003, 4095));
  for (const uint16_t index : {uint16_t{2000}, uint16_t{2003}}) {  // a flow's, and a stranded one's
    oftab_install_global_entry(index, index);
    exceptions.written[index] = sw.asic().tcam().at(index);
  }
  set_up({add({numbered_flow(5, 9)}), erase({5})});
  EXPECT_TRUE(sw.asic().tcam().at(2000) == exceptions.written[2000]);
  oftab_defragment_entries();
  EXPECT_THAT(sw.asic().tcam().valid_indices(), ElementsAre(2000, 2003, 4095));
  expect_no_leak(0);
  excused = {{host::State::Written, 2003}};
}

TEST_F(Recovery, CommitWithoutMemoryLosesTheTableAlone) {
  set_up({add({numbered_flow(1, 50, output({kPc}))})});
  sw.tracing().clear();
  fail_allocations_of(3 * sizeof(oftab_sw_entry_t));
  const Response response = submit(add({numbered_flow(2, 9), numbered_flow(3, 8)}));
  let_allocations_pass();
  EXPECT_EQ(response.status, -3);
  EXPECT_THAT(traced(102),
              ElementsAre("oftab_cp_shadow_to_current() Exit. Malloc failure \n", "copy shadow to current failed \n"));
  EXPECT_EQ(oftab_hw_rsrc_g.current_table->tcam_entry, nullptr);
  EXPECT_EQ(fate(1) + ", " + fate(2), "to 10, forward");
  excused = {{host::State::LostTable, 0}};
  expect_sound();
  excused.clear();
  set_up({erase({1}), modify({}), purge(), add({numbered_flow(4, 9)})});
  expect_no_leak(0);
}

}  // namespace
}  // namespace test
