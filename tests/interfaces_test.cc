// SPDX-License-Identifier: Apache-2.0
// Interface requests: the table of OpenFlow interfaces, and LLDP on their ports.
#include <algorithm>

#include "tests/support/rig.h"

namespace test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Numbers = std::vector<uint32_t>;

constexpr uint32_t kAdd = 1;
constexpr uint32_t kDelete = 2;
constexpr uint32_t kUnknown = 0x1b020000;  // in location 32, without an interface behind it

// The current table, by location; it must agree with its count.
Numbers table() {
  Numbers ifindexes(std::begin(oftab_hw_rsrc_g.intf_tbl), std::end(oftab_hw_rsrc_g.intf_tbl));
  std::erase(ifindexes, 0xffffffffU);
  EXPECT_EQ(oftab_hw_rsrc_g.intf_count, ifindexes.size());
  return ifindexes;
}

// Port channel 5 is in location 0.
class Interfaces : public PortChannelTest {
 protected:
  Interfaces() { sw.interfaces().join(port(3), kPc); }

  host::Reply request(uint32_t intf_op, const Numbers &ifindexes) {
    return sw.submit(OFTAB_MSG_INTF_UPDATE, intf_request(intf_op, ifindexes));
  }

  // SDK ports whose LLDP static match is off.
  Numbers lldp_off() {
    Numbers ports(48);
    std::ranges::generate(ports, [port = 0U]() mutable { return ++port; });
    std::erase_if(ports,
                  [&](uint32_t port) { return sw.asic().static_matches().lldp(static_cast<uint8_t>(port)) == 1U; });
    return ports;
  }
};

struct Step {
  uint32_t intf_op;
  int32_t status;  // of the request
  Numbers ifindexes;
  std::vector<int32_t> statuses;
  Numbers table;
  Numbers lldp_off;
};

TEST_F(Interfaces, AreAddedAndDeleted) {
  const Numbers three{port(0), port(1), port(47)};
  const Numbers four{port(0), port(1), port(2), port(47)};
  const Step steps[] = {
      {kAdd, 0, {port(1), port(47), port(0)}, {0, 0, 0}, three, {1, 2, 48}},
      {kAdd, -1, {port(1)}, {-1}, three, {1, 2, 48}},
      {kAdd, -1, {kPc}, {-1}, three, {1, 2, 48}},
      {kAdd, -7, {0xffffffff}, {-7}, three, {1, 2, 48}},
      {kAdd, -1, {port(1), port(2), port(5)}, {-1, 0, 0}, three, {1, 2, 3, 6, 48}},
      {kAdd, -1, {port(4), port(4)}, {0, -1}, three, {1, 2, 3, 5, 6, 48}},
      {kAdd, -1, {port(255), port(1)}, {-7, -1}, three, {1, 2, 3, 5, 6, 48}},
      {kAdd, -7, {port(1), port(48)}, {-1, -7}, three, {1, 2, 3, 5, 6, 48}},
      {kAdd, 0, {port(2)}, {0}, four, {1, 2, 3, 5, 6, 48}},
      {kDelete, 0, {}, {}, four, {1, 2, 3, 5, 6, 48}},
      {kDelete, 0, {port(4), 0x1b001000, 0xffffffff, port(5)}, {0, 0, 0, 0}, four, {1, 2, 3, 48}},
      {kDelete, 0, {port(47), port(0), port(47)}, {0, 0, 0}, {port(1), port(2)}, {2, 3}},
      {kAdd, 0, {kPc, kUnknown, port(6)}, {0, 0, 0}, {kPc, port(1), port(2), port(6), kUnknown}, {2, 3, 4, 7, 10}},
      {kDelete, 0, {kPc}, {0}, {port(1), port(2), port(6), kUnknown}, {2, 3, 7}},
      {kDelete, 0, {port(1), kUnknown, port(2), port(6)}, {0, 0, 0, 0}, {}, {}},
  };
  set_up({add({numbered_flow(1, 5)})});
  const State before = state();
  const host::asic::NoTcamWrites no_writes(sw.asic().tcam());
  for (const Step &step : steps) {
    SCOPED_TRACE(&step - steps);
    const host::Reply reply = request(step.intf_op, step.ifindexes);
    const Response response = decode(reply.responses.at(0));  // laid out like the answer to an entry request
    EXPECT_EQ(reply.handler_result, step.status);
    EXPECT_EQ(response.status, step.status);
    EXPECT_EQ(response.entry_statuses(), step.statuses);
    EXPECT_EQ(table(), step.table);
    EXPECT_EQ(lldp_off(), step.lldp_off);
    EXPECT_TRUE(state() == before);
  }
  EXPECT_THAT(traced(104), testing::IsSupersetOf({"oftab_cp_current_to_shadow() Enter. entry_update:0 num_entries:0 \n",
                                                  "oftab_process_del_intf() Exit. Status=0 \n"}));
}

