// Fails the first host or SDK call of a scenario, then the second, and so on until the scenario runs through; each once
// for that call alone and once from that call on. Then the same for every allocation of the library.
//
// Whatever fails: no crash, one answer where one is due, a clean audit, the same again succeeds without the fault, and
// no memory is lost.
#include <algorithm>
#include <functional>

#include "tests/support/allocations.h"
#include "tests/support/child.h"
#include "tests/support/rig.h"

namespace test {
namespace {

constexpr int32_t kCode = 77;
constexpr uint64_t kMaxFaults = 500;  // no scenario makes as many calls

// What a scenario came to.
struct Outcome {
  int32_t status = 0;
  bool request = false;
  std::vector<Bytes> answers{};
};

using Act = std::function<Outcome(Rig &)>;

struct Scenario {
  const char *name;
  Act act;
  bool empty_table = false;
  bool repeatable = true;  // succeeds again after it has succeeded
};

Act request(const Bytes &message, uint32_t code = OFTAB_MSG_ENTRY_UPDATE) {
  return [=](Rig &rig) {
    const host::Reply reply = rig.sw.submit(code, message);
    return Outcome{reply.responses.empty() ? reply.handler_result : status_of(reply.responses[0]), true,
                   reply.responses};
  };
}

Act intf_update(uint32_t op) {
  return request(intf_request(op, {port(1), port_channel(1)}), OFTAB_MSG_INTF_UPDATE);
}

Act stats_query(uint32_t op, const std::vector<uint32_t> &seq_nos) {
  return request(stats_request(op, seq_nos), OFTAB_MSG_GET_STATS);
}

Act call(const std::function<int32_t(Rig &)> &operation) {
  return [=](Rig &rig) { return Outcome{.status = operation(rig)}; };
}

// A flow for which every kind of call is made.
Flow full_flow(uint32_t seq_no, uint32_t priority) {
  Flow flow = numbered_flow(seq_no, priority, copied(output({port_channel(1), port(2)})));
  flow.value.ifindex = port(4);
  flow.mask.ifindex = 0xffffffff;
  flow.value.vlan = 10;
  flow.mask.vlan = 0xfff;
  return flow;
}

int32_t lose_catch_all(Rig &rig) {
  oftab_clear_catch_all(OFTAB_CATCH_ALL_INDEX, OFTAB_CATCH_ALL_INDEX);
  return request(add({numbered_flow(21, 90)}))(rig).status;
}

int32_t change_id(Rig & /*rig*/) {
  static uint32_t id = 0x900;
  oftab_update_l2lif_for_ifindex(port(4), ++id);
  return 0;
}

int32_t member_joins(Rig & /*rig*/) {
  oftab_port_channel_intf_update(port(7), port_channel(1), 1);
  return 0;
}

const Bytes kAddThree = add({full_flow(21, 90), numbered_flow(22, 45, deny()), full_flow(23, 5)});
const Bytes kModifyThree = modify({{.seq_no = 1, .action = deny()},
                                   {.seq_no = 2, .action = output({port_channel(1), port_channel(2)})},
                                   {.seq_no = 3, .action = copied(output({port(9), port_channel(2)}))}});

const Scenario kScenarios[] = {
    {.name = "FirstAdd", .act = request(kAddThree), .empty_table = true},
    {.name = "Add", .act = request(kAddThree)},
    {.name = "AddWithLostCatchAll", .act = call(lose_catch_all)},
    {.name = "Delete", .act = request(erase({1, 3, 99}))},
    {.name = "DeleteAll", .act = request(erase({1, 2, 3, 5}))},
    {.name = "Modify", .act = request(kModifyThree)},
    {.name = "Purge", .act = request(purge())},
    {.name = "Compact", .act = call([](Rig &) { return oftab_defragment_entries(); })},
    {.name = "CatchAll", .act = request(set_catch_all(controller()))},
    {.name = "AddInterfaces", .act = intf_update(OFTAB_INTF_ADD), .repeatable = false},
    {.name = "DeleteInterfaces", .act = intf_update(OFTAB_INTF_DELETE)},
    {.name = "AllStatistics", .act = stats_query(OFTAB_STATS_ALL, {})},
    {.name = "ListedStatistics", .act = stats_query(OFTAB_STATS_LISTED, {1, 9})},
    {.name = "ClearStatistics", .act = stats_query(OFTAB_STATS_CLEAR, {})},
    {.name = "Collection", .act = call([](Rig &) { return hdm_oftab_stats_timer_handler(); })},
    {.name = "MemberJoins", .act = call(member_joins)},
    {.name = "InterfaceId", .act = call(change_id)},
};

// One attempt, with one fault, on a library that has done nothing but what prepare() asks of it.
class Attempt {
 public:
  explicit Attempt(const Scenario &scenario) : scenario_(scenario) {
    rig_.sw.boot();
    rig_.sw.tracing().set_history(host::services::kErrors);
    blocks_ = allocated_blocks();
    prepare();
  }

  Rig &rig() { return rig_; }

  // Whether there was a fault to inject.
  bool run() {
    outcome_ = scenario_.act(rig_);
    rig_.sw.faults().disarm();
    let_allocations_pass();
    const bool struck = !rig_.sw.faults().injected().empty() || failed_allocations() > 0;
    check_answer(struck);
    check_state();
    if (struck && (scenario_.repeatable || outcome_.status != 0)) {
      repeat();
    }
    check_memory();
    return struck;
  }

