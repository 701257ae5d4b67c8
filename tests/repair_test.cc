// SPDX-License-Identifier: Apache-2.0
// What repair puts right from the software table, and what it leaves.
#include "host/repair.h"

#include <functional>

#include "tests/support/rig.h"

extern "C" {
#include "examples/port_check/check_table.h"
}

namespace test {
namespace {

constexpr char kWrite[] = "qtr_custom_cache_unified_entry_set";

struct RepairCase {
  const char *name;
  std::function<void(Rig &)> damage;
  std::vector<std::string> lines;
  std::set<Rig::Excuse> left{};
  unsigned misplaced = 0;         // indices that a port's own check tells of
  bool catch_all_copies = false;  // to the CPU
};

void write_directly(Rig &rig, uint16_t first, uint16_t last) {
  oftab_install_global_entry(first, last);
  for (uint16_t index = first; index <= last; ++index) {
    rig.exceptions.written[index] = rig.sw.asic().tcam().at(index);
  }
}

void refuse(Rig &rig, const char *call, uint64_t nth) {
  rig.sw.faults().fail(call, nth, 77);
}

const RepairCase kRepairs[] = {
    {"Healthy", [](Rig &) {}, {}},
    {"Stranded",
     [](Rig &rig) {
       refuse(rig, kWrite, 2);
       EXPECT_EQ(rig.submit(add({numbered_flow(8, 9), numbered_flow(9, 8)})).status, -8);
     },
     {"index 2002: erased"},
     {},
     1},
    {"InterfaceId",
     [](Rig &rig) {
       refuse(rig, kWrite, 1);
       rig.sw.change_interface_id(port(4), 0x900);
     },
     {"index 2000 (flow 1): written"},
     {},
     1},
    {"Tree",
     [](Rig &rig) {
       refuse(rig, "libsdk_mcst_tree_group_add", 1);
       rig.sw.join(port(7), kPc);
     },
     {"index 2001 (flow 2): its tree has its ports"}},
    {"PortsOfACopiedFlow",
     [](Rig &rig) {
       Action copied = output({kPc});
       copied.flags = OFTAB_ACTION_FLAG_CONTROLLER;
       copied.app_id = 8;
       rig.sw.join(port(7), kPc);
       rig.set_up({add({numbered_flow(8, 9, copied)})});
       refuse(rig, "libsdk_mcst_tree_group_add", 2);
       rig.sw.leave(port(7), kPc);
     },
     {"index 2002 (flow 8): its tree has its ports"}},
    {"TreesOfTheRecordsThatStand",  // in their flows' places, from a modification that was not to be
     [](Rig &rig) {
       const Action out = output({port(1)});
       rig.set_up({add({numbered_flow(7, 10, out), numbered_flow(8, 9, out), numbered_flow(9, 8)}),
                   modify({numbered_flow(7, 10, deny()), numbered_flow(8, 9, controller())})});
       rig.sw.faults().fail(kWrite, 3, 77, host::services::Repeat::FromThenOn);
       EXPECT_EQ(rig.submit(modify({numbered_flow(7, 10, out), numbered_flow(8, 9, out), numbered_flow(9, 8)})).status,
                 -8);
     },
     {"index 2002 (flow 7): written", "index 2003 (flow 8): written"},
     {},
     2},
    {"Releases",
     [](Rig &rig) {
       rig.set_up({add({numbered_flow(8, 9, output({port(1)}))})});
       refuse(rig, "libsdk_mcst_tree_destroy", 1);
       refuse(rig, "libsdk_l3_route_stats_destroy", 1);
       rig.set_up({erase({8})});
     },
     {"counter 4: released", "tree 8193: released"}},
    {"DirectWrites",
     [](Rig &rig) {
       write_directly(rig, 2001, 2001);
       write_directly(rig, 3000, 3003);
       write_directly(rig, 3005, 3005);
     },
     {"index 2001 (flow 2): written", "index 3000 to 3003: erased", "index 3005: erased"},
     {},
     6},
    {"CatchAllOverwritten",
     [](Rig &rig) {
       rig.set_up({set_catch_all(controller())});
       write_directly(rig, 4095, 4095);
       rig.set_up({erase({})});  // the library takes it for the catch-all
     },
     {"index 4095 (the catch-all): written"},
     {},
     0,
     true},
    {"OtherResult",
     [](Rig &rig) {
       host::asic::Record record = rig.sw.asic().tcam().at(2001);
       record.result[4] ^= 1U;
       rig.sw.asic().tcam().put(2001, record);
     },
     {"index 2001 (flow 2): written"},
     {},
     1},
    {"FailedAction",
     [](Rig &rig) { rig.submit(modify({{.seq_no = 2, .action = controller(9)}})); },
     {"index 2001 (flow 2): its modification failed, it has no tree (modify the flow until that succeeds, or delete "
      "and "
      "add it)"},
     {{host::State::FailedAction, 2}}},
};

class RepairTest : public SwitchTest, public testing::WithParamInterface<RepairCase> {};

TEST_P(RepairTest, DoesWhatItSays) {
  Flow denied = numbered_flow(1, 50, deny());
  denied.value.ifindex = port(4);
  denied.mask.ifindex = 0xffffffff;
  sw.interfaces().create_pc(kPc);
  set_up({add({denied, numbered_flow(2, 40, output({kPc}))})});
  GetParam().damage(*this);
  EXPECT_EQ(check_table(), GetParam().misplaced);
  sw.faults().disarm();
  sw.faults().reset();
  std::vector<std::string> lines;
  for (const host::Repair &each : host::repair(sw, exceptions)) {
    lines.push_back(each.text());
  }
  EXPECT_EQ(lines, GetParam().lines);
  EXPECT_EQ(sw.faults().sdk_calls() > 0, !lines.empty());
  EXPECT_EQ(sw.inject(port(4), packet_of(1)).verdict, host::asic::Verdict::Drop);
  EXPECT_EQ(sw.inject(port(4), packet_of(77)).cpu_code.has_value(), GetParam().catch_all_copies);
  excused = GetParam().left;
  EXPECT_EQ(check_table(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Damages, RepairTest, testing::ValuesIn(kRepairs), case_name);

}  // namespace
}  // namespace test
