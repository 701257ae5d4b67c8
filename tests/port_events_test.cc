// SPDX-License-Identifier: Apache-2.0
// What ports report: OpenFlow mode, hardware LIF, hardware interface id.
#include "tests/support/rig.h"

namespace test {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;

TEST_F(SwitchTest, HardwareLifIsKeptInThePortsSlot) {
  const struct {
    uint32_t ifindex;
    uint32_t hw_lif;
  } events[] = {{0x1a002000, 0x12345}, {0x1602ffff, 0xffff}, {0x1a030000, 9}, {0xffffffff, 9}, {0x1a002000, 0x2a}};
  for (const auto &event : events) {
    sw.tracing().clear();
    oftab_set_hw_lif_for_l2_port(event.ifindex, event.hw_lif);
    EXPECT_EQ(traced(103).size(), event.hw_lif == 9 ? 1U : 0U);
  }
  uint16_t expected[48]{};
  expected[2] = 0x2a;
  expected[47] = 0xffff;
  EXPECT_THAT(oftab_hw_rsrc_g.port_hw_lif, testing::ElementsAreArray(expected));
  EXPECT_EQ(oftab_hw_rsrc_g.shadow_intf_count, 0);
  EXPECT_THAT(traced(104), ElementsAre("oftab_set_hw_lif_for_l2_port() called. ifindex=0x1a002000 hw_lif=0x2a \n",
                                       "hwlif(o):0x2345 hwlif(n):0x2a \n", "oftab_set_hw_lif_for_l2_port() exit. \n"));
}

TEST_F(SwitchTest, OpenFlowModeIsOnlyTraced) {
  EXPECT_EQ(oftab_l2_port_openflow_mode_changed(0x1a002000), 0);
  EXPECT_THAT(traced(104), ElementsAre("oftab_l2_port_openflow_mode_changed() Enter. ifindex=0x1a002000 \n",
                                       "oftab_l2_port_openflow_mode_changed() exit. \n"));
}

TEST_F(BareSwitchTest, EventsWithoutTableChangeNothing) {
  oftab_update_l2lif_for_ifindex(port(1), 9);
  oftab_port_channel_intf_update(port(1), port(2), 1);
  EXPECT_EQ(sw.faults().sdk_calls(), 0U);
  EXPECT_THAT(traced(104),
              IsSupersetOf({"Incomming ifindex is 0x1a001000 and intf_id is 0x9", "Error: No pc_entry\n"}));
}

// Flows 1, 2 and 4 on port 1, of which flow 4 holds interface id 9 and the others 5; flow 3, which has the id 5 too, is
// on port 2.
class InterfaceId : public SwitchTest {
 protected:
  InterfaceId() {
    sw.interfaces().set_intf_id(port(1), 5);
    sw.interfaces().set_intf_id(port(2), 5);
    set_up({add({on(port(1), 1), on(port(1), 2), on(port(2), 3)})});
    sw.interfaces().set_intf_id(port(1), 9);
    set_up({add({on(port(1), 4)})});
    sw.tracing().clear();
    sw.call_log().set_on(true);
  }

  static Flow on(uint32_t ifindex, uint32_t seq_no) {
    Flow flow = numbered_flow(seq_no, 100 - seq_no);
    flow.value.ifindex = ifindex;
    flow.mask.ifindex = 0xffffffff;
    return flow;
  }

  // The first 16-bit word of the key and of the mask in the TCAM.
  std::string words(uint16_t index) {
    const host::asic::Record &record = sw.asic().tcam().at(index);
    return hex(std::span(record.key).first(2)) + "/" + hex(std::span(record.mask).first(2));
  }

  // The index that a packet on port 1 matches.
  uint16_t matched(uint32_t seq_no) { return sw.inject(port(1), packet_of(seq_no)).tcam_index.value_or(0xffff); }
};

TEST_F(InterfaceId, ChangeRewritesTheFlowsThatHoldAnother) {
  EXPECT_EQ(matched(1), 4095);
  sw.change_interface_id(port(1), 9);
  EXPECT_THAT(sw.call_log().lines(), ElementsAre("qtr_custom_cache_unified_entry_set(2000, vld=1) = 0",
                                                 "qtr_custom_cache_unified_entry_set(2001, vld=1) = 0"));
  EXPECT_EQ(words(2000) + words(2002),
            "2400/ff7f"
            "1400/ff7f");
  EXPECT_THAT((std::vector{matched(1), matched(2), matched(3), matched(4)}), ElementsAre(2000, 2001, 4095, 2003));
  const std::vector<std::string> texts = traced(104);
  EXPECT_THAT(texts,
              IsSupersetOf({"Incomming ifindex is 0x1a001000 and intf_id is 0x9",
                            "Entry if index = 0x1a001000 and tcam idx 2000",
                            "Current entry l2lif is 5 and incomming int_id is 9",
                            "intf_id doesnot match, trigger reprogrammingof entry at index 0x436211712",
                            "Program entry with new intf_idx 9", "\nSUCCESS Programming the entry at index 2000 \n",
                            "oftab_program_entry() Exit. \n", "Entry if index = 0x1a002000 and tcam idx 2002"}));
  EXPECT_EQ(texts.back(), "Current entry l2lif is 9 and incomming int_id is 9");
}

TEST_F(InterfaceId, WideIdIsCutAndAlwaysWritten) {
  for (const uint32_t intf_id : {0x1fffU, 0x1fffU, 0xffff2009U, 0xffff2009U, 9U}) {
    oftab_update_l2lif_for_ifindex(port(1), intf_id);
    EXPECT_EQ(words(2000), intf_id == 0x1fff ? "fc7f/ff7f" : "2400/ff7f");
  }
  EXPECT_EQ(sw.call_log().lines().size(), 9U);  // three for each of the first, third and fourth
}

TEST_F(InterfaceId, RefusedWriteDoesNotStopTheOthers) {
  sw.faults().fail("qtr_custom_cache_unified_entry_set", 1, 77);
  sw.change_interface_id(port(1), 9);
  EXPECT_THAT(traced(102), ElementsAre("\nFailed Programming entry  2000. rc=77"));
  EXPECT_THAT((std::vector{matched(1), matched(2)}), ElementsAre(4095, 2001));
  set_up({modify({on(port(1), 1)})});  // writes the record, which has the new id, again
  EXPECT_EQ(matched(1), 2000);
}

}  // namespace
}  // namespace test
