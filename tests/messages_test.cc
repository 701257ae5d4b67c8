// SPDX-License-Identifier: Apache-2.0
// Requests and responses byte by byte, and their dumps in the trace.
#include <algorithm>
#include <functional>

#include "tests/support/allocations.h"
#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {
namespace {

// An outport flow with three outputs, behind it a controller flow whose count of outputs means nothing.
constexpr char kAddTwo[] =
    "01000000 0200 bbaa"
    "64000000 07000000 44332211"
    "0d0c0b0a 020304050607 0a0b0c0d0e0f 00080000 6400 0000 0403020a 0e0d0c0b 2e00 0600 3412 5000"
    "f0f0f0f0 fffefdfcfbfa f0e0d0c0b0a0 ffff0000 ff0f 0000 00ffffff f0ffffff fc00 ff00 f0ff ffff"
    "02000000 00 000000 00000000 0300 0000 0010001a 0020001a 0030001a"
    "63000000 08000000 88776655"
    "00000000 000000000000 000000000000 00000000 0000 0000 00000000 00000000 0000 0000 0000 0000"
    "00000000 000000000000 000000000000 00000000 0000 0000 00000000 00000000 0000 0000 0000 0000"
    "04000000 00 000000 01000000 0300 0000";

// What every entry request traces before its operation and behind its change of the shadow table.
const std::string kBegin =
    "oftab_process_entry_update() Enter. \noftab_install_catch_all_entry() Enter update_result = 0 \n"
    "Unified catch all valid at 4095\noftab_install_catch_all_entry() Exit. Status:0 \n"
    "oftab_process_entry_update:  entry_op = ";
const std::string kCommit =
    "oftab_validate_entries() Enter. \noftab_validate_entries() Exit. \n"
    "oftab_cp_shadow_to_current() Enter. entry_update:1 \noftab_cp_shadow_to_current() Exit. status:0\n"
    "oftab_dump_entry_update_resp() Enter \n";
const std::string kEnd = "oftab_process_entry_update() Exit. rc=0 \n";

TEST_F(SwitchTest, AddIsReadAnsweredAndTraced) {
  EXPECT_EQ(hex(send(unhex(kAddTwo))), "010000000200bbaa00000000443322110700000000000000887766550800000000000000");
  EXPECT_THAT(sw.asic().trees().ports(8192), testing::ElementsAre(2, 3, 4));
  EXPECT_EQ(find_record(8)->result_kind, 3U);
  EXPECT_EQ(
      joined(traced(104)),
      kBegin +
          "1\noftab_dump_entry_update_req() Enter \n\nEntry Update Req\nentry_op:1 \nnum_entries:2 \n"
          "Entry :0 \n   mad_da:0xabcdef/0xf0e0d0c0b0a0  mad_sa:0x234567/0xfffefdfcfbfa\n"
          "   ip_da:0xb0c0d0e/0xfffffff0    ip_sa:0xa020304/0xffffff00\n"
          "   protocol:0x6/0xff dport:0x50/0xffff sport:0x1234/0xfff0\n"
          "   ethertype:0x800/0xffff ifindex:0xa0b0c0d/0xf0f0f0f0 vlan:0x64/0xfff tos:0x2e/0xfc\n"
          "Result \n  result_type:2  app_id:0 \n  num_oif:3\n0x1a001000\n0x1a002000\n0x1a003000\n"
          "Entry :1 \n   mad_da:0x000000/0x000000  mad_sa:0x000000/0x000000\n"
          "   ip_da:0x0/0x0    ip_sa:0x0/0x0\n   protocol:0x0/0x0 dport:0x0/0x0 sport:0x0/0x0\n"
          "   ethertype:0x0/0x0 ifindex:0x0/0x0 vlan:0x0/0x0 tos:0x0/0x0\n"
          "Result \n  result_type:4  app_id:1 \noftab_dump_entry_update_req() Exit \n"
          "oftab_cp_current_to_shadow() Enter. entry_update:1 num_entries:2 \noftab_cp_current_to_shadow() Exit. \n"
          "oftab_insert_entries() Enter. \nfirst time installing. start_idnex:2000 \n"
          "start_index:2000 install_dir:1 \noftab_insert_entries_top_down() Enter. \n"
          "oftab_convert_vmr_to_hw_ip_vmr() Enter. \nstats_id 2 allocated\noftab_dummy_stats_reader() Enter. \n"
          " 0/3 ,ifindex:0x1a001000 asic port:2 \n 1/3 ,ifindex:0x1a002000 asic port:3 \n"
          " 2/3 ,ifindex:0x1a003000 asic port:4 \negress port port_bitmap = \n2 \n3 \n4 \n"
          "g_oftab_mcst_idx_last_allocated 8192"
          "oftab_convert_vmr_to_hw_ip_vmr:tree_create_batch success for ltl_index : 8192"
          "oftab_add_controller_action() Enter. \noftab_add_controller_action() Exit. Status:0 \n"
          "oftab_convert_vmr_to_hw_ip_vmr: got bd:200 for vlan 100.\n"
          "\nSetting global lif for  seq:7 ifindex:0x0a0b0c0d mask intf_id:0x1000\n"
          "oftab_convert_vmr_to_hw_ip_vmr() Exit. Status:0 \n"
          "oftab_convert_vmr_to_hw_eth_vmr() Enter. \nstats_id 3 allocated\noftab_dummy_stats_reader() Enter. \n"
          "oftab_add_controller_action() Enter. \noftab_add_controller_action() Exit. Status:0 \n"
          "\nSetting global lif for  seq:8 ifindex:0x00 mask intf_id:0x1000\n"
          "oftab_convert_vmr_to_hw_eth_vmr() Exit. Status:0 \n"
          "oftab_insert_entries_top_down() Exit. \noftab_insert_entries() Exit. status=0 \n"
          "oftab_program_shadow_entries() Enter. \n\nSUCCESS installing the NEW entry at index 2000 \n"
          "\nSUCCESS installing the NEW entry at index 2001 \noftab_program_shadow_entries() Exit. st=0 \n" +
          kCommit +
          "entry_op:1  num_entries:2 status:0 \n  seq:7  context:0x11223344  status:0 \n"
          "  seq:8  context:0x55667788  status:0 \n" +
          kEnd);
}

const std::string kModification =
    kBegin +
    "3\noftab_dump_entry_update_req() Enter \n\nEntry Update Req\nentry_op:3 \nnum_entries:1 \n"
    "Entry :0 \n   mad_da:0x000000/0x000000  mad_sa:0x000000/0x000000\n"
    "   ip_da:0x0/0x0    ip_sa:0x0/0x0\n   protocol:0x0/0x0 dport:0x0/0x0 sport:0x1/0xffff\n"
    "   ethertype:0x800/0xffff ifindex:0x0/0x0 vlan:0x0/0x0 tos:0x0/0x0\n"
    "Result \n  result_type:4  app_id:1 \noftab_dump_entry_update_req() Exit \n"
    "oftab_cp_current_to_shadow() Enter. entry_update:0 num_entries:1 \noftab_cp_current_to_shadow() Exit. \n"
    "oftab_modify_entries_top_down() Enter.  num_entries:1 \noftab_modify_entries_top_down() in for_loop. \n"
    "oftab_modify_entries_top_down() ent_h = 1, of_h = 1 \noftab_modify_entries_top_down() in handle_match. \n"
    "oftab_modify_action() Enter. \nmcst idx dealloc for 8192"
    "oftab_add_controller_action() Enter. \noftab_add_controller_action() Exit. Status:0 \n"
    "oftab_modify_action() Exit. Status:0 \noftab_modify_entries_top_down() Exit. status:0 \n"
    "oftab_program_shadow_entries() Enter. \n\nSUCCESS installing the MOVED entry at index 2000 \n"
    "oftab_program_shadow_entries() Exit. st=0 \n" +
    kCommit + "entry_op:3  num_entries:1 status:0 \n  seq:1  context:0xc0de0001  status:0 \n" + kEnd;

const std::string kDeletion =
    kBegin +
    "2\noftab_dump_entry_del_req() Enter \n\nEntry Del Req\nentry_op:2 \nnum_entries:1 \n"
    "Seq No:    2 \noftab_dump_entry_del_req() Exit \n"
    "oftab_cp_current_to_shadow() Enter. entry_update:0 num_entries:1 \noftab_cp_current_to_shadow() Exit. \n"
    "oftab_process_entry_del_req() Enter. \nDeleting Seq No.:2oftab_delete_and_pgm_entries() Enter. \n"
    "mcst idx dealloc for 8193"
    "oftab_clear_and_program_entry() Enter. \n\nSUCCESS Programming the entry at index 2001 \n"
    "oftab_clear_and_program_entry() Exit. \noftab_delete_and_pgm_entries() Exit. status:0 \n"
    "oftab_process_entry_del_req() Exit. status=0 \n" +
    kCommit + "entry_op:2  num_entries:1 status:0 \n  seq:2  context:0xde1e7e02  status:0 \n" + kEnd;

constexpr char kCompaction[] =
    "oftab_defragment_entries() Enter. \noftab_cp_and_pgm_entry() Enter. \n"
    "\nSUCCESS Programming the entry at index 2000 \noftab_cp_and_pgm_entry() Exit. st:0\n"
    "Unused entry:2001 (0/1) found\noftab_cp_and_pgm_entry() Enter. \n"
    "\nSUCCESS Programming the entry at index 2001 \noftab_cp_and_pgm_entry() Exit. st:0\n"
    "Fragmented TCAM Table \nDumping TCAM Table \nStart Index:2000   End Index:2002\n"
    "Total:4095  Used:2  Free:4093  Entries Allocated:3\nIntf Count :0  \n"
    "TcamIndex    Seq   prio   Used  Stat-index \n===========================================\n"
    "  2000       1      30   1       2\n  2001       0       0   0       0\n  2002       3      10   1       4\n"
    "Unfragmented TCAM Table \nDumping TCAM Table \nStart Index:2000   End Index:2001\n"
    "Total:4095  Used:2  Free:4093  Entries Allocated:2\nIntf Count :0  \n"
    "TcamIndex    Seq   prio   Used  Stat-index \n===========================================\n"
    "  2000       1      30   1       2\n  2001       3      10   1       4\n"
    "oftab_clear_and_program_entry() Enter. \n\nSUCCESS Programming the entry at index 2002 \n"
    "oftab_clear_and_program_entry() Exit. \noftab_defragment_entries() Exit. status:0\n";

TEST_F(SwitchTest, ModifyDeleteAndCompactionAreTraced) {
  set_up(
      {add({numbered_flow(1, 30, output({port(1)})), numbered_flow(2, 20, output({port(2)})), numbered_flow(3, 10)})});
  const std::pair<std::function<void()>, std::string> steps[] = {
      {[this] { set_up({modify({numbered_flow(1, 30, controller())})}); }, kModification},
      {[this] { set_up({erase({2})}); }, kDeletion},
      {[] { EXPECT_EQ(oftab_defragment_entries(), 0); }, kCompaction},
  };
  for (const auto &[act, trace] : steps) {
    sw.tracing().clear();
    act();
    EXPECT_EQ(joined(traced(104)), trace);
  }
}

TEST_F(SwitchTest, EveryOperationIsAnsweredInFull) {
  const std::pair<const char *, const char *> cases[] = {
      {"01000000 0000 0000", "01000000 00000000 00000000"},
      {"02000000 0300 3412 01000000 05000000 eeeeeeee 02000000 06000000 eeeeeeee 03000000 00000000 eeeeeeee",
       "02000000 03003412 00000000 010000000500000000000000 020000000600000000000000 030000000000000000000000"},
      {"03000000 0000 0000", "03000000 00000000 00000000"},
      {"04000000 0000 ffff", "04000000 0000ffff 00000000"},
      {"04000000 0200 0000", "04000000 02000000 00000000 000000000000000000000000 000000000000000000000000"},
      {"05000000 0100 0000", "05000000 01000000 fdffffff 000000000000000000000000"},
      {"00000000 0000 0000", "00000000 00000000 fdffffff"},
  };
  for (const auto &[request, response] : cases) {
    EXPECT_EQ(hex(send(unhex(request))), hex(unhex(response)));
  }
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
    EXPECT_EQ(joined(traced(104)), "oftab_dump_entry_del_req() Enter \n\nEntry Del Req\nentry_op:2 \nnum_entries:" +
                                       std::to_string(row.count) + " \n" + row.dump +
                                       "oftab_dump_entry_del_req() Exit \n");
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
    EXPECT_EQ(oftab_install_catch_all_entry(1, request_header, nullptr), 0);
    EXPECT_EQ(oftab_install_catch_all_entry(1, request_header, response_header), 0);
    EXPECT_EQ(hex(std::span(response).subspan(offset + 8, 16)), "00000000443322110700000000000000");
    response_header->num_entries = 1;
    oftab_dump_entry_update_resp(response_header);
    oftab_sw_entry_t entry{};
    EXPECT_EQ(oftab_process_l2_redirect_action(&entry, reinterpret_cast<oftab_flow_t *>(request_header + 1)), 0);
    EXPECT_EQ(hex(entry.out_ports.port_bitmap).substr(0, 4), "3800");
  }
}

