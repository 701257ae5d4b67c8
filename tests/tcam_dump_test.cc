// SPDX-License-Identifier: Apache-2.0
// Hardware records as an operator sees them: from the hardware and from the table. Bits and texts are written by hand.
#include <syslog.h>

#include <bit>

#include "oftab/hw_entry.h"
#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {
namespace {

using host::asic::Record;

// A key with a value of its own in every field of the IPv4 layout, though its class says ARP; its mask; and a result
// of each layout. The bits between the fields are set, but for the one behind the last field.
constexpr char kKey[] = "f16a5e1d892aa2199108807af269e158d0ffffffff7f402040214000003802b7341250000320fcff7f64f8ff";
constexpr char kMask[] = "ffff87f77fffffffffff7f000080ffffffffffffff1fe0ffffffffffffff9ffffffff0ffffffffffffffefff";
constexpr char kForward[] = "6964fdf922ce01a8ffefc3f9ffffffdfc207f8ffffffffff";
constexpr char kRouted[] = "febf543874ef66de5515e8e655e440357fb82b86faffffff";

const std::string kRule = std::string(90, '-') + "\n";
const std::string kKeyLines =
    "vld:1, class:0x1/0x3, l2lif:0x1ABC/0x1FFF, fid:0xABC/0xF0F, vpn:0x123/0xFFE\n"
    "mac_sa:0x001122334455/0xFFFFFFFFFFFE, mac_da:0xA0B1C2D3E4F5/0xFFFFFF000000\n"
    "ip_sa:0x0A010203/0xFFFFFF00, ip_da:0xC0000201/0xFFFFFFFF\n"
    "proto:0x11/0xFF, dscp:0xB8/0xFC, iup:0x5/0x7\n"
    "src_port:0x1234/0xFFFF, dst_port:0x50/0xFFF0, ethertype:0x800/0xFFFF, bd:0x10C8/0x1FFF\n"
    "\nResult:\n";
const std::string kForwardLines =
    "entry_type:1, adj_stats_ptr:4660, drop:1, cp_to_cpu:0\n"
    "cpu_code:5, force_cache_miss:1, l2_ltl_idx:12191, l3_mcst_grp_idx:5000\n"
    "rpf_bd_2nd:4099, rpf_type:2, rpf_bd:8190, drop_rpf_fail:1\n"
    "s_star_prio:0, sg_entry:1, dvif:9999\n"
    "v4_same_if_check:2, v6_same_if_check:1, mtu_idx:33\n"
    "nat_ptr:1027, use_fwd_from_cache_fwd:1\n";
const std::string kRoutedLines =
    "entry_type:0, adj_stats_ptr:8191, drop:0, cp_to_cpu:1\n"
    "cpu_code:4, force_cache_miss:0, routed:1, l2mp_en:0, bd:4321\n"
    "mac_da:0x02AABBCCDDEE, router_ip:1\n"
    "def_route:0, l2mp_dvif:3, swid:43981, sswid:200\n"
    "if_map_ptr:129, uc_ftag:42, v4_same_if_check:1, mac_sa_idx:2\n"
    "mtu_idx:63, nat_if:0, nat_ptr:1500, use_fwd_from_cache_fwd:0\n"
    "lid:54321, nat_kill_ah:1\n";

Record record(std::string_view result_digits) {
  Record made;
  std::ranges::copy(unhex(kKey), made.key.begin());
  std::ranges::copy(unhex(kMask), made.mask.begin());
  std::ranges::copy(unhex(result_digits), made.result.begin());
  return made;
}

TEST_F(SwitchTest, HardwareRecordsOfBothLayoutsAreDisplayed) {
  sw.asic().tcam().put(4093, record(kForward));
  sw.asic().tcam().put(4094, record(kRouted));
  Screen screen;
  EXPECT_EQ(oftab_display_cache_tcam(screen.context(sw), 4093, 4094), 0);
  EXPECT_EQ(screen.text(), "Key Value/Mask for Index 4093\n" + kKeyLines + kForwardLines + kRule +
                               "Key Value/Mask for Index 4094\n" + kKeyLines + kRoutedLines + kRule);
  Screen callers;
  const auto hw = std::bit_cast<cache_unified_entry>(record(kForward));
  EXPECT_EQ(oftab_dump_tcam_entry(callers.context(sw), 7, hw.key, hw.mask, hw.result), 0);
  EXPECT_EQ(callers.text(), "Key Value/Mask for Index 7\n" + kKeyLines + kForwardLines + kRule);
  sw.faults().reset();
  Screen left{.height = 1};
  EXPECT_EQ(oftab_display_cache_tcam(left.context(sw), 4093, 4094), 0);
  EXPECT_EQ(left.text(), "Key Value/Mask for Index 4093\n");
  EXPECT_EQ(sw.faults().sdk_calls(), 1U);
  sw.tracing().clear();
  EXPECT_EQ(oftab_display_cache_tcam(nullptr, 4094, 4094), 0);
  EXPECT_EQ(joined(traced(104)), "Key Value/Mask for Index 4094\n" + kKeyLines + kRoutedLines + kRule);
  sw.asic().tcam().put(4093, {});
  sw.asic().tcam().put(4094, {});
}

// Also one that comes to hw_entry.h tomorrow.
TEST_F(SwitchTest, EachFieldOfARecordIsDisplayed) {
  using Entry = cache_unified_entry;
  const auto displayed = [&](const Entry &record) {
    Screen screen;
    oftab_dump_tcam_entry(screen.context(sw), 0, record.key, record.mask, record.result);
    return screen.text();
  };
  const auto expect_displayed = [&](const Entry &blank, auto part, std::span<const oftab::hw::field> fields) {
    for (const oftab::hw::field field : fields) {
      Entry filled = blank;
      oftab::hw::set(filled.*part, field, ~oftab::hw::get(blank.*part, field));
      EXPECT_NE(displayed(filled), displayed(blank)) << "the field at bit " << field.offset;
    }
  };
  const Entry routed{};
  Entry forward{};
  oftab::hw::set(forward.result, oftab::hw::forward_result::entry_type, 1);
  expect_displayed(routed, &Entry::key, oftab::hw::ip_key::all);
  expect_displayed(routed, &Entry::result, oftab::hw::routed_result::all);
  expect_displayed(forward, &Entry::result, oftab::hw::forward_result::all);
}

TEST_F(SwitchTest, RangeOfTheDisplayIsClamped) {
  const struct {
    uint32_t first, last;
    uint32_t begin, count;  // what is shown
  } cases[] = {{10, 9, 0, 0},   {4095, 4094, 0, 0},    {3, 3, 3, 1},         {4090, 9999, 4090, 6},
               {4096, 2, 0, 3}, {0xffffffff, 0, 0, 1}, {4096, 4096, 0, 4096}};
  for (const auto &row : cases) {
    std::vector<std::string> expected;
    for (uint32_t index = row.begin; index < row.begin + row.count; ++index) {
      expected.push_back("Key Value/Mask for Index " + std::to_string(index) + "\n");
    }
    Screen screen;
    EXPECT_EQ(oftab_display_cache_tcam(screen.context(sw), row.first, row.last), 0);
    std::erase_if(screen.lines, [](const std::string &line) { return !line.starts_with("Key Value"); });
    EXPECT_EQ(screen.lines, expected) << row.first << " to " << row.last;
  }
}

TEST_F(SwitchTest, ReadErrorsAreReportedAndSkipped) {
  sw.faults().fail("qtr_custom_cache_unified_entry_get", 2, 5);
  Screen screen;
  testing::internal::CaptureStdout();
  EXPECT_EQ(oftab_display_cache_tcam(screen.context(sw), 4093, 4095), 0);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error reading enry at 4094 \n");
  ASSERT_EQ(sw.system_log().lines().size(), 1U);
  EXPECT_EQ(sw.system_log().lines()[0].text, "Error reading enry at 4094 \n");
  EXPECT_EQ(sw.system_log().lines()[0].priority, LOG_ALERT);
  std::erase_if(screen.lines, [](const std::string &line) { return !line.starts_with("Key Value"); });
  EXPECT_THAT(screen.lines, testing::ElementsAre("Key Value/Mask for Index 4093\n", "Key Value/Mask for Index 4095\n"));
}

TEST_F(SwitchTest, StoredRecordsAreDumpedHolesIncluded) {
  set_up({add({{.seq_no = 1}, {.seq_no = 2}}), erase({2})});
  oftab_sw_entry_t *const entries = oftab_hw_rsrc_g.current_table->tcam_entry;
  const std::array<cache_unified_entry, 2> kept{entries[0].hw, entries[1].hw};
  entries[0].hw = std::bit_cast<cache_unified_entry>(record(kForward));
  entries[0].hw.result[9] ^= 0x30;  // other values of s_star_prio and sg_entry
  std::string forward_lines = kForwardLines;
  forward_lines.replace(forward_lines.find("s_star_prio:0, sg_entry:1"), 25, "s_star_prio:1, sg_entry:0");
  entries[1].hw = std::bit_cast<cache_unified_entry>(record(kRouted));
  sw.tracing().clear();
  oftab_dump_tcam_tbl();
  EXPECT_EQ(joined(traced(102)),
            "Showing Openflow TCAM Table \n"
            "Start Index:2000   End Index:2001\n"
            "Total:4095  Used:1  Free:4094  Entries Allocated:2\n"
            "Key Value/Mask for Index 2000\n" +
                kKeyLines + forward_lines + "\nKey Value/Mask for Index 2001\n" + kKeyLines + kRoutedLines + "\n");
  entries[0].hw = kept[0];
  entries[1].hw = kept[1];
}

TEST_F(SwitchTest, EmptyTablesAreDumpedAsSuch) {
  set_up({add({})});
  sw.tracing().clear();
  oftab_dump_tcam_tbl();
  EXPECT_THAT(traced(102), testing::ElementsAre("TCAM Not Initialized yet\n"));
  set_up({erase({1})});  // leaves an array without a record
  sw.tracing().clear();
  oftab_dump_tcam_tbl();
  EXPECT_THAT(traced(102), testing::ElementsAre("Showing Openflow TCAM Table \n", "Start Index:0   End Index:0\n",
                                                "Total:4095  Used:0  Free:4095  Entries Allocated:0\n"));
}

}  // namespace
}  // namespace test
