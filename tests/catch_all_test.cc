// SPDX-License-Identifier: Apache-2.0
// The catch-all entry at TCAM index 4095.
#include <functional>

#include "tests/support/rig.h"

namespace test {
namespace {

using host::asic::Record;
using host::asic::SdkError;

constexpr char kKey[] = "0000000000000000000000000000000000000000000000000000000000000000000000000000000000001000";
constexpr char kMask[] = "0040000000000000000000000000000000000000000000000000000000000000000000000000000000001000";

// The result with counter 1: its first three bytes, and the rest, which is 0.
std::string result(const std::string &start) {
  return start + std::string(42, '0');
}

std::string catch_all_result(Rig &rig) {
  return hex(rig.sw.asic().tcam().at(OFTAB_CATCH_ALL_INDEX).result);
}

TEST_F(SwitchTest, InitialisationInstallsADroppingCatchAll) {
  const Record &record = sw.asic().tcam().at(4095);
  EXPECT_EQ(hex(record.key), kKey);
  EXPECT_EQ(hex(record.mask), kMask);
  EXPECT_EQ(hex(record.result), result("034000"));
  EXPECT_THAT(sw.asic().counters().ids(), testing::ElementsAre(1));
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.tcam_index, 4095);
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.stats_id, 1);
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.result_kind, 1U);
}

TEST_F(BareSwitchTest, ValidCatchAllInTheTcamIsKept) {
  Record found;
  found.key[42] = 0x10;
  found.key[20] = 0xaa;
  found.result[4] = 0x02;  // multicast index 8192
  found.result[10] = 0xbb;
  sw.asic().tcam().put(4095, found);
  {
    const host::asic::NoTcamWrites no_writes(sw.asic().tcam());
    sw.boot();
  }
  EXPECT_THAT(sw.asic().counters().ids(), testing::IsEmpty());
  EXPECT_EQ(hex(oftab_hw_rsrc_g.catch_all_entry.hw.key), hex(found.key));
  EXPECT_EQ(hex(oftab_hw_rsrc_g.catch_all_entry.hw.result), hex(found.result));
  EXPECT_THAT(traced(104), testing::Contains("Unified catch all valid at 4095\n"));
  set_up({add({{.action = output({port(1)})}})});
  EXPECT_EQ(find_record(1)->mcst_idx, 8193U);
}

TEST_F(SwitchTest, LostCatchAllWithoutCounterIsNotWritten) {
  sw.asic().tcam().put(4095, {});
  sw.faults().fail("libsdk_l3_route_stats_create", 1, 77);
  EXPECT_EQ(oftab_install_catch_all_entry(0, nullptr, nullptr), -1);
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.stats_id, 65535);
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.tcam_index, 4095);
  EXPECT_FALSE(sw.asic().tcam().at(4095).valid());
  EXPECT_THAT(traced(102), testing::ElementsAre("\ncreating stats_id failed, sdkrc 77\n"));
  set_up({add({})});
  EXPECT_TRUE(sw.asic().tcam().at(4095).valid());
}

TEST_F(SwitchTest, UpdatesChangeNothingButTheAction) {
  const struct {
    Action action;
    int32_t status;
    const char *result;
    uint32_t kind;
  } steps[] = {
      {{}, 0, "030000", 0},
      {deny(), 0, "034000", 1},
      {controller(8), 0, "038004", 3},
      {controller(0), -3, "038004", 3},
      {controller(9), -3, "038004", 3},
      {output({port(1)}), 0, "038004", 3},
      {{.type = OFTAB_ACTION_REDIRECT}, 0, "038004", 3},
      {copied({}), 0, "038004", 0},  // an earlier copy to the CPU stays, and the flag is not looked at
  };
  for (const auto &step : steps) {
    SCOPED_TRACE(step.result);
    const Response response = submit(set_catch_all(step.action));
    EXPECT_EQ(response.status, step.status);
    EXPECT_THAT(response.entry_statuses(), testing::ElementsAre(step.status));
    EXPECT_EQ(response.entries[0].seq_no, 4711U);
    EXPECT_EQ(response.entries[0].context, 0xc0de0000U + 4711);
    EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.result_kind, step.kind);
    EXPECT_EQ(catch_all_result(*this), result(step.result));
  }
  EXPECT_THAT(traced(104), testing::Contains("oftab_install_catch_all_entry() Enter update_result = 1 \n"));
  EXPECT_EQ(sw.asic().counters().ids().size(), 1U);
  EXPECT_EQ(oftab_hw_rsrc_g.shadow_table->tcam_entry, nullptr);
}

TEST_F(SwitchTest, RefusedUpdateIsReported) {
  sw.faults().fail("qtr_custom_cache_unified_entry_set", 1, 77);
  const Response response = submit(set_catch_all({}));
  EXPECT_EQ(response.status, -1);
  EXPECT_THAT(response.entry_statuses(), testing::ElementsAre(-1));
  EXPECT_THAT(traced(102), testing::ElementsAre("Installing unified catch all entry at 4095 failed\n"));
  excused = {{host::State::RefusedWrite, 4095}};
  EXPECT_EQ(catch_all_result(*this), result("034000"));
}

