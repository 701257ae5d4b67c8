// SPDX-License-Identifier: Apache-2.0
// Ports that join and leave port channels that flows output to.
#include "tests/support/rig.h"

namespace test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Membership : public PortChannelTest {
 protected:
  Membership() { sw.call_log().set_on(true); }

  void add_flow(uint32_t seq_no, std::vector<uint32_t> outputs) {
    set_up({add({numbered_flow(seq_no, 10000 - seq_no, output(std::move(outputs)))})});
    forget();
  }

  void forget() {
    sw.tracing().clear();
    sw.call_log().clear();
  }

  // The SDK ports that a flow's packet goes to, a blank before each.
  std::string ports(uint32_t seq_no) { return fate(seq_no).substr(2); }
};

TEST_F(Membership, EveryFlowOfThePortChannelFollows) {
  add_flow(1, {kPc, port(1)});
  add_flow(2, {port(2)});
  add_flow(3, {kPc});
  sw.interfaces().set_asic_port(port(20), 254);
  sw.interfaces().set_asic_port(port(21), 255);
  EXPECT_EQ(ports(1), " 2 10");
  const struct {
    std::function<void()> change;
    std::string flow_1;
    std::string flow_3;
  } steps[] = {
      {[&] { sw.join(port(7), kPc); }, " 2 8 10", " 8 10"},
      {[&] { sw.leave(port(9), kPc); }, " 2 8", " 8"},
      {[&] { oftab_port_channel_intf_update(port(9), kPc, 0); }, " 2 8", " 8"},
      {[&] { sw.leave(port(7), kPc); }, " 2", ""},
      {[&] { sw.join(port(20), kPc); }, " 2 255", " 255"},
      {[&] { oftab_port_channel_intf_update(port(21), kPc, 0x80000000); }, " 0 2 255", " 0 255"},
  };
  const host::asic::NoTcamWrites no_writes(sw.asic().tcam());
  for (const auto &step : steps) {
    SCOPED_TRACE(step.flow_1);
    forget();
    step.change();
    EXPECT_THAT(sw.call_log().lines(), ElementsAre("libsdk_mcst_tree_group_add(8192, ports" + step.flow_1 + ") = 0",
                                                   "libsdk_mcst_tree_group_add(8194, ports" + step.flow_3 + ") = 0"));
    EXPECT_EQ(ports(1), step.flow_1);
    EXPECT_EQ(ports(2), " 3");
    EXPECT_EQ(ports(3), step.flow_3);
  }
  EXPECT_EQ(hex(find_record(1)->out_ports.port_bitmap), "a0" + std::string(60, '0') + "01");
}

TEST_F(Membership, ChangeIsTracedStepByStep) {
  add_flow(33, {kPc});
  add_flow(34, {kPc});
  add_flow(35, {port(1)});
  set_up({erase({34})});
  forget();
  sw.join(port(7), kPc);
  EXPECT_THAT(details(), testing::MatchesRegex(
                             "intf 1a007000 PC 16000005 add 1\nOpenflow flag IS SET for ifindex=16000005\n"
                             "tcam_entry = 0x[0-9a-f]+ entries_allocated = 3\ntcam_st_idx = 2000 tcam_end_idx = 2002\n"
                             "undex 2000 used = 1\nflow_handle = 21 ltl_index = 2000\n"
                             "index 1 pc_entry_flow_handles = 2 new_flow_handles = 2\ncalling sdk api port 8\n"
                             "undex 2001 used = 0\nundex 2002 used = 1\nflow_handle = 23 ltl_index = 2002\n"
                             "index 1 pc_entry_flow_handles = 2 new_flow_handles = 8\n"));
}

