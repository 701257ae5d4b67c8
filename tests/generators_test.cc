// SPDX-License-Identifier: Apache-2.0
// The request generators: their messages byte by byte, their traces, and the debug commands that run them.
#include <csignal>
#include <functional>
#include <iostream>

#include "tests/support/allocations.h"
#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {
namespace {

// Two output entries and a deny entry, from base 10.
constexpr char kAddThree[] =
    "01000000 0300 0000"
    "01000000 14000000 14000000"
    "0000001a 000000000000 000000000000 00000000 0000 0000 01010102 01010101 0000 0000 0000 0000"
    "ffffffff 000000000000 000000000000 00000000 0000 0000 ffffffff ffffffff 0000 0000 0000 0000"
    "02000000 00 000000 00000000 0200 0000 0000001a 0010001a"
    "02000000 1e000000 1e000000"
    "0010001a 000000000000 000000000000 00000000 0000 0000 02010102 02010101 0000 0000 0000 0000"
    "ffffffff 000000000000 000000000000 00000000 0000 0000 ffffffff ffffffff 0000 0000 0000 0000"
    "02000000 00 000000 00000000 0200 0000 0000001a 0010001a"
    "00000000 28000000 28000000"
    "00000000 000000000000 000000000000 00000000 0000 0000 01010104 01010103 0000 0000 0000 0000"
    "00000000 000000000000 000000000000 00000000 0000 0000 ffffffff ffffffff 0000 0000 0000 0000"
    "01000000 00 000000 00000000 0000 0000";

const std::string kDeleteDump =
    "oftab_dump_entry_del_req() Enter \n"
    "\nEntry Del Req\n"
    "entry_op:2 \n"
    "num_entries:5 \n"
    "Seq No: ";
const std::string kDeleteDumpEnd = "\noftab_dump_entry_del_req() Exit \n";

std::string interface_dump(uint32_t intf_op) {
  return "oftab_dump_intf_update_req() Enter \n\nIntf Update Req\nintf_op:" + std::to_string(intf_op) +
         " \nnum_intfs:3  index=0x1a000000  context=0x1a000000  index=0x1a001000  context=0x1a001000 "
         " index=0x1a002000  context=0x1a002000 \noftab_dump_intf_update_req() Exit.\n";
}

class GeneratorTest : public SwitchTest {
 protected:
  // Runs a generator and gives the bytes that its request has when it would be submitted; `length` is what it must be.
  Bytes generated(size_t length, const std::function<void()> &generator) {
    Bytes request;
    sw.tracing().set_console(host::services::kErrors, [&](std::string_view text) {
      if (text.ends_with("Req before calling oftab_process_entry_update \n")) {
        const auto *const bytes = static_cast<const uint8_t *>(newest_block());
        request.assign(bytes, bytes + length);
      }
    });
    const int64_t blocks = allocated_blocks();
    generator();
    EXPECT_EQ(allocated_blocks(), blocks);
    return request;
  }
};

// What an entry generator traces at level 102, from its entry to its exit.
std::vector<std::string> traces_of(const std::string &generator) {
  return {generator + "() Enter. \n", generator + "()Req before calling oftab_process_entry_update \n",
          generator + "() failure \n", generator + "() Exit. \n"};
}

TEST_F(GeneratorTest, RequestsByteByByte) {
  EXPECT_EQ(hex(generated(348, [] { EXPECT_EQ(oftab_test_entry_add_req(10, 2, 1), 0); })), hex(unhex(kAddThree)));
  EXPECT_EQ(traced(102), traces_of("oftab_test_entry_add_req"));
  sw.tracing().clear();
  EXPECT_EQ(hex(generated(32, [] { EXPECT_EQ(oftab_test_entry_del_req(40, 2), 0); })),
            hex(unhex("02000000 0200 0000 00000000 32000000 00000000 00000000 3c000000 00000000")));
  EXPECT_EQ(traced(102), traces_of("oftab_test_entry_del_req"));
  EXPECT_EQ(oftab_hw_rsrc_g.current_table->free_entries, 4095);
}

TEST_F(GeneratorTest, AddRequestIsClampedToTwentyOutputsAndTenDenials) {
  const Bytes request = generated(3408, [] { oftab_test_entry_add_req(10, 25, 12); });
  EXPECT_THAT(hex(request), testing::HasSubstr("0a0101040a010103"));
  const Response response = submit(request);  // one that the switch understands
  EXPECT_EQ(response.status, OFTAB_OK);
  ASSERT_EQ(response.entries.size(), 30U);
  for (uint32_t i = 0; i < 30; ++i) {
    EXPECT_EQ(response.entries[i].seq_no, 20 + 10 * i);
    EXPECT_EQ(find_record(20 + 10 * i)->result_kind, i < 20 ? 2U : 1U);
    EXPECT_EQ(find_record(20 + 10 * i)->ifindex, i < 20 ? port(i % 2) : 0);
  }
}

TEST_F(GeneratorTest, DeleteRequestIsClampedTo250) {
  const std::string request = hex(generated(3008, [] { oftab_test_entry_del_req(0, 300); }));
  EXPECT_EQ(request.substr(0, 16), "02000000fa000000");
  EXPECT_EQ(request.substr(request.size() - 24), "00000000c409000000000000");
  EXPECT_THAT(traced(104), testing::IsSupersetOf({"num_entries:250 \n", "2500 "}));
}

TEST_F(GeneratorTest, NothingIsGeneratedForOtherOperations) {
  oftab_test_entry_update_req(0, 10, 1, 1);
  oftab_test_entry_update_req(3, 10, 1, 1);
  EXPECT_THAT(traced(102), testing::Each(testing::StartsWith("oftab_test_entry_update_req()")));
  EXPECT_THAT(traced(104), testing::IsEmpty());
}

TEST_F(GeneratorTest, WithoutMemoryTheProcessStops) {
  const std::pair<std::function<void()>, const char *> cases[] = {
      {[] { oftab_test_entry_add_req(1, 1, 1); }, "oftab_test_entry_add_req.. Mem failure Exit"},
      {[] { oftab_test_entry_del_req(1, 1); }, "oftab_test_entry_del_req.. Mem failure Exit"},
      {[] { oftab_test_intf_update_req(1); }, ""},
  };
  sw.tracing().set_console(host::services::kErrors, [](std::string_view text) { std::cerr << text; });
  for (const auto &[generator, text] : cases) {
    EXPECT_EXIT((fail_allocation(1), generator()), testing::KilledBySignal(SIGABRT), text);
  }
}

TEST_F(GeneratorTest, DebugCommandsRunTheirOperation) {
  set_up({add({{.seq_no = 3, .priority = 9}})});
  const std::string table =
      "Dumping TCAM Table \nStart Index:2000   End Index:2000\n"
      "Total:4095  Used:1  Free:4094  Entries Allocated:1\nIntf Count :0  \n"
      "TcamIndex    Seq   prio   Used  Stat-index \n" +
      std::string(43, '=') + "\n  2000       3       9   1       2\n";
  const struct {
    uint32_t command;
    std::string detail;   // level 104, without what every command traces
    std::string request;  // its first 16 bytes
  } cases[] = {
      {0, "", ""},
      {100, "", ""},
      {101, table, "0100000016000000 0100000014000000"},
      {102, kDeleteDump + "  50   60   70   80   90 " + kDeleteDumpEnd + table, "0200000005000000 0000000032000000"},
      {103, interface_dump(1), ""},
      {104,
       "oftab_defragment_entries() Enter. \nTCAM Table Not Fragmented \noftab_defragment_entries() Exit. status:0\n",
       ""},
      {105, "oftab_validate_entries() Enter. \noftab_validate_entries() Exit. \n", ""},
      {106, "", ""},
      {107, kDeleteDump + "  20   30   40   50   60 " + kDeleteDumpEnd + table, "0200000005000000 0000000014000000"},
      {108, kDeleteDump + " 210  220  230  240  250 " + kDeleteDumpEnd + table, "0200000005000000 00000000d2000000"},
      {109, interface_dump(2), ""},
      {110, "", ""},
  };
  for (const auto &row : cases) {
    sw.tracing().clear();
    EXPECT_EQ(hex(generated(16, [&] { EXPECT_EQ(oftab_main(row.command), 0U); })), hex(unhex(row.request)));
    std::vector<std::string> details = traced(104);
    std::erase_if(details, [](const std::string &text) {
      return text.starts_with("oftab_main()") || text.starts_with("oftab_init()");
    });
    EXPECT_EQ(joined(details), row.detail) << row.command;
  }
}

}  // namespace
}  // namespace test
