// Requests and responses byte by byte, and their dumps in the trace.
#include <algorithm>

#include "tests/support/rig.h"

namespace test {
namespace {

// An outport flow with three outputs, behind it a controller flow whose count of outputs means nothing.
constexpr char kAddTwo[] =
    "01000000 0200 bbaa"
    "64000000 07000000 44332211"
    "00000000 020304050607 0a0b0c0d0e0f 00080000 0000 0000 0403020a 00000000 0000 0600 0000 5000"
    "00000000 ffffffffffff fffffffff000 ffff0000 0000 0000 00ffffff 00000000 0000 ff00 0000 ffff"
    "02000000 00 000000 00000000 0300 0000 0010001a 0020001a 0030001a"
    "63000000 08000000 88776655"
    "00000000 000000000000 000000000000 00000000 0000 0000 00000000 00000000 0000 0000 0000 0000"
    "00000000 000000000000 000000000000 00000000 0000 0000 00000000 00000000 0000 0000 0000 0000"
    "04000000 00 000000 01000000 0300 0000";

TEST_F(SwitchTest, AddIsReadAndAnsweredByteByByte) {
  EXPECT_EQ(hex(send(unhex(kAddTwo))),
            "01000000"
            "0200bbaa"
            "00000000"
            "443322110700000000000000"
            "887766550800000000000000");
  EXPECT_THAT(sw.asic().trees().ports(8192), testing::ElementsAre(2, 3, 4));
  EXPECT_EQ(find_record(8)->result_kind, 3U);
}

struct ResponseCase {
  const char *request;
  const char *response;
};

TEST_F(SwitchTest, EveryOperationIsAnsweredInFull) {
  const ResponseCase cases[] = {
      {"01000000 0000 0000", "01000000 00000000 00000000"},
      {"02000000 0300 3412 01000000 05000000 eeeeeeee 02000000 06000000 eeeeeeee 03000000 00000000 eeeeeeee",
       "02000000 03003412 00000000 010000000500000000000000 020000000600000000000000 030000000000000000000000"},
      {"03000000 0000 0000", "03000000 00000000 00000000"},
      {"04000000 0000 ffff", "04000000 0000ffff 00000000"},
      {"04000000 0200 0000", "04000000 02000000 00000000 000000000000000000000000 000000000000000000000000"},
      {"05000000 0100 0000", "05000000 01000000 fdffffff 000000000000000000000000"},
      {"00000000 0000 0000", "00000000 00000000 fdffffff"},
  };
  for (const ResponseCase &row : cases) {
    EXPECT_EQ(hex(send(unhex(row.request))), hex(unhex(row.response)));
  }
}

TEST_F(SwitchTest, AddIsDumped) {
  send(unhex(kAddTwo));
  const std::vector<std::string> expected{
      "oftab_dump_entry_update_req() Enter \n",
      "\nEntry Update Req\n",
      "entry_op:1 \n",
      "num_entries:2 \n",
      "Entry :0 \n",
      "   mad_da:0xabcdef/0xfffffffff00  mad_sa:0x234567/0xffffffffffff\n",
      "   ip_da:0x0/0x0    ip_sa:0xa020304/0xffffff00\n",
      "   protocol:0x6/0xff dport:0x50/0xffff sport:0x0/0x0\n",
      "   ethertype:0x800/0xffff ifindex:0x0/0x0 vlan:0x0/0x0 tos:0x0/0x0\n",
      "Result \n",
      "  result_type:2  app_id:0 \n",
      "  num_oif:3\n",
      "0x1a001000\n",
      "0x1a002000\n",
      "0x1a003000\n",
      "Entry :1 \n",
      "   mad_da:0x000000/0x000000  mad_sa:0x000000/0x000000\n",
      "   ip_da:0x0/0x0    ip_sa:0x0/0x0\n",
      "   protocol:0x0/0x0 dport:0x0/0x0 sport:0x0/0x0\n",
      "   ethertype:0x0/0x0 ifindex:0x0/0x0 vlan:0x0/0x0 tos:0x0/0x0\n",
      "Result \n",
      "  result_type:4  app_id:1 \n",
      "oftab_dump_entry_update_req() Exit \n",
  };
  std::vector<std::string> texts = traced(104);
  const auto start = std::ranges::find(texts, expected.front());
  ASSERT_LE(expected.size(), static_cast<size_t>(texts.end() - start));
  texts.assign(start, start + static_cast<std::ptrdiff_t>(expected.size()));
  EXPECT_EQ(texts, expected);
  EXPECT_THAT(traced(104), testing::IsSupersetOf({"entry_op:1  num_entries:2 status:0 \n",
                                                  "  seq:7  context:0x11223344  status:0 \n",
                                                  "  seq:8  context:0x55667788  status:0 \n"}));
}

TEST_F(SwitchTest, DeleteIsDumpedSixToALine) {
  const struct {
    uint32_t count;
    const char *dump;
  } cases[] = {
      {0, "Seq No: "},
      {1, "Seq No:    1 \n"},
      {6, "Seq No:    1    2    3    4    5    6 \n"},
      {13, "Seq No:    1    2    3    4    5    6 \n   7    8    9   10   11   12 \n  13 \n"},
  };
  for (const auto &row : cases) {
    std::vector<uint32_t> seq_nos(row.count);
    std::ranges::generate(seq_nos, [n = 0U]() mutable { return ++n; });
    const Bytes request = erase(seq_nos);
    sw.tracing().clear();
    oftab_dump_entry_del_req(reinterpret_cast<const oftab_entry_del_req_t *>(request.data()));
    std::string text;
    for (const std::string &each : traced(104)) {
      text += each;
    }
    EXPECT_EQ(text, "oftab_dump_entry_del_req() Enter \n\nEntry Del Req\nentry_op:2 \nnum_entries:" +
                        std::to_string(row.count) + " \n" + row.dump + "oftab_dump_entry_del_req() Exit \n");
  }
}

TEST_F(SwitchTest, MessagesAreReadAndWrittenAtAnyAddress) {
  for (size_t offset = 0; offset < 4; ++offset) {
    Bytes request(offset);
    Bytes response(offset + 36, 0xee);
    std::ranges::copy(unhex(kAddTwo), std::back_inserter(request));
    auto *const request_header = reinterpret_cast<oftab_entry_update_req_t *>(request.data() + offset);
    auto *const response_header = reinterpret_cast<oftab_entry_update_resp_t *>(response.data() + offset);
    oftab_dump_entry_update_req(request_header);
    EXPECT_EQ(oftab_install_catch_all_entry(1, request_header, response_header), 0);
    EXPECT_EQ(hex(std::span(response).subspan(offset + 8, 16)), "00000000443322110700000000000000");
    response_header->num_entries = 1;
    oftab_dump_entry_update_resp(response_header);
    oftab_sw_entry_t entry{};
    EXPECT_EQ(oftab_process_l2_redirect_action(&entry, reinterpret_cast<oftab_flow_t *>(request_header + 1)), 0);
    EXPECT_EQ(hex(entry.out_ports.port_bitmap).substr(0, 4), "3800");
  }
}

TEST_F(SwitchTest, MissingMessageIsDumpedAsSuch) {
  oftab_dump_entry_update_req(nullptr);
  oftab_dump_entry_del_req(nullptr);
  oftab_dump_entry_update_resp(nullptr);
  std::string text;
  for (const host::services::HistoryEvent &event : sw.tracing().history()) {
    text += event.text;
  }
  EXPECT_EQ(text,
            "oftab_dump_entry_update_req() Enter \noftab_dump_entry_update_req() Exit. Null Parameter \n"
            "oftab_dump_entry_del_req() Enter \noftab_dump_entry_del_req() Exit. Null Parameter \n"
            "oftab_dump_entry_update_resp() Enter \noftab_dump_entry_update_resp() Exit. Null Parameter \n");
}

}  // namespace
}  // namespace test
