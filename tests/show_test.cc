// SPDX-License-Identifier: Apache-2.0
// The software table as an operator sees it, line by line. The expected texts are written out by hand.
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {
namespace {

const std::string kRule89(89, '=');
const std::string kRule43(43, '=');
const std::string kRule168(168, '=');
const std::string kOutPortsColumn(38, ' ');
constexpr char kPolicyColumns[] =
    "\nTcamIdx  Seqno l2lif ethtyp vlan     macsa          macda         ipsa             ipda          prot sport "
    "dport tos  Result       frames               bytes\n";
constexpr char kPolicyCatchAll[] =
    " 4095    **** 0x0000 0x0000 0000 0000.0000.0000  0000.0000.0000  0.0.0.0         0.0.0.0         0000 0000  "
    "0000  0x00 deny    ";
constexpr char kNoCounts[] = "00000000000000000000 00000000000000000000\n";

constexpr Mac kSource{0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
constexpr Mac kDestination{0xa2, 0xb1, 0xc2, 0xd3, 0xe6, 0xf5};
constexpr Mac kLldp{0x01, 0x80, 0xc2, 0x00, 0x00, 0x0e};
constexpr Mac kExact{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
constexpr Match kTcp{port(1), kSource, kDestination, 0x0800, 100, 0x0a010203, 0xffffffff, 46, 6, 4660, 80};
constexpr Match kAll{0xffffffff, kExact, kExact, 0xffff, 0xffff, 0xffffffff, 0xffffffff, 0xff, 0xff, 0xffff, 0xffff};

// Every kind of row: an IPv4, an ARP and an Ethernet flow, a hole, and the outports' ports 0, 254, 255, seven and six.
class ShowTest : public SwitchTest {
 protected:
  ShowTest() {
    sw.interfaces().set_asic_port(port(45), 255);
    sw.interfaces().set_asic_port(port(46), 253);
    sw.interfaces().set_asic_port(port(47), 254);
    send(intf_request(OFTAB_INTF_ADD, {port(47), port(0), port(1), port(2), port(3), port(4), port(5)}),
         OFTAB_MSG_INTF_UPDATE);
    set_up({add({{10, 900, kTcp, kAll, {}},
                 {20, 800, {.ethertype = 0x0806, .vlan = 7}, {.ethertype = 0xffff}, output_to({39, 0, 45})},
                 {30, 700, {}, {}, deny()},
                 {50000, 600, {.ethertype = 0x88cc, .vlan = 4094}, {.ethertype = 0xffff, .vlan = 0xfff}, controller()},
                 {50, 500, {.mac_da = kLldp}, {.mac_da = kExact}, output_to({46, 47, 1, 2, 3, 4, 5, 6})},
                 {60, 0, {.ethertype = 0x0800}, {.ethertype = 0xffff}, output_to({7, 8, 9, 10, 11, 12})}}),
            erase({30})});
    for (int i = 0; i < 3; ++i) {
      sw.inject(port(1), {kSource, kDestination, 0x0800, 100, kTcp.ip_sa, kTcp.ip_da, 46, 6, 4660, 80, 1500});
    }
    for (const uint16_t ethertype : std::initializer_list<uint16_t>{0x0806, 0x88cc, 0x86dd}) {
      sw.inject(port(2), {.ethertype = ethertype, .vlan = uint16_t{4094}, .length = 64});
    }
    sw.asic().counters().set(7, {.bytes = 12345678901234, .packets = 4294967296});
    sw.advance(10);
    sw.tracing().clear();
  }

  static Action output_to(const std::vector<uint32_t> &slots) {
    Action action = output({});
    for (const uint32_t slot : slots) {
      action.outputs.push_back(port(slot));
    }
    return action;
  }
};

const std::string kTotalsAndInterfaces =
    "Start Index:2000   End Index:2005\n"
    "Total:4095  Used:5  Free:4090  Entries Allocated:6\n"
    "Intf Count :7  \n"
    "\t0x1a000000 \t0x1a001000 \t0x1a002000 \t0x1a003000 \t0x1a004000 \n"
    "\t0x1a005000 \t0x1a02f000 \n";

const std::string kSwTable =
    "Dumping Openflow TCAM Table \n" + kTotalsAndInterfaces +
    "TcamIndex    Seq    Prio  Used  Stat-index    OutPorts\n" + kRule89 +
    "\n"
    "\n  2000       10     900   1       2        ----"
    "\n  2001       20     800   1       3        Eth1/0 Eth1/1 Eth1/40 "
    "\n  2002        0       0   0       0        ----"
    "\n  2003    50000     600   1       5        ----"
    "\n  2004       50     500   1       6        Eth1/2 Eth1/3 Eth1/4 Eth1/5 Eth1/6 Eth1/7 \n" +
    kOutPortsColumn + "Eth1/254 " +
    "\n  2005       60       0   1       7        Eth1/8 Eth1/9 Eth1/10 Eth1/11 Eth1/12 Eth1/13 \n" + kOutPortsColumn +
    "\n  4095        0       0   0       1         ----\n";

const std::string kPolicy =
    kPolicyColumns + kRule168 +
    "\n"
    " 2000    0010 0x0101 0x0800 0100 0011.2233.4455  a2b1.c2d3.e6f5  10.1.2.3        255.255.255.255 0006 4660  0080  "
    "0x46 permit  00000000000000000003 00000000000000004500\n"
    " 2001    0020 0x0000 0x0806 0000 0000.0000.0000  0000.0000.0000  ----------      ----------      ---- ----  ----  "
    "---- outport 00000000000000000001 00000000000000000064\n"
    " 2003    50000 0x0000 0x88cc 4094 0000.0000.0000  0000.0000.0000  ----------      ----------      ---- ----  ---- "
    " "
    "---- cntrlr  00000000000000000001 00000000000000000064\n"
    " 2004    0050 0x0000 0x0000 0000 0000.0000.0000  0180.c200.000e  ----------      ----------      ---- ----  ----  "
    "---- outport " +
    kNoCounts +
    " 2005    0060 0x0000 0x0800 0000 0000.0000.0000  0000.0000.0000  0.0.0.0         0.0.0.0         0000 0000  0000  "
    "0x00 outport 00000000004294967296 00000012345678901234\n" +
    kPolicyCatchAll + "00000000000000000001 00000000000000000064\n";

const std::string kSwDump = "Dumping TCAM Table \n" + kTotalsAndInterfaces +
                            "TcamIndex    Seq   prio   Used  Stat-index \n" + kRule43 +
                            "\n"
                            "  2000      10     900   1       2\n"
                            "  2001      20     800   1       3\n"
                            "  2002       0       0   0       0\n"
                            "  2003   50000     600   1       5\n"
                            "  2004      50     500   1       6\n"
                            "  2005      60       0   1       7\n";

struct ShowCase {
  int (*show)(void *shell_context);
  const std::string *expected;
};

const ShowCase kShows[] = {{oftab_show_openflow_sw_table, &kSwTable}, {oftab_show_openflow_policy, &kPolicy}};

TEST_F(ShowTest, ShellGetsEveryLineUntilItStops) {
  for (const ShowCase &row : kShows) {
    Screen all;
    EXPECT_EQ(row.show(all.context(sw)), 0);
    EXPECT_EQ(all.text(), *row.expected);
    for (size_t height = 1; height <= all.lines.size(); ++height) {
      Screen screen{.height = height};
      EXPECT_EQ(row.show(screen.context(sw)), 0);
      EXPECT_EQ(screen.lines.size(), height);
      EXPECT_TRUE(all.text().starts_with(screen.text()));
    }
  }
  EXPECT_THAT(traced(104), testing::Not(testing::Contains(testing::HasSubstr("2000"))));
}

TEST_F(ShowTest, WithoutShellTheLinesGoToTheTraceWithoutPrefix) {
  const std::string path = testing::TempDir() + "oftab_show_" + std::to_string(getpid());
  for (const ShowCase &row : kShows) {
    std::string console;
    sw.tracing().clear();
    sw.tracing().set_ring(true);
    remove(path.c_str());
    sw.tracing().open_file(path);
    sw.tracing().set_console(host::services::kDetails, [&](std::string_view text) { console += text; });
    sw.faults().reset();
    EXPECT_EQ(row.show(nullptr), 0);
    sw.tracing().close_file();
    std::stringstream file;
    file << std::ifstream(path).rdbuf();
    EXPECT_EQ(file.str(), *row.expected);
    EXPECT_EQ(console, *row.expected);
    EXPECT_EQ(joined(traced(104)), *row.expected);
    EXPECT_EQ(sw.tracing().history().size(), traced(104).size());
    EXPECT_EQ(sw.tracing().history().front().type, 0x730000U);
    EXPECT_EQ(sw.faults().calls("hdm_check_flush_dbg_out_file"), sw.tracing().history().size());
    EXPECT_THAT(sw.tracing().ring(), testing::IsEmpty());
  }
  remove(path.c_str());
}

TEST_F(ShowTest, SoftwareTableIsDumpedToTheFullTrace) {
  sw.tracing().set_ring(true);
  oftab_dump_sw_tcam_tbl(oftab_hw_rsrc_g.current_table, 0);
  EXPECT_EQ(joined(traced(104)), kSwDump);
  EXPECT_EQ(sw.tracing().ring().size(), traced(104).size());
  EXPECT_EQ(sw.tracing().ring().front().function, "oftab_dump_sw_tcam_tbl");
}

TEST_F(SwitchTest, ShadowTableIsDumpedByTcamIndexWithTheWorkingInterfaces) {
  // An exact input interface enters the working interface table only.
  set_up({add({{.value = {.ifindex = port(9)}, .mask = {.ifindex = 0xffffffff}}})});
  std::vector<oftab_sw_entry_t> full(OFTAB_FLOW_CAPACITY);
  full[3] = *find_record(1);
  const oftab_tcam_tbl_t table{3, 4, 4094, 2, full.data()};
  sw.tracing().clear();
  oftab_dump_sw_tcam_tbl(&table, 1);
  EXPECT_EQ(joined(traced(104)),
            "Dumping TCAM Table \n"
            "Start Index:3   End Index:4\n"
            "Total:4095  Used:1  Free:4094  Entries Allocated:2\n"
            "Intf Count :1  \n"
            "\t0x1a009000 \n"
            "TcamIndex    Seq   prio   Used  Stat-index \n" +
                kRule43 +
                "\n"
                "  2000       1     100   1       2\n"
                "     0       0       0   0       0\n");
}

TEST_F(SwitchTest, EmptyTableShowsItsHeadersAndTheCatchAll) {
  const struct {
    Bytes request;
    uint32_t code;
    std::string interfaces;
  } steps[] = {
      {erase({}), OFTAB_MSG_ENTRY_UPDATE, "0  \n"},
      {intf_request(OFTAB_INTF_ADD, {port(0), port(1), port(2), port(3), port(4)}), OFTAB_MSG_INTF_UPDATE,
       "5  \n\t0x1a000000 \t0x1a001000 \t0x1a002000 \t0x1a003000 \t0x1a004000 \n"},
      // Leaves the empty table with an array, which must not show either.
      {erase({1}), OFTAB_MSG_ENTRY_UPDATE, "5  \n\t0x1a000000 \t0x1a001000 \t0x1a002000 \t0x1a003000 \t0x1a004000 \n"},
  };
  for (const auto &step : steps) {
    send(step.request, step.code);
    Screen table;
    oftab_show_openflow_sw_table(table.context(sw));
    EXPECT_EQ(table.text(),
              "Dumping Openflow TCAM Table \n"
              "Start Index:0   End Index:0\n"
              "Total:4095  Used:0  Free:4095  Entries Allocated:0\n"
              "Intf Count :" +
                  step.interfaces + "TcamIndex    Seq    Prio  Used  Stat-index    OutPorts\n" + kRule89 +
                  "\n\n  4095        0       0   0       1         ----\n");
    Screen policy;
    oftab_show_openflow_policy(policy.context(sw));
    EXPECT_EQ(policy.text(), kPolicyColumns + kRule168 + "\n" + kPolicyCatchAll + kNoCounts);
  }
  ASSERT_NE(oftab_hw_rsrc_g.current_table->tcam_entry, nullptr);
  sw.tracing().clear();
  oftab_dump_sw_tcam_tbl(oftab_hw_rsrc_g.current_table, 0);
  EXPECT_EQ(traced(104).back(), kRule43 + "\n");
}

TEST_F(BareSwitchTest, NothingIsShownBeforeInitialisation) {
  for (const ShowCase &row : kShows) {
    Screen screen;
    EXPECT_EQ(row.show(screen.context(sw)), 0);
    EXPECT_EQ(screen.text(), "TCAM Not Initialized yet\n");
    EXPECT_EQ(row.show(Screen{.height = 1}.context(sw)), 0);
  }
  oftab_dump_sw_tcam_tbl(nullptr, 0);
  oftab_dump_tcam_tbl();
  EXPECT_THAT(traced(104), testing::ElementsAre("TCAM Not Initialized yet\n"));
  EXPECT_THAT(traced(102), testing::ElementsAre("TCAM Not Initialized yet\n"));
}

TEST(Formatters, WriteNumbersAsOperatorsReadThem) {
  EXPECT_STREQ(oftab_get_result_string(4), "error");
  EXPECT_STREQ(oftab_get_result_string(7), "error");
  const auto text = [](auto convert, auto... words) {
    char written[16];
    convert(words..., written);
    return std::string(written);
  };
  EXPECT_EQ(text(oftab_convert_src_mac, 0x0334455U, 0x000891U), "0011.2233.4455");
  EXPECT_EQ(text(oftab_convert_src_mac, 0x1ffffffU, 0x7fffffU), "ffff.ffff.ffff");
  EXPECT_EQ(text(oftab_convert_dst_mac, 0x0f5U, 0x58e169f2U, 0x50U), "a0b1.c2d3.e4f5");
  EXPECT_EQ(text(oftab_convert_dst_mac, 0x1ffU, 0xffffffffU, 0x7fU), "ffff.ffff.ffff");
  EXPECT_EQ(text(oftab_convert_to_ip, 0x10203U, 0x140U), "10.1.2.3");
  EXPECT_EQ(text(oftab_convert_to_ip, 0x7ffffU, 0x1fffU), "255.255.255.255");
}

}  // namespace
}  // namespace test
