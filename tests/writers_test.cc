// SPDX-License-Identifier: Apache-2.0
// The direct TCAM writers: which indices they write, what, and how they report; and the multicast scenario. The
// expected bytes are written out by hand.
#include <syslog.h>

#include <numeric>

#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {
namespace {

using host::asic::Record;
using host::asic::Verdict;

// What the writers write stands behind the tables' back: no audit.
class WriterTest : public testing::Test, public Rig {
 protected:
  WriterTest() {
    sw.boot();
    sw.call_log().set_on(true);
    sw.tracing().set_history(host::services::kAllLevels);
    sw.tracing().set_capacity(400000);
  }
  void TearDown() override { EXPECT_THAT(sw.violations().list(), testing::IsEmpty()); }

  std::vector<std::string> logged() {
    std::vector<std::string> texts;
    for (const host::services::SystemLogLine &line : sw.system_log().lines()) {
      EXPECT_EQ(line.priority, LOG_ALERT);
      texts.push_back(line.text);
    }
    return texts;
  }
};

struct Writer {
  const char *name;
  int32_t (*write)(uint32_t first, uint32_t last);
  char valid;            // of what it writes
  bool counter = false;  // creates one, and says so first
};

const Writer kWriters[] = {{"oftab_install_catch_all", oftab_install_catch_all, '1', true},
                           {"oftab_clear_catch_all", oftab_clear_catch_all, '0'},
                           {"oftab_install_global_entry", oftab_install_global_entry, '1'}};

struct RangeCase {
  uint32_t first, last;
  uint32_t begin, count;  // what is written
  std::vector<int> marks;
};

TEST_F(WriterTest, RangesAreClampedAndMarkedEvery400Indices) {
  const std::vector<int> all_marks{0, 400, 800, 1200, 1600, 2000, 2400, 2800, 3200, 3600, 4000};
  const RangeCase cases[] = {{10, 9, 0, 0, {}},         {4095, 4094, 0, 0, {}},     {7, 7, 7, 1, {}},
                             {399, 401, 399, 3, {400}}, {4095, 9999, 4095, 1, {}},  {4096, 400, 0, 401, {0, 400}},
                             {0, 0, 0, 1, {0}},         {0xffffffff, 1, 0, 2, {0}}, {5000, 7000, 0, 4096, all_marks}};
  for (const Writer &writer : kWriters) {
    for (const RangeCase &row : cases) {
      sw.call_log().clear();
      sw.system_log().clear();
      const uint64_t start = sw.clock().now();
      EXPECT_EQ(writer.write(row.first, row.last), 0);
      std::vector<std::string> expected;
      for (uint32_t index = row.begin; index < row.begin + row.count; ++index) {
        expected.push_back("qtr_custom_cache_unified_entry_set(" + std::to_string(index) + ", vld=" + writer.valid +
                           ") = 0");
      }
      std::vector<std::string> writes = sw.call_log().lines();
      std::erase_if(writes, [](const std::string &call) { return !call.starts_with("qtr_"); });
      EXPECT_EQ(writes, expected) << writer.name << " " << row.first << " to " << row.last;
      std::vector<std::string> marks;
      for (const int index : row.marks) {
        marks.push_back("installing unified catch all entry at :" + std::to_string(index) + " success\n");
      }
      std::vector<std::string> log = logged();
      log.erase(log.begin(), log.begin() + (writer.counter ? 1 : 0));
      EXPECT_EQ(log, marks) << writer.name << " " << row.first << " to " << row.last;
      EXPECT_EQ(sw.clock().now() - start, row.marks.size());
    }
  }
}

TEST_F(WriterTest, FailedWriteIsReportedAndSkipped) {
  for (const Writer &writer : kWriters) {
    sw.system_log().clear();
    sw.call_log().clear();
    sw.tracing().clear();
    sw.faults().fail("qtr_custom_cache_unified_entry_set", 2, 9);
    EXPECT_EQ(writer.write(399, 401), -1);
    std::vector<std::string> log = logged();
    log.erase(log.begin(), log.begin() + (writer.counter ? 1 : 0));
    EXPECT_THAT(log, testing::ElementsAre("installing unified catch all entry at :400 failed\n",
                                          "installing unified catch all entry at :400 success\n"));
    EXPECT_EQ(sw.call_log().lines().back(),
              "qtr_custom_cache_unified_entry_set(401, vld=" + std::string(1, writer.valid) + ") = 0");
    EXPECT_EQ(traced(104).back(), std::string(writer.name) + "() Exit. Status:-1 \n");
  }
}

constexpr char kValidOnly[] =
    "00000000000000000000000000000000 00000000000000000000000000000000 000000000000000000001000";
constexpr char kValidIpOnly[] =
    "03000000000000000000000000000000 00000000000000000000000000000000 000000000000000000001000";

void expect_record(const Record &record, std::string_view key_digits, std::string_view mask_digits,
                   std::string_view result_digits) {
  EXPECT_EQ(hex(record.key), hex(unhex(key_digits)));
  EXPECT_EQ(hex(record.mask), hex(unhex(mask_digits)));
  EXPECT_EQ(hex(record.result), hex(unhex(result_digits)));
}

TEST_F(WriterTest, CatchAllDeniesEveryFormatAtEvenIndicesAndIpAtOddOnes) {
  EXPECT_THAT((std::array{global_stats_id, special_low, special_high, special_debug}),
              testing::ElementsAre(1, 0, 4095, 0));
  constexpr char kDenied[] = "0540 00000000000000000000000000000000000000000000";  // counter 2
  oftab_hw_rsrc_g.catch_all_entry.pkt_cnt = 99;
  EXPECT_EQ(oftab_install_catch_all(1, 2), 0);
  expect_record(sw.asic().tcam().at(1), kValidOnly, kValidIpOnly, kDenied);
  expect_record(sw.asic().tcam().at(2), kValidOnly, kValidOnly, kDenied);
  EXPECT_EQ(logged().front(), "stats_id 2 allocated\n");
  EXPECT_THAT(traced(104), testing::IsSupersetOf({"oftab_install_catch_all() Enter. \n", "stats_id 2 allocated\n",
                                                  "oftab_install_catch_all() Exit. Status:0 \n"}));
  const oftab_sw_entry_t &entry = oftab_hw_rsrc_g.catch_all_entry;
  EXPECT_EQ(hex(entry.hw.mask), hex(unhex(kValidOnly)));
  EXPECT_EQ(entry.result_kind, 1U);
  EXPECT_EQ(entry.stats_id, 2);
  EXPECT_EQ(entry.pkt_cnt, 0U);
  EXPECT_EQ(global_stats_id, 2U);
  const host::asic::Fate ip = sw.inject(port(1), {.ethertype = 0x0800, .vlan = {}, .length = 64});
  const host::asic::Fate arp = sw.inject(port(1), {.ethertype = 0x0806, .vlan = {}, .length = 64});
  EXPECT_EQ(ip.verdict, Verdict::Drop);
  EXPECT_EQ(ip.tcam_index, 1);
  EXPECT_EQ(arp.tcam_index, 2);
  EXPECT_EQ(sw.asic().counters().peek(2).packets, 2U);
}

TEST_F(WriterTest, CatchAllWithoutCounterWritesNothing) {
  sw.faults().fail("libsdk_l3_route_stats_create", 1, 12);
  sw.call_log().clear();
  EXPECT_EQ(oftab_install_catch_all(0, 4095), -1);
  EXPECT_THAT(traced(102), testing::ElementsAre("\ncreating stats_id failed, sdkrc 12\n"));
  EXPECT_THAT(logged(), testing::ElementsAre("\ncreating stats_id failed, sdkrc 12\n"));
  EXPECT_EQ(traced(104).back(), "oftab_install_catch_all() Exit. Status:-1 \n");
  EXPECT_EQ(sw.call_log().lines().size(), 1U);
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.stats_id, OFTAB_STATS_ID_NONE);
  EXPECT_EQ(hex(oftab_hw_rsrc_g.catch_all_entry.hw.key), std::string(88, '0'));
}