TEST_F(Interfaces, RequestsAreAnsweredByteByByte) {
  const Exchange cases[] = {
      {"01000000 0000 3412", 0, "01000000 0000 0000 00000000",
       "\nIntf Update Req\nintf_op:1 \nnum_intfs:0 \nintf_op:1  num_intfs:0 status:0 \n"},
      {"01000000 0200 0000 00f0021a 44332211 0000031a 01000000", -7,
       "01000000 0200 0000 f9ffffff 00f0021a 44332211 00000000 0000031a 01000000 f9ffffff",
       "\nIntf Update Req\nintf_op:1 \n"
       "num_intfs:2  index=0x1a02f000  context=0x11223344  index=0x1a030000  context=0x1 \n"
       "Adding ifindex 0x1a02f000 at location:47 \nintf_op:1  num_intfs:2 status:-7 \n"
       "  index:0x1a02f000  context:0x11223344  status:0 \n  index:0x1a030000  context:0x1  status:-7 \n"},
      {"02000000 0100 0000 0020001a 44332211", 0, "02000000 0100 0000 00000000 0020001a 44332211 00000000",
       "\nIntf Update Req\nintf_op:2 \nnum_intfs:1  index=0x1a002000  context=0x11223344 \n"
       "Intfs deleted \nintf_op:2  num_intfs:1 status:0 \n  index:0x1a002000  context:0x11223344  status:0 \n"},
      {"03000000 0100 0000 0010001a 44332211", -1, "03000000 0100 0000 fdffffff 000000000000000000000000",
       "\nIntf Update Req\nintf_op:3 \nnum_intfs:1  index=0x1a001000  context=0x11223344 \n"
       "intf_op:3  num_intfs:1 status:-3 \n  index:0x0  context:0x0  status:0 \n"},
  };
  request(kAdd, {port(2)});
  for (const Exchange &row : cases) {
    expect_exchange(OFTAB_MSG_INTF_UPDATE, row);
  }
}

TEST_F(Interfaces, LldpIsSetForEveryMemberInTurn) {
  sw.interfaces().set_asic_port(port(8), 255);
  sw.interfaces().set_asic_port(port(4), std::nullopt);
  sw.interfaces().join(port(4), kPc);
  sw.interfaces().join(port(8), kPc);
  sw.call_log().set_on(true);
  sw.faults().fail("libsdk_port_static_match_enable_set", 2, 77);
  sw.faults().fail("HDM_HDIM_FIND_LIF", 2, 77);       // of port 1, which is asked for its port all the same
  EXPECT_EQ(oftab_update_lldp_sm_mask(kPc, 1), 115);  // the ASIC has no port 0
  EXPECT_EQ(request(kAdd, {port(1), kUnknown}).handler_result, 0);
  EXPECT_THAT(sw.call_log().lines(), ElementsAre("libsdk_port_static_match_enable_set(port 10, match 7, enable 1) = 0",
                                                 "libsdk_port_static_match_enable_set(port 4, match 7, enable 1) = 77",
                                                 "libsdk_port_static_match_enable_set(port 0, match 7, enable 1) = 115",
                                                 "libsdk_port_static_match_enable_set(port 2, match 7, enable 0) = 0"));
  EXPECT_THAT(traced(103), ElementsAre("oftab_update_lldp_sm_mask: no port for ifindex 0x1a004000 \n",
                                       "oftab_update_lldp_sm_mask: no port for ifindex 0x1b020000 \n"));
  EXPECT_EQ(oftab_update_lldp_sm_mask(kUnknown, 1), 0);
}

TEST_F(Interfaces, FlowRequestsDoNotAddButPurgeRemoves) {
  set_up({add({{.value = {.ifindex = port(1)}, .mask = {.ifindex = 0xffffffff}}})});
  EXPECT_EQ(request(kAdd, {port(1), port(2)}).handler_result, 0);
  set_up({purge()});
  EXPECT_THAT(traced(104), testing::Contains("oftab_purge_all_entries() Exit. Entries deleted:1\n"));
  EXPECT_THAT(table(), IsEmpty());
  EXPECT_EQ(oftab_hw_rsrc_g.shadow_intf_count, 0);
  EXPECT_THAT(oftab_hw_rsrc_g.shadow_intf_tbl, testing::Each(0xffffffffU));
  EXPECT_THAT(lldp_off(), ElementsAre(2, 3));
}

}  // namespace
}  // namespace test
