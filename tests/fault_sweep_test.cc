// SPDX-License-Identifier: Apache-2.0
// Fails the calls of a scenario: the first host or SDK call or allocation of the library, then the second, and so on
// until the scenario runs through; each once for that call alone and once from that call on. Then two faults at a time.
// The ordinary run takes a sample of the pairs; OFTAB_PAIRS=all takes every one.
//
// Whatever fails: no crash, one answer where one is due, the table as it was unless the request succeeded, no live flow
// lost, no difference between table and hardware but those that the failures explain, and of these none that should not
// outlast the next request. The same again succeeds without the faults, and nothing is lost in the end.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>

#include "host/table_snapshot.h"
#include "tests/support/allocations.h"
#include "tests/support/child.h"
#include "tests/support/rig.h"

namespace test {
namespace {

constexpr int32_t kCode = 77;
constexpr uint64_t kMaxFaults = 500;  // no scenario makes as many calls

// What a scenario came to.
struct Aftermath {
  int32_t status = 0;
  bool request = false;
  std::vector<Bytes> answers{};
};

using Act = std::function<Aftermath(Rig &)>;

struct Scenario {
  const char *name;
  Act act;
  bool empty_table = false;
  bool repeatable = true;  // comes to the same after it has succeeded
  int32_t status = 0;      // what it comes to without a fault
};

Act request(const Bytes &message, uint32_t code = OFTAB_MSG_ENTRY_UPDATE) {
  return [=](Rig &rig) {
    const host::Reply reply = rig.sw.submit(code, message);
    return Aftermath{reply.responses.empty() ? reply.handler_result : status_of(reply.responses[0]), true,
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
  return [=](Rig &rig) { return Aftermath{.status = operation(rig)}; };
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

int32_t change_id(Rig &rig) {
  static uint16_t id = 0x900;
  rig.sw.change_interface_id(port(4), ++id);
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
// Undone as a whole, because of the unknown flow.
const Bytes kModifyUnknown = modify({{.seq_no = 1}, {.seq_no = 3, .action = output({port(9)})}, {.seq_no = 99}});

const Scenario kScenarios[] = {
    {.name = "FirstAdd", .act = request(kAddThree), .empty_table = true},
    {.name = "Add", .act = request(kAddThree)},
    {.name = "AddBelowTheFirst", .act = request(add({numbered_flow(24, 45, output({port_channel(2)}))}))},
    {.name = "AddWithLostCatchAll", .act = call(lose_catch_all)},
    {.name = "Delete", .act = request(erase({1, 3, 99}))},
    {.name = "DeleteAll", .act = request(erase({1, 2, 3, 5, 6, 7}))},
    {.name = "Modify", .act = request(kModifyThree)},
    {.name = "ModifyUnknown", .act = request(kModifyUnknown), .repeatable = false, .status = -3},
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

// One attempt, on a library that has done nothing but what prepare() asks of it.
class Attempt {
 public:
  explicit Attempt(const Scenario &scenario) : scenario_(scenario) {
    rig_.sw.boot();
    rig_.sw.tracing().set_history(host::services::kErrors);
    blocks_ = allocated_blocks();
    prepare();
    before_ = rig_.state();
    flow_bits_ = host::flow_bits();
  }

  Rig &rig() { return rig_; }

  // How many faults struck.
  uint64_t run() {
    outcome_ = scenario_.act(rig_);
    const uint64_t struck = rig_.sw.faults().injected().size() + failed_allocations();
    rig_.sw.faults().disarm();
    let_allocations_pass();
    check_answer(struck > 0);
    check_table();
    check_state(Moment::Now);
    check_flows();
    if (struck > 0 && !lost_table()) {
      settle();
    }
    if (struck > 0 && (scenario_.repeatable || outcome_.status != 0)) {
      repeat();
    }
    check_what_is_left();
    return struck;
  }

 private:
  enum class Moment { Now, AfterTheNextRequest };

  // Port channels, and a table with flows of every kind and a hole in its middle.
  void prepare() {
    for (const uint32_t number : {1U, 2U}) {
      rig_.sw.interfaces().create_pc(port_channel(number));
      rig_.sw.interfaces().join(port(20 + number), port_channel(number));
    }
    if (!scenario_.empty_table) {
      rig_.set_up({add({full_flow(1, 50), numbered_flow(2, 40), full_flow(3, 30), numbered_flow(4, 20, deny()),
                        numbered_flow(5, 10, output({port(3)})), numbered_flow(6, 9), numbered_flow(7, 8, deny())}),
                   erase({4})});
    }
    rig_.sw.faults().reset();
  }

  bool is(const char *name) const { return scenario_.name == std::string_view(name); }

  bool injected(std::string_view name) {
    return std::ranges::any_of(rig_.sw.faults().injected(),
                               [=](host::services::Call each) { return host::services::name(each) == name; });
  }

  bool traced(const std::string &part) {
    return std::ranges::any_of(rig_.traced(102),
                               [&](const std::string &text) { return text.find(part) != std::string::npos; });
  }

  bool lost_table() { return traced("copy shadow to current failed"); }

  void check_answer(bool struck) {
    const bool prevented = injected("hdm_ipq_handler_init") || injected("ipq_payload_get") ||
                           injected("fu_ipq_send_response") || traced("Malloc error") || traced("() Malloc failure");
    if (outcome_.request) {
      EXPECT_EQ(outcome_.answers.size(), prevented ? 0U : 1U);
    }
    EXPECT_TRUE(struck || outcome_.status == scenario_.status) << "status " << outcome_.status << " without a fault";
  }

  // A failed request or compaction leaves the table as it was, byte for byte.
  void check_table() {
    const bool changes_in_place = is("MemberJoins") || is("InterfaceId") || is("Collection");
    const bool sent = !injected("fu_ipq_send_response");
    if (outcome_.status != 0 && sent && !changes_in_place && !lost_table() && !is("ClearStatistics")) {
      EXPECT_TRUE(rig_.state().header == before_.header && rig_.state().table == before_.table);
    }
  }

  // The flows whose actions a modification answered as failed.
  std::set<uint32_t> failed_actions() const {
    std::set<uint32_t> flows;
    if (is("Modify") && outcome_.answers.empty()) {
      return {1, 2, 3};  // any of them
    }
    if (is("Modify") && outcome_.status == 0) {
      for (const oftab_resp_entry_t &entry : decode(outcome_.answers[0]).entries) {
        if (entry.status != 0) {
          flows.insert(entry.seq_no);
        }
      }
    }
    return flows;
  }

  bool may_be(const host::Finding &finding, Moment moment) {
    switch (finding.state) {
      case host::State::Disagreement:
        return false;
      case host::State::FailedAction:
        return failed_actions().contains(*finding.flow);
      case host::State::LostTable:
        return lost_table();
      case host::State::RefusedTree:
        return moment == Moment::Now || is("MemberJoins");
      case host::State::RefusedRelease:
      case host::State::Untracked:
        return true;
      default:
        return moment == Moment::Now;
    }
  }

  void check_state(Moment moment) {
    EXPECT_THAT(rig_.sw.violations().list(), testing::IsEmpty());
    rig_.exceptions.untracked.merge(rig_.untracked());
    if (is("Purge")) {
      rig_.exceptions.purged = flow_bits_;
    }
    refused_.clear();
    for (const host::Finding &finding : host::audit(rig_.sw.asic(), rig_.exceptions)) {
      EXPECT_TRUE(may_be(finding, moment)) << finding.text();
      if (finding.state == host::State::RefusedWrite && finding.flow) {
        refused_.insert(*finding.flow);
      }
    }
  }

  // Each flow of the table takes its own packets, be it with a copy, unless its record was refused.
  void check_flows() {
    for (const uint32_t seq_no : {1U, 2U, 3U, 5U, 6U, 7U, 21U, 22U, 23U, 24U}) {
      const oftab_sw_entry_t *record = find_record(seq_no);
      if (record == nullptr || refused_.contains(seq_no)) {
        continue;
      }
      host::asic::PacketHeader packet = packet_of(seq_no);
      packet.vlan = 10;
      const auto matched = rig_.sw.inject(port(4), packet).tcam_index;
      EXPECT_EQ(host::counter_named_by(rig_.sw.asic().tcam().at(matched.value())), record->stats_id)
          << "flow " << seq_no;
    }
  }

  // What a failure left goes when the next request begins.
  void settle() {
    SCOPED_TRACE("settled by the next request");
    rig_.set_up({erase({})});
    check_state(Moment::AfterTheNextRequest);
    check_flows();
  }

  void repeat() {
    SCOPED_TRACE("repeated without the faults");
    const bool lost = lost_table();
    const Aftermath again = scenario_.act(rig_);
    EXPECT_EQ(again.answers.size(), again.request ? 1U : 0U);
    outcome_ = again;
    if (lost) {
      return;
    }
    EXPECT_EQ(again.status, scenario_.status);
    EXPECT_EQ(failed_actions(), std::set<uint32_t>{});
    check_state(Moment::AfterTheNextRequest);
  }

  // Without flows the switch holds what it held without flows before, but for what the SDK refused to release.
  void check_what_is_left() {
    std::vector<uint32_t> seq_nos;
    for (const uint32_t seq_no : {1U, 2U, 3U, 5U, 6U, 7U, 21U, 22U, 23U, 24U}) {
      seq_nos.insert(seq_nos.end(), 2, seq_no);
    }
    rig_.set_up({purge(), add({numbered_flow(1, 1)}), erase(seq_nos), purge()});
    const host::asic::Asic &asic = rig_.sw.asic();
    const auto refused_counters = std::ranges::count_if(
        asic.counters().ids(), [&](uint32_t id) { return asic.counters().last_destroy_failed(id); });
    EXPECT_EQ(asic.counters().ids().size(), static_cast<size_t>(refused_counters) + 1);
    EXPECT_THAT(rig_.state().taken_indices, testing::IsEmpty());
    EXPECT_TRUE(std::ranges::all_of(asic.trees().indices(),
                                    [&](uint32_t index) { return asic.trees().last_destroy_failed(index); }));
    EXPECT_THAT(asic.tcam().valid_indices(), testing::ElementsAre(OFTAB_CATCH_ALL_INDEX));
  }

  const Scenario &scenario_;
  Rig rig_;
  int64_t blocks_ = 0;
  State before_;
  host::FlowBits flow_bits_;
  std::set<uint32_t> refused_;  // flows
  Aftermath outcome_;
};

struct Fault {
  bool allocation;  // of the library; otherwise a host or SDK call
  uint64_t nth;
  bool from_then_on;

  void arm(Rig &rig) const {
    using host::services::Repeat;
    if (allocation) {
      fail_allocation(nth, from_then_on);
    } else {
      rig.sw.faults().fail_any(nth, kCode, from_then_on ? Repeat::FromThenOn : Repeat::Once);
    }
  }

  std::string text() const {
    std::string text = allocation ? "allocation " : "call ";
    text += std::to_string(nth);
    return text + (from_then_on ? " and all that follow" : "");
  }
};

class FaultSweep : public testing::TestWithParam<Scenario> {
 protected:
  // Gives the number of faults that struck, up to 100.
  static uint64_t attempt(const std::vector<Fault> &faults) {
    const ChildResult result = in_child([&] {
      Attempt attempt(GetParam());
      for (const Fault &fault : faults) {
        fault.arm(attempt.rig());
      }
      return static_cast<int>(std::min<uint64_t>(attempt.run(), 100));
    });
    std::string what;
    for (const Fault &fault : faults) {
      what += ' ';
      what += fault.text();
    }
    EXPECT_FALSE(result.failed()) << "failing" << what;
    return result.failed() ? faults.size() : static_cast<uint64_t>(result.value);
  }

  // How many calls or allocations the undisturbed scenario makes.
  static uint64_t count(bool allocations) {
    uint64_t strikes = 0;
    for (uint64_t step = 256; step > 0; step /= 2) {
      strikes += attempt({{allocations, strikes + step, false}}) > 0 ? step : 0;
    }
    return strikes;
  }

  // Gives the number of attempts that a fault struck.
  static uint64_t sweep(bool allocation, bool from_then_on) {
    uint64_t nth = 1;
    while (nth <= kMaxFaults && attempt({{allocation, nth, from_then_on}}) > 0) {
      ++nth;
    }
    EXPECT_LE(nth, kMaxFaults) << "the scenario does not come to an end";
    return nth - 1;
  }
};

TEST_P(FaultSweep, HostCalls) {
  EXPECT_GT(sweep(false, false), 0U);
  EXPECT_GT(sweep(false, true), 0U);
}

TEST_P(FaultSweep, Allocations) {
  const uint64_t struck = sweep(true, false);
  EXPECT_EQ(sweep(true, true) > 0, struck > 0);
}

// Every pair of kinds, the second fault transient or lasting.
TEST_P(FaultSweep, Pairs) {
  const char *asked = std::getenv("OFTAB_PAIRS");
  const uint64_t stride = asked != nullptr && std::string_view(asked) == "all" ? 1 : 97;
  const uint64_t counts[] = {count(false), count(true)};  // failures make more
  uint64_t pair = 0;
  for (int kinds = 0; kinds < 8; ++kinds) {
    const bool first = (kinds & 1) != 0;
    const bool second = (kinds & 2) != 0;
    for (uint64_t nth = 1; nth <= counts[first]; ++nth) {
      for (uint64_t later = first == second ? nth + 1 : 1; later <= 2 * counts[second]; ++later) {
        if (++pair % stride == 0) {
          attempt({{first, nth, false}, {second, later, (kinds & 4) != 0}});
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultSweep, testing::ValuesIn(kScenarios), case_name);

}  // namespace
}  // namespace test
