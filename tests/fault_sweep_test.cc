// SPDX-License-Identifier: Apache-2.0
// Fails the calls of a step: the first host or SDK call or allocation of the library, then the second, and so on until
// the step runs through; each once for that call alone and once from that call on. The history's model says what may
// come of it, and of the steps behind it.
#include "tests/support/allocations.h"
#include "tests/support/child.h"
#include "tests/support/history.h"

namespace test {
namespace {

using host::services::Faults;
using host::services::Repeat;

constexpr uint64_t kHistories = 3;
constexpr uint64_t kMaxFaults = 500;  // no step makes as many calls
constexpr int kStepsBehind = 5;

struct Scenario {
  const char *name;
  std::function<void(History &)> step;
  int steps_before = 40;
};

const Scenario kScenarios[] = {
    {"FirstAdd", [](History &history) { history.add_flows(9); }, 0},
    {"Add", [](History &history) { history.add_flows(9); }},
    {"AddOne", [](History &history) { history.add_flows(1); }},
    {"AddWithLostCatchAll", &History::lose_catch_all_and_add},
    {"Delete", &History::erase_flows},
    {"Modify", &History::modify_flows},
    {"Purge", &History::purge_flows},
    {"Compact", &History::compact},
    {"CatchAll", &History::set_catch_all_action},
    {"AddInterfaces", [](History &history) { history.change_interfaces(OFTAB_INTF_ADD); }},
    {"DeleteInterfaces", [](History &history) { history.change_interfaces(OFTAB_INTF_DELETE); }},
    {"AllStatistics", [](History &history) { history.ask_for_statistics(OFTAB_STATS_ALL); }},
    {"ListedStatistics", [](History &history) { history.ask_for_statistics(OFTAB_STATS_LISTED); }},
    {"ClearStatistics", &History::clear_statistics},
    {"Collection", &History::collect},
    {"Membership", &History::change_membership},
    {"InterfaceId", &History::change_interface_id},
};

class FaultSweep : public testing::TestWithParam<Scenario> {
 protected:
  using Fail = std::function<void(Faults &, uint64_t nth)>;

  // Gives the number of attempts that a fault struck.
  static uint64_t sweep(const Fail &fail) {
    uint64_t struck = 0;
    for (uint64_t seed = 1; seed <= kHistories; ++seed) {
      const ChildResult result = in_child([&] {
        History history(seed, false);
        history.play(GetParam().steps_before);
        return sweep(history, fail);
      });
      EXPECT_FALSE(result.failed()) << "history " << seed;
      struck += static_cast<uint64_t>(std::max(result.value, 0));
    }
    return struck;
  }

 private:
  static int sweep(History &history, const Fail &fail) {
    for (uint64_t nth = 1; nth <= kMaxFaults; ++nth) {
      const ChildResult result = in_child([&] {
        const bool struck = history.strike(GetParam().step, [&](Faults &faults) { fail(faults, nth); });
        history.play(kStepsBehind);
        return struck ? 1 : 0;
      });
      EXPECT_FALSE(result.failed()) << "fault " << nth;
      if (result.value == 0) {
        return static_cast<int>(std::min<uint64_t>(nth - 1, 100));
      }
    }
    ADD_FAILURE() << "the step does not come to an end";
    return 0;
  }
};

TEST_P(FaultSweep, HostCalls) {
  for (const Repeat repeat : {Repeat::Once, Repeat::FromThenOn}) {
    EXPECT_GT(sweep([=](Faults &faults, uint64_t nth) { faults.fail_any(nth, 77, repeat); }), 0U);
  }
}

TEST_P(FaultSweep, Allocations) {
  const uint64_t struck = sweep([](Faults & /*faults*/, uint64_t nth) { fail_allocation(nth); });
  const uint64_t lastingly = sweep([](Faults & /*faults*/, uint64_t nth) { fail_allocation(nth, true); });
  EXPECT_EQ(lastingly > 0, struck > 0);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultSweep, testing::ValuesIn(kScenarios), case_name);

}  // namespace
}  // namespace test