TEST_F(WriterTest, ClearingLeavesTheCatchAllRecordAlone) {
  set_up({add({{.seq_no = 1}, {.seq_no = 2}})});
  const oftab_sw_entry_t before = oftab_hw_rsrc_g.catch_all_entry;
  EXPECT_EQ(oftab_clear_catch_all(2001, 4095), 0);
  EXPECT_THAT(sw.asic().tcam().valid_indices(), testing::ElementsAre(2000));
  EXPECT_EQ(sw.asic().tcam().at(4095), Record{});
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.stats_id, before.stats_id);
  EXPECT_EQ(hex(oftab_hw_rsrc_g.catch_all_entry.hw.mask), hex(before.hw.mask));
}

TEST_F(WriterTest, GlobalEntryIsWrittenAsItStandsButForClassAndValidity) {
  std::ranges::fill(global_entry.hw.key, uint8_t{0xa7});
  std::ranges::fill(global_entry.hw.mask, uint8_t{0xcd});
  std::iota(std::begin(global_entry.hw.result), std::end(global_entry.hw.result), uint8_t{1});
  EXPECT_EQ(oftab_install_global_entry(1, 2), 0);
  const std::string a7 = hex(Bytes(41, 0xa7));
  const std::string cd = hex(Bytes(41, 0xcd));
  const char *const numbers = "0102030405060708090a0b0c0d0e0f101112131415161718";
  expect_record(sw.asic().tcam().at(1), "a4" + a7 + "b7a7", "cf" + cd + "ddcd", numbers);
  expect_record(sw.asic().tcam().at(2), "a4" + a7 + "b7a7", "cc" + cd + "ddcd", numbers);
}