TEST_F(SwitchTest, MissingArgumentsAreReported) {
  const std::pair<std::string, std::function<void()>> dumps[] = {
      {"oftab_dump_entry_update_req", [] { oftab_dump_entry_update_req(nullptr); }},
      {"oftab_dump_entry_del_req", [] { oftab_dump_entry_del_req(nullptr); }},
      {"oftab_dump_entry_update_resp", [] { oftab_dump_entry_update_resp(nullptr); }},
      {"oftab_dump_intf_update_req", [] { oftab_dump_intf_update_req(nullptr); }},
      {"oftab_dump_intf_update_resp", [] { oftab_dump_intf_update_resp(nullptr); }},
      {"oftab_dump_stats_query_req", [] { oftab_dump_stats_query_req(nullptr); }},
      {"oftab_dump_stats_query_resp", [] { oftab_dump_stats_query_resp(nullptr); }},
  };
  for (const auto &[name, dump] : dumps) {
    sw.tracing().clear();
    dump();
    EXPECT_THAT(traced(104), testing::ElementsAre(name + "() Enter \n"));
    EXPECT_THAT(traced(102), testing::ElementsAre(name + "() Exit. Null Parameter \n"));
  }
  oftab_sw_entry_t entry{};
  const oftab_flow_t flow{};
  for (const auto convert : {oftab_convert_vmr_to_hw_vmr, oftab_convert_vmr_to_hw_ip_vmr,
                             oftab_convert_vmr_to_hw_arp_vmr, oftab_convert_vmr_to_hw_eth_vmr}) {
    EXPECT_EQ(convert(nullptr, &flow), -3);
    EXPECT_EQ(convert(&entry, nullptr), -3);
  }
  EXPECT_EQ(oftab_modify_action(nullptr, &flow), -3);
  EXPECT_EQ(oftab_modify_action(&entry, nullptr), -3);
  oftab_entry_update_resp_t response{};
  sw.tracing().clear();
  EXPECT_EQ(oftab_process_entry_del_req(nullptr, &response), -3);
  EXPECT_THAT(traced(102), testing::ElementsAre("oftab_process_entry_del_req() Exit. Null Parameter \n"));
}

