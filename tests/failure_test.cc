// SPDX-License-Identifier: Apache-2.0
// What a refused or failed request answers and traces, and that it leaves everything as it was.
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iterator>

#include "tests/support/allocations.h"
#include "tests/support/rig.h"

namespace test {
namespace {

constexpr int32_t kCode = 77;  // what failing host and SDK calls answer

using Spoil = std::function<void(Rig &)>;

struct Case {
  const char *name;
  Bytes request;
  int32_t status;
  std::vector<int32_t> entries;
  std::vector<std::string> errors;  // regular expressions for the texts at level 102
  Spoil spoil;
};

Spoil failing(const char *call, uint64_t nth = 1) {
  return [=](Rig &rig) { rig.sw.faults().fail(call, nth, kCode); };
}

Spoil short_of_memory(size_t bytes) {
  return [=](Rig &) { fail_allocations_of(bytes); };
}

constexpr size_t kFullArray = 4095 * sizeof(oftab_sw_entry_t);

// Three flows, the second of which is the culprit.
Bytes three(Flow culprit) {
  culprit.seq_no = 12;
  culprit.priority = 7;
  return add({numbered_flow(11, 8), culprit, numbered_flow(13, 6)});
}

// The culprit cannot be converted.
Case conversion(const char *name, const Flow &culprit, int32_t status, const std::string &error, Spoil spoil = {}) {
  const std::string not_converted = "oftab_convert_vmr_to_hw_vmr failed \\(" + std::to_string(status) + "\\) \n";
  return {name,
          three(culprit),
          status,
          {0, status, 0},
          {error, not_converted, "Insert entries failed \n"},
          std::move(spoil)};
}

// No entry is reached.
Case refusal(const char *name, const Bytes &request, int32_t status, const std::vector<std::string> &errors,
             Spoil spoil = {}) {
  return {name, request, status, std::vector<int32_t>(request[4] + request[5] * size_t{256}), errors, std::move(spoil)};
}

const Action kToPort1 = output({port(1)});
const std::string kNoShadow = "oftab_cp_current_to_shadow\\(\\) Exit. Malloc failure \n";

const Case kCases[] = {
    conversion("Counter", {}, -9, "\ncreating stats_id failed, sdkrc 77\n", failing("libsdk_l3_route_stats_create", 2)),
    conversion("Tree", {.action = kToPort1}, -10, "\\w+:tree_create_batch failed for ltl_index : 8193",
               failing("libsdk_mcst_tree_create")),
    conversion("TreePorts", {.action = kToPort1}, -10, "\\w+: Error programming LTL for mcast_id = 8193 Error= 77 \n",
               failing("libsdk_mcst_tree_group_add")),
    conversion("ResultType", {.action = {.type = 3, .outputs = {port(1)}}}, -11, "\\w+: invalid result type:3 \n"),
    conversion("Vlan", {.value = {.ethertype = 0x806, .vlan = 4095}, .mask = {.ethertype = 0xffff}, .action = kToPort1},
               -3, "oftab_convert_vmr_to_hw_arp_vmr: Failed to get bd for vlan 4095.\n"),
    conversion("Ifindex", {.value = {.ifindex = 0x1b002000}, .mask = {.ifindex = 0xffffffff}}, -3,
               "oftab_convert_vmr_to_hw_eth_vmr:[0-9]+: l3lif_get_iif_for_ifindex_new failed  for 1b002000\n"),
    refusal("ShadowArray", three({}), -3, {kNoShadow, "Copy current to shadow failed \n"}, short_of_memory(kFullArray)),
    refusal("ShadowArrayOfDelete", erase({1}), -3, {kNoShadow, "copy current to shadow failed \n"},
            short_of_memory(kFullArray)),
    refusal("ShadowArrayOfModify", modify({{}}), -3, {kNoShadow, "Copy current to shadow failed \n"},
            short_of_memory(kFullArray)),
    refusal("Capacity", add(std::vector<Flow>(4094)), -5,
            {"oftab_cp_current_to_shadow\\(\\) Exit. Capacity exceeded\n", "Copy current to shadow failed \n"}),
    {"UnknownFlow",
     modify({{.seq_no = 2}, {.seq_no = 99}, {.seq_no = 1, .action = kToPort1}}),
     -3,
     {0, -1, 0},
     {"oftab_modify_entries_top_down: Entry modify failed. Update for Extra/unknown entries requested 2/3",
      "Insert entries failed \n"},
     {}},
    refusal("UnknownOperation", entry_request(5, std::vector<Flow>(2)), -3, {"Invalid operation :5\n"}),
};

class Failure : public SwitchTest, public testing::WithParamInterface<Case> {
 protected:
  Failure() { set_up({add({numbered_flow(1, 50), numbered_flow(2, 40, output({port(7)}))})}); }
};

TEST_P(Failure, IsReportedAndChangesNothing) {
  const Case &row = GetParam();
  const State before = state();
  sw.tracing().clear();
  if (row.spoil) {
    row.spoil(*this);
  }
  const Response response = submit(row.request);
  EXPECT_EQ(response.status, row.status);
  EXPECT_EQ(response.entry_statuses(), row.entries);
  std::vector<testing::Matcher<std::string>> errors;
  for (const std::string &error : row.errors) {
    errors.push_back(testing::MatchesRegex(error));
  }
  EXPECT_THAT(traced(102), testing::ElementsAreArray(errors));
  EXPECT_TRUE(state() == before);
  EXPECT_EQ(oftab_hw_rsrc_g.shadow_table->tcam_entry, nullptr);

  let_allocations_pass();
  set_up({three({.action = kToPort1})});
}

INSTANTIATE_TEST_SUITE_P(Table, Failure, testing::ValuesIn(kCases), case_name);

TEST_F(SwitchTest, EveryTracePointReachesEveryOutput) {
  sw.tracing().set_ring(true);
  sw.tracing().set_failures(true);
  std::string console;
  sw.tracing().set_console(host::services::kErrors, [&](std::string_view text) { console += text; });
  const std::string path = testing::TempDir() + "oftab_trace_" + std::to_string(getpid());
  sw.tracing().open_file(path);
  oftab_set_hw_lif_for_l2_port(0xffffffff, 9);
  submit(entry_request(5, {}));
  sw.tracing().close_file();

  const auto &failure = sw.tracing().failures().back();
  EXPECT_EQ(failure.text, "Invalid operation :5\n");
  EXPECT_EQ(failure.file, "lib/oftab/oftab_main/entry_update.cc");
  EXPECT_EQ(failure.function, "oftab_process_entry_update");
  EXPECT_EQ(sw.tracing().ring().size(), sw.tracing().history().size());
  EXPECT_THAT(console, testing::HasSubstr("Invalid operation :5\n"));
  std::ifstream file(path);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  EXPECT_THAT(text, testing::ContainsRegex("\nThu Jan  1 00:00:00 1970 warning.oftab_set_hw_lif_for_l2_port:[0-9]+.:"
                                           "oftab_set_hw_lif_for_l2_port: ifindex 0xffffffff has no port slot \n"));
  EXPECT_THAT(text, testing::ContainsRegex("\\[Thu Jan  1 00:00:00 1970\\]error: oftab_process_entry_update\\(" +
                                           std::to_string(failure.line) + "\\): Invalid operation :5\n"));
  remove(path.c_str());
}

}  // namespace
}  // namespace test