constexpr char kScenarioMask[] =
    "0300000080ffffffffffffffffffffff 7f00000000e0ffffffffffffff1f0000 000000000000000000001000";
constexpr char kFirstKey[] =
    "00000000000000000000008403030000 00000000002020202020212121010000 000000000000000000001000";
constexpr char kLastKey[] =
    "0000000080ffff7f0000008403030000 00000000000020222020212121010000 000000000000000000001000";
constexpr char kCalled[] = "\noftab_debug_test() called. vlan:7 \n";
constexpr char kFirstRecordTraced[] =
    "key 0x00000000 0x00000000 0x84000000 0x00000303 0x00000000 0x20202000 0x21212020 0x00000121 0x00000000 0x00000000 "
    "0x00100000 mask 0x00000003 0xFFFFFF80 0xFFFFFFFF 0xFFFFFFFF 0x0000007F 0xFFFFE000 0xFFFFFFFF 0x00001FFF "
    "0x00000000 0x00000000 0x00100000 result 0x3E800005 0x00000000 0x00000000 0x00000000 0x00000000 0x00000000 ";

TEST_F(WriterTest, ScenarioReplicatesFrom4096SourcesAndIsTraced) {
  std::ranges::fill(mac_sa2, uint8_t{0xff});
  std::ranges::fill(mac_da2, uint8_t{0xff});
  std::ranges::fill(result, uint8_t{0xff});
  sw.tracing().clear();
  EXPECT_EQ(oftab_debug_test(7), 0);
  constexpr char kReplicated[] = "0500803e 0000000000000000000000000000000000000000";
  expect_record(sw.asic().tcam().at(0), kFirstKey, kScenarioMask, kReplicated);
  expect_record(sw.asic().tcam().at(4095), kLastKey, kScenarioMask, kReplicated);
  EXPECT_EQ(sw.asic().tcam().valid_indices().size(), 4096U);
  EXPECT_EQ(hex(mac_sa) + hex(mac_da), "000000ffffff00000000000607080000");
  EXPECT_EQ(hex(mac_sa2) + hex(mac_da2), std::string(32, '0'));
  EXPECT_EQ(ip_key, key);
  EXPECT_EQ(ip_mask, mask);
  EXPECT_EQ(mcst_ram, result);
  const host::asic::Fate fate = sw.inject(port(1), {.mac_sa = {0, 0, 0, 0x2c, 0x2c, 0x2c},
                                                    .mac_da = {0, 0, 0, 6, 7, 8},
                                                    .ethertype = 0x0800,
                                                    .vlan = {},
                                                    .ip_sa = 0x0101022d,
                                                    .ip_da = 0x09090909,
                                                    .length = 64});
  EXPECT_EQ(fate.tcam_index, 300);
  EXPECT_EQ(fate.verdict, Verdict::Replicate);
  EXPECT_THAT(fate.sdk_ports, testing::ElementsAre(14, 17));
  EXPECT_THAT(traced(102), testing::ElementsAre(kCalled));
  EXPECT_THAT(joined(traced(104)),
              testing::StartsWith("oftab_debug_test called. vlan=7 \nstats_id 2 allocated\n"
                                  "oif[0] = 436260864\n 0/2 ,ifindex:0x1a00d000 asic port:14 \n"
                                  "oif[1] = 436273152\n 1/2 ,ifindex:0x1a010000 asic port:17 \n"
                                  "oftab_debug_test:tree_create_batch success for ltl_index : 1000"
                                  "\ninstalling the entry 0 for ltl_index2 = 0x3e8 phy_ltl_index=0x0"
                                  "entry_type=0x1 l2_ltl_idx__011_000=0x3e8 l2_ltl_idx__013_012=0x0\n"
                                  "i=0 ltl_index:0x3e8 phy_ltl_index=0x0 \n" +
                                  std::string(kFirstRecordTraced)));
  EXPECT_EQ(traced(104).back(), "\n SUCCESS installing the entry 4095 for ltl_index = 1000");
}