// Refused while it is shorter than its counts say, answered otherwise; the message stands in memory of just its length.
TEST_F(SwitchTest, RequestsCutAnywhereAreRefusedOrAnswered) {
  std::vector<std::pair<uint32_t, Bytes>> whole;
  for (uint32_t operation = 0; operation < 10; ++operation) {
    whole.emplace_back(OFTAB_MSG_INTF_UPDATE, intf_request(operation, {port(1), port_channel(1)}));
    whole.emplace_back(OFTAB_MSG_GET_STATS, stats_request(operation, {1, 2}));
  }
  whole.emplace_back(OFTAB_MSG_ENTRY_UPDATE, erase({1, 2}));
  whole.emplace_back(OFTAB_MSG_ENTRY_UPDATE, purge());
  for (uint32_t action = 0; action < 7; ++action) {
    const std::vector<uint32_t> outputs(oftab_has_output_list(action) != 0 ? 2 : 0, port(1));
    const Flow flow{.action = {.type = action, .outputs = outputs, .app_id = 1}};
    whole.emplace_back(OFTAB_MSG_ENTRY_UPDATE, add({flow, {.seq_no = 2}}));
    whole.emplace_back(OFTAB_MSG_ENTRY_UPDATE, modify({{.seq_no = 2}, flow}));
    whole.emplace_back(OFTAB_MSG_ENTRY_UPDATE, set_catch_all(flow.action));
  }
  const auto is_answered = [this](uint32_t code, const Bytes &request) {
    try {
      return sw.submit(code, request).responses.size() == 1;
    } catch (const std::invalid_argument &) {
      return false;
    }
  };
  for (const auto &[code, message] : whole) {
    const bool counts = code != OFTAB_MSG_GET_STATS || message[0] == OFTAB_STATS_LISTED;  // records behind the header
    const size_t needed = counts ? message.size() : sizeof(oftab_stats_query_req_t);
    for (size_t length = 0; length <= message.size(); ++length) {
      const auto end = message.begin() + static_cast<std::ptrdiff_t>(length);
      EXPECT_EQ(is_answered(code, Bytes(message.begin(), end)), length >= needed) << hex(message) << " of " << length;
    }
  }
  set_up({purge()});  // also what modifications to unknown actions left
}