 private:
  // Port channels, and a table with flows of every kind and a hole in its middle.
  void prepare() {
    for (const uint32_t number : {1U, 2U}) {
      rig_.sw.interfaces().create_pc(port_channel(number));
      rig_.sw.interfaces().join(port(20 + number), port_channel(number));
    }
    if (!scenario_.empty_table) {
      rig_.set_up({add({full_flow(1, 50), numbered_flow(2, 40), full_flow(3, 30), numbered_flow(4, 20, deny()),
                        numbered_flow(5, 10, output({port(3)}))}),
                   erase({4})});
    }
    rig_.sw.faults().reset();
  }

  bool injected(std::string_view name) {
    return std::ranges::any_of(rig_.sw.faults().injected(),
                               [=](host::services::Call each) { return host::services::name(each) == name; });
  }

  bool traced(const char *part) {
    return std::ranges::any_of(rig_.traced(102),
                               [=](const std::string &text) { return text.find(part) != std::string::npos; });
  }

  bool out_of_memory_at_commit() { return traced("copy shadow to current failed"); }

  void check_answer(bool struck) {
    const bool prevented = injected("hdm_ipq_handler_init") || injected("ipq_payload_get") ||
                           injected("fu_ipq_send_response") || traced("Malloc error") || traced("() Malloc failure");
    if (outcome_.request) {
      EXPECT_EQ(outcome_.answers.size(), prevented ? 0U : 1U);
    }
    EXPECT_TRUE(struck || outcome_.status == 0) << "status " << outcome_.status << " without a fault";
  }

  // The differences that the failure explains.
  void except() {
    host::AuditExceptions &exceptions = rig_.exceptions;
    const std::string_view name = scenario_.name;
    exceptions.stale_flow_masks = name == "Purge";
    exceptions.missing_flow_bits = injected("avl_insert") || failed_allocations() > 0;
    exceptions.failed_programming = traced("Programming entries failed") || traced("Entry movement");
    exceptions.stale_trees = name == "MemberJoins" && injected("libsdk_mcst_tree_group_add");
    if (name == "InterfaceId" && injected("qtr_custom_cache_unified_entry_set")) {
      exceptions.failed_rewrites = {index_of(1), index_of(3)};
    }
    if (name == "Modify" && (injected("libsdk_mcst_tree_create") || injected("libsdk_mcst_tree_group_add"))) {
      exceptions.failed_modifies = {index_of(1), index_of(2), index_of(3)};
    }
  }

  static uint16_t index_of(uint32_t seq_no) { return find_record(seq_no)->tcam_index; }

  void check_state() {
    if (!out_of_memory_at_commit()) {
      except();
      rig_.expect_sound();
    }
  }

  void repeat() {
    SCOPED_TRACE("repeated without the fault");
    const bool lost_table = out_of_memory_at_commit();
    const Outcome again = scenario_.act(rig_);
    EXPECT_EQ(again.answers.size(), again.request ? 1U : 0U);
    if (lost_table) {
      return;
    }
    EXPECT_EQ(again.status, 0);
    if (scenario_.name == std::string_view("Modify")) {
      EXPECT_THAT(decode(again.answers.at(0)).entry_statuses(), testing::Each(0));
    }
    host::AuditExceptions lasting;
    lasting.stale_flow_masks = rig_.exceptions.stale_flow_masks;
    lasting.missing_flow_bits = rig_.exceptions.missing_flow_bits;
    rig_.exceptions = lasting;
    rig_.expect_sound();
  }

  // Without flows the library holds what it held without flows before.
  void check_memory() {
    if (rig_.exceptions.stale_flow_masks || out_of_memory_at_commit()) {
      return;
    }
    std::vector<uint32_t> seq_nos;
    for (const uint32_t seq_no : {1U, 2U, 3U, 5U, 21U, 22U, 23U}) {
      seq_nos.insert(seq_nos.end(), 2, seq_no);
    }
    rig_.set_up({erase(seq_nos), erase(seq_nos), purge()});
    EXPECT_EQ(allocated_blocks(), blocks_);
  }

  const Scenario &scenario_;
  Rig rig_;
  int64_t blocks_ = 0;
  Outcome outcome_;
};

using Arm = void (*)(Rig &rig, uint64_t nth, bool from_then_on);

void fail_host_call(Rig &rig, uint64_t nth, bool from_then_on) {
  using host::services::Repeat;
  rig.sw.faults().fail_any(nth, kCode, from_then_on ? Repeat::FromThenOn : Repeat::Once);
}

void fail_library_allocation(Rig & /*rig*/, uint64_t nth, bool from_then_on) {
  fail_allocation(nth, from_then_on);
}

class FaultSweep : public testing::TestWithParam<Scenario> {
 protected:
  // Gives the number of attempts that a fault struck.
  static uint64_t sweep(Arm arm, bool from_then_on) {
    for (uint64_t nth = 1; nth <= kMaxFaults; ++nth) {
      const ChildResult result = in_child([=] {
        Attempt attempt(GetParam());
        arm(attempt.rig(), nth, from_then_on);
        return attempt.run() ? 1 : 0;
      });
      EXPECT_FALSE(result.failed()) << "fault " << nth << (from_then_on ? " and all that follow" : "");
      if (result.value <= 0) {
        return nth - 1;
      }
    }
    ADD_FAILURE() << "the scenario does not come to an end";
    return kMaxFaults;
  }
};

TEST_P(FaultSweep, HostCalls) {
  EXPECT_GT(sweep(fail_host_call, false), 0U);
  EXPECT_GT(sweep(fail_host_call, true), 0U);
}

TEST_P(FaultSweep, Allocations) {
  const uint64_t struck = sweep(fail_library_allocation, false);
  EXPECT_EQ(sweep(fail_library_allocation, true) > 0, struck > 0);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultSweep, testing::ValuesIn(kScenarios), case_name);

}  // namespace
}  // namespace test