TEST_F(WriterTest, ScenarioCanProgramThePreparedResult) {
  use_cache_result = 1;
  EXPECT_EQ(oftab_debug_test(7), 0);
  for (const uint16_t index : {uint16_t{0}, uint16_t{4095}}) {
    EXPECT_EQ(hex(sw.asic().tcam().at(index).result), "05006000fc7f000000100000000000000000000040000000");
  }
  std::vector<std::string> texts = traced(104);
  std::erase_if(texts,
                [](const std::string &text) { return !text.starts_with("result ") && !text.ends_with(" ... \n"); });
  texts.resize(9);
  const std::string prepared = " 0x00007FFC 0x00001000 0x00000000 0x00000000 0x00000040 ";
  // The next index starts from what the first one left.
  EXPECT_THAT(texts, testing::ElementsAre("Created result ... \n",
                                          "result 0x3E800005 0x00000000 0x00000000 0x00000000 0x00000000 0x00000000 ",
                                          "Copied result ... \n", "result 0x00600001" + prepared,
                                          "After changing stats id result ... \n", "result 0x00600005" + prepared,
                                          "result 0x00600005" + prepared, "Created result ... \n",
                                          "result 0x3E800005" + prepared));
}

TEST_F(WriterTest, ScenarioGoesOnWithoutAPortOrCounterAndAfterAFailedWrite) {
  sw.interfaces().set_asic_port(port(13), std::nullopt);
  sw.faults().fail("libsdk_l3_route_stats_create", 1, 12);
  sw.faults().fail("qtr_custom_cache_unified_entry_set", 3, 9);
  EXPECT_EQ(oftab_debug_test(7), 0);
  EXPECT_THAT(traced(102), testing::ElementsAre(kCalled, "\ncreating stats_id failed, sdkrc 12\n",
                                                "\nFAiled installing entry  2 for ltl_index = 1000, rc=9"));
  EXPECT_THAT(traced(103), testing::ElementsAre("oftab_debug_test: no port for ifindex 0x1a00d000 \n"));
  EXPECT_THAT(traced(104), testing::Contains(" 0/2 ,ifindex:0x1a00d000 asic port:0 \n"));
  EXPECT_THAT(sw.asic().trees().ports(1000), testing::ElementsAre(17));
  EXPECT_EQ(hex(sw.asic().tcam().at(3).result).substr(0, 8), "ff3f803e");
  EXPECT_FALSE(sw.asic().tcam().at(2).valid());
  EXPECT_EQ(sw.asic().tcam().valid_indices().size(), 4095U);
  EXPECT_EQ(std::ranges::count_if(traced(104), [](const std::string &text) { return text.starts_with("\n SUCCESS"); }),
            4095);
}