// Beside what the table itself grows by, the most memory that a request takes is one array of all records, its response
// and what the flows keep elsewhere.
TEST_F(SwitchTest, RequestsTakeOneArrayAndTheirResponse) {
  constexpr int64_t kArray = OFTAB_FLOW_CAPACITY * sizeof(oftab_sw_entry_t);
  constexpr int64_t kElsewhere = 20 << 10;
  std::vector<Flow> flows;
  std::vector<uint32_t> seq_nos;
  for (uint32_t seq_no = 1; seq_no < OFTAB_FLOW_CAPACITY; ++seq_no) {
    flows.push_back(numbered_flow(seq_no, 9000 - seq_no));
    seq_nos.push_back(seq_no);
  }
  const std::pair<uint32_t, Bytes> requests[] = {
      {OFTAB_MSG_ENTRY_UPDATE, add(flows)},
      {OFTAB_MSG_ENTRY_UPDATE, add({numbered_flow(4095, 9000, output({port(1)}))})},
      {OFTAB_MSG_ENTRY_UPDATE, modify({numbered_flow(1, 8999, deny())})},
      {OFTAB_MSG_GET_STATS, stats_request(OFTAB_STATS_ALL, {})},
      {OFTAB_MSG_ENTRY_UPDATE, erase({1})},
      {OFTAB_MSG_ENTRY_UPDATE, erase(seq_nos)},
  };
  for (const auto &[code, request] : requests) {
    peak_bytes();
    const int64_t before = peak_bytes();
    const auto response = static_cast<int64_t>(send(request, code).size());
    const int64_t peak = peak_bytes();
    const int64_t after = peak_bytes();
    EXPECT_LE(peak - std::max(before, after), kArray + response + kElsewhere) << hex(request).substr(0, 16);
  }
}

