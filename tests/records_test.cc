// SPDX-License-Identifier: Apache-2.0
// The records in the TCAM and in the table, bit by bit. The expected bytes are written out by hand.
#include <algorithm>

#include "tests/support/rig.h"

namespace test {
namespace {

struct MatchCase {
  const char *name;
  Match value;
  Match mask;
  std::string hw_key;
  std::string hw_mask;
};

// A match that differs in every field, its IP part behind the common one.
constexpr Mac kSource{0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
constexpr Mac kSourceMask{0xff, 0xff, 0xff, 0xff, 0xff, 0xfe};
constexpr Mac kDestination{0xa0, 0xb1, 0xc2, 0xd3, 0xe4, 0xf5};
constexpr Mac kDestinationMask{0xff, 0xff, 0xff, 0, 0, 0};

Match every_field(uint32_t ethertype) {
  return {0x1a001000, kSource, kDestination, ethertype, 100, 0x0a010203, 0xc0000201, 0xffb8, 0xff06, 0x1234, 0x0050};
}
Match every_mask(uint32_t ethertype) {
  return {0xffffffff, kSourceMask, kDestinationMask, ethertype, 0xffff, 0xffffff00,
          0xffffffff, 0xfffc,      0xffff,           0xffff,    0xfff0};
}

// The record that matches everything, and one that differs from it at byte `offset`.
constexpr char kAllKey[] = "0300000000000000000000000000000000000000000000000000000000000000000000000000000000001000";
constexpr char kAllMask[] = "0040000000000000000000000000000000000000000000000000000000000000000000000000000000001000";

std::string with(std::string record, size_t offset, const std::string &bytes) {
  return record.replace(2 * offset, bytes.size(), bytes);
}

const MatchCase kMatchCases[] = {
    {"ip", every_field(0x0800), every_mask(0x1ffff),
     "04040000802aa2199108817af269e158 50000000006040204021400000d80017 341250000020000000641000",
     "ff7f000000ffffffffff7f000080ffff 7f0000000000e0ffffffffffffff9f1f fffff0fffcff030080ff1f00"},
    {"arp", every_field(0x0806), every_mask(0x1ffff),
     "05040000802aa2199108817af269e158 50000000000000000000000000008001 020000000000000000641000",
     "fc7f000000ffffffffff7f000080ffff 7f00000000000000000000000000c0ff 3f0000000000000080ff1f00"},
    {"ethernet", every_field(0x88cc), every_mask(0x1fff0),
     "07040000802aa2199108817af269e158 50000000000098110100000000000000 000000000000000000641000",
     "fc7f000000ffffffffff7f000080ffff 7f0000000000e0ff0100000000000000 000000000000000080ff1f00"},
    {"everything", {}, {}, kAllKey, kAllMask},
    {"ip_type_unmasked", {.ethertype = 0x0800, .ip_sa = 1}, {.ip_sa = 1}, with(kAllKey, 22, "0010"), kAllMask},
    {"arp_type_half", {.ethertype = 0x806}, {.ethertype = 0xff}, with(kAllKey, 22, "0c10"), with(kAllMask, 22, "fe01")},
    {"ip_type_by_bits",
     {.ethertype = 0x0886},
     {.ethertype = 0xff79},
     with(with(kAllKey, 0, "00"), 36, "1822"),
     with(with(kAllMask, 0, "03"), 36, "e4fd03")},
    {"vlan_0", {.vlan = 0}, {.vlan = 0xfff}, kAllKey, kAllMask},
    {"vlan_of_12_bits", {.vlan = 100}, {.vlan = 0xfff}, with(kAllKey, 41, "64"), with(kAllMask, 40, "80ff17")},
    {"part_of_an_ifindex", {.ifindex = 0x1a001000}, {.ifindex = 0xffff0000}, with(kAllKey, 1, "40"), kAllMask},
    {"all_bits_of_an_ifindex",
     {.ifindex = port(1)},
     {.ifindex = port(1)},
     with(kAllKey, 0, "0704"),
     with(kAllMask, 0, "fc7f")},
};

class MatchRecord : public SwitchTest, public testing::WithParamInterface<MatchCase> {};

TEST_P(MatchRecord, StandsInTheTcam) {
  const MatchCase &row = GetParam();
  set_up({add({{.value = row.value, .mask = row.mask}})});
  EXPECT_THAT(traced(102), testing::IsEmpty());
  const host::asic::Record &actual = sw.asic().tcam().at(2000);
  EXPECT_EQ(hex(actual.key), hex(unhex(row.hw_key)));
  EXPECT_EQ(hex(actual.mask), hex(unhex(row.hw_mask)));
  EXPECT_EQ(hex(actual.result), "05" + std::string(46, '0'));  // permit, counter 2: the catch-all has counter 1
}

INSTANTIATE_TEST_SUITE_P(Records, MatchRecord, testing::ValuesIn(kMatchCases), case_name);

TEST_F(SwitchTest, WideBridgeDomainIsCutTo13BitsAndItsVlanKeptUnder12) {
  sw.asic().vlans().add(100, 0xf123);
  set_up({add({{.value = {.vlan = 100}, .mask = {.vlan = 0xffff}}})});
  EXPECT_EQ(hex(std::span(sw.asic().tcam().at(2000).key).subspan(40)), "80911800");
  EXPECT_EQ(oftab_hw_rsrc_g.bd_vlan[0x123], 100);
  EXPECT_EQ(std::ranges::count(oftab_hw_rsrc_g.bd_vlan, 0), OFTAB_BD_COUNT - 1);
}

}  // namespace
}  // namespace test
