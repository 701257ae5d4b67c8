// SPDX-License-Identifier: Apache-2.0
// What each action writes into the result, and the multicast indices and trees behind outputs.
#include "host/services/bitset.h"
#include "tests/support/rig.h"

namespace test {
namespace {

struct Case {
  const char *name;
  Action action;
  int32_t status;
  const char *result;  // the first five bytes with counter 2, the others are 0; empty where the flow is refused
  uint32_t kind;
};

const Case kCases[] = {
    {"Permit", {}, 0, "0500000000", 0},
    {"Deny", deny(), 0, "0540000000", 1},
    {"Outport", output({port(3)}), 0, "0500000002", 2},
    {"OutportToNobody", output({}), 0, "0500000002", 2},
    {"Redirect", {.type = 3, .outputs = {port(3)}}, -11, "", 0},
    {"Controller1", controller(1), 0, "0580050000", 3},
    {"Controller8", controller(8), 0, "0580050000", 3},
    {"Controller0", controller(0), -3, "", 0},
    {"Controller9", controller(9), -3, "", 0},
    {"UnknownAction", {.type = 5}, -11, "", 0},
    {"PermitAndCopy", copied({}), 0, "0580040000", 3},
    {"DenyAndCopy", copied(deny()), 0, "0580050000", 3},
    {"OutportAndCopy", copied(output({port(3)})), 0, "0580040002", 3},
    {"ControllerAndCopy", copied(controller(), 8), 0, "0580040000", 3},
    {"CopyTo0", copied({}, 0), -3, "", 0},
    {"OutportAndCopyTo9", copied(output({port(3)}), 9), -3, "", 0},
    {"OtherFlags", {.flags = 0xef}, 0, "0500000000", 0},
};

class ActionOfAFlow : public SwitchTest, public testing::WithParamInterface<Case> {};

TEST_P(ActionOfAFlow, IsTranslated) {
  const Case &row = GetParam();
  const Response response = submit(add({{.action = row.action}}));
  EXPECT_EQ(response.status, row.status);
  EXPECT_THAT(response.entry_statuses(), testing::ElementsAre(row.status));
  EXPECT_EQ(traced(102).empty(), row.status == 0);
  const oftab_sw_entry_t *record = find_record(1);
  ASSERT_EQ(record != nullptr, row.status == 0);
  if (record != nullptr) {
    EXPECT_EQ(record->result_kind, row.kind);
    EXPECT_EQ(hex(sw.asic().tcam().at(2000).result), row.result + std::string(38, '0'));
  }
}

INSTANTIATE_TEST_SUITE_P(Table, ActionOfAFlow, testing::ValuesIn(kCases), case_name);

TEST_F(SwitchTest, OutputsBecomeTheTreesPorts) {
  sw.interfaces().create_pc(port_channel(1));
  sw.interfaces().join(port(9), port_channel(1));
  sw.interfaces().join(port(8), port_channel(1));
  sw.interfaces().set_asic_port(port(20), 254);
  sw.interfaces().set_asic_port(port(21), 255);
  sw.interfaces().set_asic_port(port(22), 30);
  set_up({add({{.action = output({port(0), port_channel(1), port(20), port(21), port(22)})}})});
  EXPECT_THAT(sw.asic().trees().ports(8192), testing::ElementsAre(0, 1, 9, 10, 31, 255));
  EXPECT_EQ(hex(find_record(1)->out_ports.port_bitmap),
            "c060000100000000000000000000000000000000000000000000000000000001");
  EXPECT_THAT(traced(104),
              testing::IsSupersetOf({"PC 16000001 mem if index = 1a009000 asic port:10 \n",
                                     " 1/5 ,ifindex:0x16000001 asic port:9 \n", "0 \n", "10 \n", "31 \n"}));
  EXPECT_THAT(traced(104), testing::Not(testing::Contains("255 \n")));
  set_up({add({numbered_flow(2, 9, output({0x12345678, port(3), port(5)}))})});  // the first is nobody's
  EXPECT_THAT(sw.asic().trees().ports(8193), testing::ElementsAre(4, 6));
  EXPECT_THAT(traced(104), testing::Contains(" 0/3 ,ifindex:0x12345678 asic port:0 \n"));
  EXPECT_EQ(traced(103).size(), 1U);
}

TEST_F(SwitchTest, IndicesRiseFromTheLastOneAndWrap) {
  uint32_t index = 0;
  EXPECT_EQ(g_oftab_mcst_idx_lower, 8192U);
  EXPECT_EQ(g_oftab_mcst_idx_upper, 12192U);
  for (uint32_t expected = 8192; expected < 8194; ++expected) {
    ASSERT_EQ(oftab_mcst_idx_alloc(&index), 1);
    EXPECT_EQ(index, expected);
  }
  EXPECT_EQ(oftab_mcst_idx_dealloc(8192), 1);
  for (uint32_t expected = 8194; expected < 12192; ++expected) {
    ASSERT_EQ(oftab_mcst_idx_alloc(&index), 1);
    ASSERT_EQ(index, expected);
  }
  ASSERT_EQ(oftab_mcst_idx_alloc(&index), 1);
  EXPECT_EQ(index, 8192U);
  sw.tracing().clear();
  EXPECT_EQ(oftab_mcst_idx_alloc(&index), 0);
  EXPECT_THAT(traced(102), testing::ElementsAre("oftab_mcst_idx_alloc: mcst idx exhausted for openflow \n"));
  for (index = 8192; index < 12192; ++index) {
    ASSERT_EQ(oftab_mcst_idx_dealloc(index), 1);
  }
}

TEST_F(SwitchTest, RefusedIndicesComeLastAndNamedOnesNever) {
  set_up({add({numbered_flow(1, 30), numbered_flow(2, 20)})});
  uint32_t index = 0;
  for (uint32_t i = 1; i < OFTAB_MCST_IDX_COUNT; ++i) {
    ASSERT_EQ(oftab_mcst_idx_alloc(&index), 1);
  }
  const Bytes request = add({numbered_flow(3, 10, output({port(1)}))});
  sw.faults().fail("libsdk_mcst_tree_create", 1, 77);
  EXPECT_EQ(submit(request).status, -10);
  EXPECT_EQ(oftab_mcst_idx_dealloc(8192), 1);
  set_up({request});
  EXPECT_EQ(find_record(3)->mcst_idx, 8192U);
  set_up({erase({3})});
  ASSERT_EQ(oftab_mcst_idx_alloc(&index), 1);
  set_up({request});
  EXPECT_EQ(find_record(3)->mcst_idx, 12191U);
  sw.faults().fail("libsdk_mcst_tree_destroy", 1, 77);
  set_up({erase({3})});
  EXPECT_EQ(submit(request).status, -10);  // its tree is there already
  EXPECT_EQ(libsdk_mcst_tree_destroy(0, 0, 12191), 0);
  const Flow outward = numbered_flow(1, 30, output({port(1)}));
  const Response response = submit(modify({outward, numbered_flow(1, 30), numbered_flow(2, 20, outward.action)}));
  EXPECT_THAT(response.entry_statuses(), testing::ElementsAre(0, 0, -10));
  EXPECT_THAT(traced(102), testing::Contains("Failed to allocate mcst idx!"));
  set_up({modify({numbered_flow(2, 20)})});
  for (index = 8192; index < 12191; ++index) {
    ASSERT_EQ(oftab_mcst_idx_dealloc(index), 1);
  }
}

TEST_F(SwitchTest, FlowsIndexIsNotReleasedByNumber) {
  EXPECT_EQ(oftab_mcst_idx_dealloc(8192), 0);
  EXPECT_THAT(traced(102), testing::ElementsAre("g_oftab_mcast_idx_bmp is not created yet"));
  set_up({add({numbered_flow(1, 9), numbered_flow(2, 8, output({port(1)}))}), erase({1})});
  for (const uint32_t index : {0U, 8191U, 8192U, 12192U, 0xffffffffU}) {
    EXPECT_EQ(oftab_mcst_idx_dealloc(index), 0);
  }
  EXPECT_THAT(host::services::set_bits(g_oftab_mcast_idx_bmp), testing::ElementsAre(0));

  // What a direct call converts is the caller's, whatever fails.
  const Bytes request = add({{.action = output({port(1)})}});
  oftab_sw_entry_t entry{};
  EXPECT_EQ(oftab_convert_vmr_to_hw_vmr(&entry, reinterpret_cast<const oftab_flow_t *>(&request[8])), 0);
  sw.faults().fail("qtr_custom_cache_unified_entry_set", 1, 77);
  EXPECT_EQ(submit(add({numbered_flow(3, 7)})).status, -8);
  set_up({erase({})});
  EXPECT_EQ(libsdk_mcst_tree_destroy(0, 0, 8193), 0);
  libsdk_l3_route_stats_destroy(0, entry.stats_id);
  EXPECT_EQ(oftab_mcst_idx_dealloc(8193), 1);
}

}  // namespace
}  // namespace test