// A response of each operation and status whose count claims a record that only some of them carry.
TEST_F(SwitchTest, DumpOfAStatisticsResponseReadsWhatItCarries) {
  for (const auto &[header, records] :
       std::initializer_list<std::pair<const char *, int>>{{"05000000 0100 0000 00000000", 1},
                                                           {"06000000 0100 0000 00000000", 1},
                                                           {"07000000 0100 0000 00000000", 0},
                                                           {"08000000 0100 0000 fcffffff", 0},
                                                           {"05000000 0100 0000 fdffffff", 0}}) {
    Bytes response = unhex(header);
    response.resize(response.size() + static_cast<size_t>(records) * sizeof(oftab_stats_resp_info_t));
    sw.tracing().clear();
    oftab_dump_stats_query_resp(reinterpret_cast<const oftab_stats_query_resp_t *>(response.data()));
    EXPECT_EQ(traced(104).size(), 2U + static_cast<size_t>(records)) << header;
  }
}

// In turn: not initialised, the message service fails with 77, no payload, no memory, the response cannot be sent.
struct Unanswered {
  uint32_t code;
  Bytes request;
  size_t response_size;
  std::array<int32_t, 5> results;
  std::array<std::string, 5> errors;
};

std::vector<Unanswered> unanswered() {
  return {
      {OFTAB_MSG_ENTRY_UPDATE,
       add({{}}),
       sizeof(oftab_entry_update_resp_t) + sizeof(oftab_resp_entry_t),
       {0, 77, 0, 0, 77},
       {"oftab_process_entry_update() Exit. Not Initialized yet \n",
        "handle openflow interface update: - ipq handler init: message service error 77 ",
        "oftab_process_entry_update() Exit. Null parameter \n", "Malloc error. \n", ""}},
      {OFTAB_MSG_INTF_UPDATE,
       intf_request(OFTAB_INTF_DELETE, {port(1)}),
       sizeof(oftab_intf_update_resp_t) + sizeof(oftab_intf_resp_info_t),
       {-2, -12, -12, -3, 0},
       {"oftab_process_intf_update() Exit. Not Initialized yet \n",
        "handle openflow interface update: - ipq handler init: message service error 77 ",
        "oftab_process_intf_update(): Null parameter \n", "oftab_process_intf_update() Malloc failure \n", ""}},
      {OFTAB_MSG_GET_STATS,
       stats_request(OFTAB_STATS_LISTED, {1}),
       sizeof(oftab_stats_query_resp_t) + sizeof(oftab_stats_resp_info_t),
       {-2, -12, -12, -3, 0},
       {"oftab_process_get_stats() Exit. Not Initialized yet \n",
        "handle openflow stats query - ipq handler init: message service error 77 ",
        "oftab_process_get_stats() Exit. Null parameter \n", "oftab_process_get_stats() Malloc failure \n", ""}},
  };
}

TEST_F(BareSwitchTest, RequestsThatCannotBeAnsweredAreNot) {
  const std::vector<Unanswered> cases = unanswered();
  const char *const failing_calls[] = {nullptr, "hdm_ipq_handler_init", "ipq_payload_get", nullptr,
                                       "fu_ipq_send_response"};
  for (size_t step = 0; step < 5; ++step) {
    for (const Unanswered &row : cases) {
      sw.tracing().clear();
      if (failing_calls[step] != nullptr) {
        sw.faults().fail(failing_calls[step], 1, 77);
      }
      fail_allocations_of(step == 3 ? row.response_size : 0);
      const host::Reply reply = sw.submit(row.code, row.request);
      let_allocations_pass();
      EXPECT_EQ(reply.handler_result, row.results[step]) << row.errors[step];
      EXPECT_THAT(reply.responses, testing::IsEmpty());
      EXPECT_EQ(joined(traced(102)), row.errors[step]);
    }
    if (step == 0) {
      EXPECT_EQ(sw.faults().sdk_calls(), 0U);
      sw.boot();
    }
  }
}

}  // namespace
}  // namespace test