TEST_F(BareSwitchTest, NothingIsInstalledBeforeInitialisationOrWithoutRequest) {
  EXPECT_EQ(oftab_install_catch_all_entry(0, nullptr, nullptr), -1);
  EXPECT_EQ(sw.faults().sdk_calls(), 0U);
  sw.boot();
  const host::asic::NoTcamWrites no_writes(sw.asic().tcam());
  EXPECT_EQ(oftab_install_catch_all_entry(1, nullptr, nullptr), -3);
}

// What puts the catch-all's counter at risk. Whatever it is, no flow shares it.
struct CounterCase {
  const char *name;
  std::function<void(Rig &)> endanger;
  size_t counters = 1;           // that exist afterwards, beside a flow's
  std::set<uint16_t> written{};  // directly
};

class CatchAllCounter : public SwitchTest, public testing::WithParamInterface<CounterCase> {};

TEST_P(CatchAllCounter, IsLiveAndNobodyElses) {
  const CounterCase &row = GetParam();
  row.endanger(*this);
  for (const uint16_t index : row.written) {
    exceptions.written[index] = sw.asic().tcam().at(index);
    excused.emplace(host::State::Written, index);
  }
  expect_sound();
  Flow arp{.seq_no = 9, .priority = 5, .value = {.ethertype = 0x806}, .mask = {.ethertype = 0xffff}, .action = deny()};
  set_up({add({arp})});
  expect_sound();
  host::asic::PacketHeader arp_packet;
  arp_packet.ethertype = 0x806;
  sw.inject(port(1), packet_of(53));
  sw.inject(port(1), packet_of(53));
  EXPECT_EQ(sw.inject(port(1), arp_packet).tcam_index, 2000);
  sw.advance(10);
  EXPECT_EQ(find_record(9)->pkt_cnt, 1U);
  EXPECT_EQ(sw.asic().counters().ids().size(), row.counters + 1);
}

void rebuild_with_refusals(Rig &rig) {
  rig.sw.faults().fail("qtr_custom_cache_unified_entry_get", 1, 77);
  rig.sw.faults().fail("qtr_custom_cache_unified_entry_set", 1, 77);
  EXPECT_EQ(oftab_install_catch_all_entry(0, nullptr, nullptr), -1);
  rig.excused = {{host::State::RefusedWrite, 4095}};
}

const CounterCase kCounterCases[] = {
    {"WriterElsewhere",
     [](Rig &rig) {
       oftab_install_catch_all(0, 3);
       oftab_clear_catch_all(0, 3);
       rig.set_up({set_catch_all({})});
     },
     2},
    {"RefusedRebuild", rebuild_with_refusals, 1},
    {"WriterWithoutCounter", [](Rig &) { oftab_install_global_entry(4095, 4095); }, 1, {4095}},
    {"ClearedAndInstalledAgain",
     [](Rig &rig) {
       oftab_clear_catch_all(4095, 4095);
       rig.set_up({erase({})});
     }},
    {"SecondWriterBesideTheFirst",
     [](Rig &) {
       oftab_install_catch_all(3000, 3001);
       oftab_install_catch_all(3010, 3011);
     },
     3,
     {3000, 3001, 3010, 3011}},
};

INSTANTIATE_TEST_SUITE_P(Dangers, CatchAllCounter, testing::ValuesIn(kCounterCases), case_name);

// A counter goes back when something else has been written over the last record that names it.
TEST_F(SwitchTest, CountersOfTheWritersGoBackWithTheirRecords) {
  const auto ids = [&] { return sw.asic().counters().ids(); };
  oftab_install_catch_all(1, 1);
  oftab_clear_catch_all(1, 1);
  sw.faults().fail("libsdk_l3_route_stats_create", 1, 77);
  EXPECT_EQ(oftab_install_catch_all(1, 1), -1);
  EXPECT_THAT(ids(), testing::ElementsAre(1));  // the one that the record at 4095 names
  oftab_install_catch_all(0, 3);
  oftab_install_catch_all(10, 11);
  EXPECT_THAT(ids(), testing::ElementsAre(1, 2, 3));
  oftab_clear_catch_all(0, 2);
  EXPECT_THAT(ids(), testing::ElementsAre(1, 2, 3));
  oftab_install_global_entry(3, 3);
  EXPECT_THAT(ids(), testing::ElementsAre(1, 3));
  oftab_clear_catch_all(0, 11);
  oftab_clear_catch_all(4095, 4095);
  set_up({erase({})});
  EXPECT_EQ(ids().size(), 1U);
}

TEST_F(SwitchTest, ScenarioOverTheCatchAllTakesItsCounterAlong) {
  EXPECT_EQ(oftab_debug_test(1), 0);
  set_up({add({numbered_flow(1, 5)})});
  sw.inject(port(1), packet_of(1));
  sw.advance(10);
  EXPECT_EQ(find_record(1)->pkt_cnt, 1U);
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.pkt_cnt, 0U);
  oftab_clear_catch_all(0, 4095);
  set_up({erase({1})});
  sw.asic().trees().destroy(1000);  // the scenario's own
  EXPECT_EQ(sw.asic().counters().ids().size(), 1U);
}

TEST_F(SwitchTest, CatchAllPriorityBesideAnotherFlowIsAnOrdinaryFlow) {
  set_up({add({numbered_flow(1, OFTAB_CATCH_ALL_PRIORITY, deny()), numbered_flow(2, 5)})});
  EXPECT_THAT(sw.asic().tcam().valid_indices(), testing::ElementsAre(2000, 2001, 4095));
}

}  // namespace
}  // namespace test