TEST_F(Membership, OnlyEnabledPortChannelsAreFollowed) {
  add_flow(1, {kPc});
  sw.faults().fail("im_get_ifindex_openflow_state_list", 1, 77);
  sw.join(port(7), kPc);
  for (const int state : {0, 3, 255}) {
    EXPECT_EQ(details(),
              "intf 1a007000 PC 16000005 add 1\nOpenflow flag IS NOT SET for ifindex=16000005\n"
              "OF not enabled on 16000005\n");
    EXPECT_EQ(ports(1), " 10");
    forget();
    sw.interfaces().set_openflow_state(kPc, static_cast<uint8_t>(state));
    oftab_port_channel_intf_update(port(7), kPc, 1);
  }
  EXPECT_EQ(ports(1), " 10");
  sw.interfaces().set_openflow_state(kPc, 2);
  EXPECT_EQ(hdmpd_is_ifdb_openflow_enabled(kPc), 1U);
  oftab_port_channel_intf_update(port(7), kPc, 1);
  EXPECT_EQ(ports(1), " 8 10");
}

TEST_F(Membership, PortChannelWithoutFlowsIsLeftToLaterFlows) {
  add_flow(1, {port(1)});
  sw.join(port(7), kPc);
  EXPECT_EQ(traced(104).back(), "Error: No pc_entry\n");
  add_flow(2, {kPc});
  EXPECT_EQ(ports(1) + ports(2), " 2 8 10");
  exceptions.purged = host::flow_bits();
  set_up({purge()});
  sw.leave(port(7), kPc);
  EXPECT_EQ(traced(104).back(), "tcam_entry = (nil) entries_allocated = 0\n");
  set_up({erase({1})});  // leaves an array without a record
  sw.join(port(7), kPc);
  EXPECT_THAT(traced(104).back(), testing::EndsWith(" entries_allocated = 0\n"));
}

TEST_F(Membership, RefusedTreeDoesNotStopTheOthersAndCatchesUp) {
  add_flow(1, {kPc});
  add_flow(2, {kPc});
  sw.faults().fail("libsdk_mcst_tree_group_add", 1, 77);
  sw.join(port(7), kPc);
  EXPECT_THAT(traced(102), ElementsAre("oftab_port_channel_intf_update: Error programming LTL for mcast_id = 8192 "
                                       "Error= 77 \n"));
  EXPECT_EQ(ports(1) + ports(2), " 10 8 10");
  EXPECT_EQ(hex(find_record(1)->out_ports.port_bitmap).substr(0, 4), "00a0");
  sw.join(port(1), kPc);
  EXPECT_EQ(ports(1), " 2 8 10");
}

TEST_F(Membership, MemberWithoutPortIsSkipped) {
  add_flow(1, {kPc});
  sw.interfaces().set_asic_port(port(7), std::nullopt);
  sw.join(port(7), kPc);
  oftab_port_channel_intf_update(0x12345678, kPc, 1);
  EXPECT_EQ(traced(103).size(), 2U);
  EXPECT_THAT(sw.call_log().lines(), IsEmpty());
  EXPECT_EQ(ports(1), " 10");
}

TEST_F(Membership, OnlyWhatIsRecordedIsFollowed) {
  for (const uint32_t seq_no : {1U, 4095U, 4096U, 4097U}) {
    add_flow(seq_no, {kPc});
  }
  std::vector<uint32_t> outputs;
  for (uint32_t number = 101; number <= 125; ++number) {
    sw.interfaces().create_pc(port_channel(number));
    sw.interfaces().join(port(number - 90), port_channel(number));
    outputs.push_back(port_channel(number));
  }
  set_up({add({numbered_flow(2, 9998, output(outputs))})});
  EXPECT_EQ(find_record(2)->num_pc, 24);
  EXPECT_EQ(oftab_pc_entry_find(port_channel(125)), nullptr);
  EXPECT_EQ(sw.asic().trees().ports(find_record(2)->mcst_idx).size(), 25U);
  EXPECT_EQ(traced(103).size(), 1U);
  sw.join(port(1), port_channel(124));
  sw.join(port(2), port_channel(125));
  sw.join(port(7), kPc);
  EXPECT_EQ(ports(1) + ports(4095), " 8 10 8 10");
  EXPECT_EQ(ports(4096) + ports(4097), " 10 10");
  EXPECT_THAT(traced(104), testing::Not(testing::Contains(testing::StartsWith("index 128 "))));
  EXPECT_THAT(ports(2), testing::StartsWith(" 2 12 "));
}

}  // namespace
}  // namespace test