TEST_F(WriterTest, ScenarioEndsWhereItsOutputsCannotBeSetUp) {
  const struct {
    const char *call;
    uint64_t nth;
    const char *trace;
  } cases[] = {
      {"HDM_HDIM_FIND_LIF", 1, "OIF-2-LTL: Cannot get pi-lif for Idx:0x1a00d000\n"},
      {"HDM_HDIM_FIND_LIF", 2, "OIF-2-LTL: Cannot get pi-lif for Idx:0x1a010000\n"},
      {"libsdk_mcst_tree_create", 1, "oftab_debug_test:tree_create_batch failed for ltl_index : 1000"},
      {"libsdk_mcst_tree_group_add", 1, "oftab_debug_test: Error programming LTL for mcast_id = 1000 Error= 7 \n"},
  };
  for (const auto &row : cases) {
    sw.tracing().clear();
    sw.faults().reset();
    sw.faults().fail(row.call, row.nth, 7);
    EXPECT_EQ(oftab_debug_test(7), -1);
    EXPECT_THAT(traced(102), testing::ElementsAre(kCalled, row.trace));
    EXPECT_EQ(sw.faults().calls("qtr_custom_cache_unified_entry_set"), 0U);
    EXPECT_THAT(sw.asic().counters().ids(), testing::ElementsAre(1));  // the scenario's went back
  }
}

TEST_F(WriterTest, RecordPartsAreDumpedByName) {
  uint8_t bytes[TCAM_KEY_SIZE];
  std::iota(std::begin(bytes), std::end(bytes), uint8_t{0});
  // A value of its own in every field.
  const Bytes shown_result = unhex("6964fdf9 22ce01a8 ffefc309 000000c0 42061800 00000000");
  sw.tracing().clear();
  test_cache_unified_entry_dump("key", bytes);
  test_cache_unified_entry_dump("mask", bytes);
  test_cache_unified_entry_dump("result", shown_result.data());
  const std::string words =
      " 0x03020100 0x07060504 0x0B0A0908 0x0F0E0D0C 0x13121110 0x17161514 0x1B1A1918 0x1F1E1D1C 0x23222120 0x27262524 "
      "0x2B2A2928 ";
  EXPECT_EQ(joined(traced(104)),
            "key" + words + "mask" + words +
                "result 0xF9FD6469 0xA801CE22 0x09C3EFFF 0xC0000000 0x00180642 0x00000000 \nResult Begin....\n\n"
                "entry_type:1 \nadj_stats_ptr:4660 \ndrop:1 \ncp_to_cpu:0 \ncpu_code:5 \n"
                "l2_ltl_idx__011_000:3999 \nl2_ltl_idx__013_012:2 \nl3_mcst_grp_idx:5000 \ns_star_prio:0 \n"
                "sg_entry:1 \nmtu_idx:33 \nuse_fwd_from_cache_fwd:1 \nResult End....\n\n");
  sw.tracing().clear();
  test_cache_unified_entry_dump("Key", bytes);
  EXPECT_THAT(traced(104), testing::IsEmpty());
  EXPECT_THAT(traced(102), testing::ElementsAre("unknown entry type Key"));
}

}  // namespace
}  // namespace test
