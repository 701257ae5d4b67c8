// SPDX-License-Identifier: Apache-2.0
// The agent's batches, packets, ports and its view of what others did to the library.
#include "agent/agent.h"

#include <algorithm>
#include <map>

#include "agent/table_view.h"
#include "tests/support/random_flows.h"
#include "tests/support/rig.h"

namespace agent {
namespace {

using test::port;
using Command = FlowMod::Command;
using Kind = AgentError::Kind;
using Bytes = std::vector<uint8_t>;

// An ARP frame from 02:00:00:00:00:01 to all.
Bytes arp_frame() {
  Bytes frame(60);
  std::fill_n(frame.begin(), 6, uint8_t{0xff});
  frame[6] = 2;
  frame[11] = 1;
  frame[12] = 0x08;
  frame[13] = 0x06;
  return frame;
}

class AgentTest : public testing::Test, public Listener, public Wire {
 protected:
  AgentTest() {
    agent_.subscribe(*this);
    agent_.packets().connect(this);
  }
  void TearDown() override {
    EXPECT_THAT(agent_.audit(), testing::IsEmpty());
    rig_.expect_sound();
  }

  static test::Rig &booted(test::Rig &rig) {
    rig.sw.boot();
    rig.sw.interfaces().create_pc(test::port_channel(1));
    rig.sw.interfaces().join(port(4), test::port_channel(1));
    rig.sw.interfaces().join(port(5), test::port_channel(1));
    return rig;
  }

  // A flow of its own for each number.
  static FlowMod numbered(uint32_t number, uint32_t priority, std::vector<Action> actions = {}) {
    FlowMod mod;
    mod.flow.priority = priority;
    mod.flow.match[Field::DlSrc] = {number, kExactMac};
    mod.flow.actions = std::move(actions);
    return mod;
  }

  static FlowMod deletion_of(FlowMod mod) {
    mod.command = Command::DeleteStrict;
    return mod;
  }

  std::optional<Kind> apply(const FlowMod &mod) {
    const auto errors = agent_.apply({&mod, 1});
    return errors.empty() ? std::nullopt : std::optional(errors.at(0).kind);
  }

  bool packet_in(const PacketIn &packet) override {
    packet_ins_.push_back(packet);
    return true;
  }
  void flow_removed(const RemovedFlow &removed) override {
    if (failing_) {
      throw std::runtime_error("no memory");
    }
    removed_.push_back(*removed.entry.flow.priority);
  }
  void flows_waiting(size_t flows) override { waiting_.push_back(flows); }
  void port_changed(const PortChange &change) override { changes_.emplace_back(change.reason, change.port.name); }
  void transmit(uint32_t ifindex, Frame frame) override {
    EXPECT_EQ(frame.size(), arp_frame().size());
    sent_.push_back((ifindex >> 12 & 0xff) + 1);
  }

  test::Rig rig_;
  Agent agent_{booted(rig_).sw};
  std::vector<PacketIn> packet_ins_;
  std::vector<uint32_t> removed_;
  std::vector<size_t> waiting_;
  bool failing_ = false;
  std::vector<std::pair<PortChange::Reason, std::string>> changes_;
  std::vector<uint32_t> sent_;  // ports, from 1
};

TEST_F(AgentTest, BatchesKeepTheOrderInFewRequests) {
  test::Dice dice(11);
  uint32_t number = 0;
  for (int round = 0; round < 60; ++round) {
    const uint32_t most = dice.one_in(3) ? 4095 : 200;
    const uint32_t spread = dice.one_in(3) ? 1 : dice.one_in(2) ? 3 : 5000;
    const uint32_t room = FlowTable::kCapacity - static_cast<uint32_t>(agent_.flows().size());
    std::vector<FlowMod> mods;
    for (uint32_t left = std::min(room, dice.below(most)); left > 0; --left) {
      mods.push_back(numbered(++number, dice.below(spread)));
    }
    rig_.sw.faults().reset();
    EXPECT_THAT(agent_.apply(mods), testing::IsEmpty());
    EXPECT_LE(rig_.sw.faults().calls("hdm_ipq_handler_init"), 4U);
    std::vector<uint32_t> priorities;
    for (const InstalledFlow &flow : installed_flows(rig_.sw)) {
      priorities.push_back(priority_of(flow.flow));
    }
    EXPECT_EQ(priorities.size(), agent_.flows().size());
    EXPECT_TRUE(std::ranges::is_sorted(priorities, std::ranges::greater()));
    std::vector<FlowMod> deletions;
    for (const auto &[seq_no, entry] : agent_.flows().entries()) {
      if (dice.one_in(2)) {
        deletions.push_back({.command = Command::DeleteStrict, .flow = entry.flow});
      }
    }
    agent_.apply(deletions);
  }
}

// What a listener throws ends what it was told of, and nothing else: the agent's table stays the library's.
TEST_F(AgentTest, SurvivesExceptionsOfListeners) {
  FlowMod flow = numbered(1, 1, {output_to(port(8))});
  flow.flow.hard_timeout = 5;
  agent_.apply(std::vector{flow, numbered(2, 2), numbered(3, 3)});
  failing_ = true;
  EXPECT_THROW(agent_.advance(std::chrono::seconds(6)), std::runtime_error);
  EXPECT_THROW(agent_.apply(std::vector{deletion_of(numbered(2, 2)), numbered(4, 4)}), std::runtime_error);
  failing_ = false;
  agent_.advance(std::chrono::seconds(6));
  EXPECT_EQ(apply(numbered(5, 5)), std::nullopt);
  EXPECT_THAT(agent_.audit(), testing::IsEmpty());
  EXPECT_EQ(agent_.flows().find(numbered(1, 1).flow.match, 1), nullptr);
  EXPECT_NE(agent_.flows().find(numbered(3, 3).flow.match, 3), nullptr);
  EXPECT_NE(agent_.flows().find(numbered(5, 5).flow.match, 5), nullptr);
}

TEST_F(AgentTest, FillsTheTableAndReplacesInIt) {
  std::vector<FlowMod> mods;
  for (uint32_t i = 1; i <= FlowTable::kCapacity; ++i) {
    mods.push_back(numbered(i, i, std::vector<Action>(i < 10 ? 1 : 0, output_to(port(1)))));
  }
  mods.push_back(numbered(0, 1));
  const auto errors = agent_.apply(mods);
  EXPECT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors.at(FlowTable::kCapacity).kind, Kind::TableFull);
  EXPECT_EQ(agent_.flows().entries().rbegin()->first, FlowTable::kCapacity);
  EXPECT_EQ(apply(numbered(7, 7)), std::nullopt);
  FlowMod change = numbered(8, 8);
  change.command = Command::ModifyStrict;
  EXPECT_EQ(apply(change), std::nullopt);
  EXPECT_EQ(agent_.flows().size(), FlowTable::kCapacity);
  EXPECT_THAT(agent_.audit(), testing::IsEmpty());
  rig_.exceptions.purged = host::flow_bits();
  EXPECT_TRUE(agent_.purge());
  EXPECT_EQ(removed_.size(), FlowTable::kCapacity);
}

TEST_F(AgentTest, NamesWhatItRefuses) {
  const auto with_actions = [](std::vector<Action> actions) { return numbered(1, 1, std::move(actions)); };
  FlowMod taken = numbered(2, 1);
  taken.flow.seq_no = 1;
  Action wrong_application = output_to(kPortController);
  wrong_application.app_id = 8;
  ASSERT_EQ(apply(numbered(9, 9)), std::nullopt);
  EXPECT_EQ(apply(with_actions({{.kind = Action::Kind::Enqueue, .value = port(60)}})), Kind::Port);
  EXPECT_EQ(apply(with_actions({output_to(test::port_channel(9))})), Kind::Port);
  EXPECT_EQ(apply(with_actions({wrong_application})), Kind::Application);
  EXPECT_EQ(apply(taken), Kind::Number);
  rig_.sw.faults().fail("libsdk_l3_route_stats_create", 1, 77);
  EXPECT_EQ(apply(numbered(1, 1)), Kind::NoCounter);
  rig_.sw.faults().fail("libsdk_mcst_tree_create", 1, 77, host::services::Repeat::FromThenOn);
  EXPECT_EQ(apply(with_actions({output_to(port(1))})), Kind::NoFanout);
  rig_.sw.faults().disarm();
  EXPECT_EQ(agent_.flows().size(), 1U);
}

// A table that takes all multicast indices, and behind it three flows with outputs that find none left.
class NoIndexTest : public AgentTest {
 protected:
  static FlowMod meeting(uint32_t in_port, uint32_t priority, std::vector<Action> actions) {
    FlowMod mod = numbered(0, priority, std::move(actions));
    mod.flow.match = {};
    mod.flow.match[Field::InPort] = {in_port, in_port == 0 ? 0 : kExactIfindex};
    return mod;
  }

  void SetUp() override {
    FlowMod changed = meeting(port(7), 2, {});
    ASSERT_EQ(apply(meeting(0, 1, {})), std::nullopt);
    ASSERT_EQ(apply(meeting(channel_, 50000, {output_to(port(1))})), std::nullopt);
    ASSERT_EQ(apply(changed), std::nullopt);
    for (uint32_t i = 1; i <= 4000; ++i) {
      taking_.push_back(numbered(i, 1000, {output_to(port(i % 3))}));
    }
    ASSERT_THAT(agent_.apply(taking_), testing::IsEmpty());
    ASSERT_EQ(apply(meeting(port(6), 60000, {output_to(port(8))})), std::nullopt);
    agent_.packets().receive(port(7), arp_frame());
    changed.command = Command::ModifyStrict;
    changed.flow.actions = {output_to(port(9))};
    ASSERT_EQ(apply(changed), std::nullopt);
    rig_.sw.interfaces().create_pc(channel_);
    agent_.follow_interfaces();
  }

  std::vector<uint32_t> priorities_on_cpu() {
    std::vector<uint32_t> priorities;
    for (const auto &[seq_no, entry] : agent_.flows().entries()) {
      const Placement placement = placement_of(entry.flow);
      if (placement.on_cpu()) {
        EXPECT_EQ(to_text(placement), "CPU: no multicast index is free");
        priorities.push_back(priority_of(entry.flow));
      }
    }
    return priorities;
  }

  void expect_served(uint64_t times) {
    for (const auto &[in_port, out] : {std::pair{channel_, 2U}, {port(6), 9U}, {port(7), 10U}}) {
      sent_.clear();
      agent_.packets().receive(in_port, arp_frame());
      EXPECT_EQ(sent_, std::vector<uint32_t>{out});
    }
    agent_.refresh_counts(Time::zero());
    for (const auto &[seq_no, entry] : agent_.flows().entries()) {
      const uint32_t in_port = static_cast<uint32_t>(entry.flow.match[Field::InPort].value);
      EXPECT_EQ(entry.counts().packets, in_port == 0 ? 0 : times + (in_port == port(7) ? 1 : 0));
    }
  }

  const uint32_t channel_ = test::port_channel(2);
  std::vector<FlowMod> taking_;
};

TEST_F(NoIndexTest, FlowsAreTheCpusUntilAnIndexIsFree) {
  EXPECT_THAT(priorities_on_cpu(), testing::UnorderedElementsAre(50000, 60000, 2));
  expect_served(1);
  const std::vector<FlowMod> deletions{deletion_of(taking_[0]), deletion_of(taking_[1])};
  ASSERT_THAT(agent_.apply(deletions), testing::IsEmpty());
  agent_.advance({});
  EXPECT_EQ(priorities_on_cpu().size(), 1U);
  expect_served(2);
  ASSERT_EQ(apply(deletion_of(taking_[2])), std::nullopt);
  agent_.advance({});
  EXPECT_THAT(priorities_on_cpu(), testing::IsEmpty());
  expect_served(3);
}

// A flow that the library does not take as its VLAN goes waits, and stays.
TEST_F(AgentTest, TellsOfFlowsThatWait) {
  FlowMod flow = numbered(0, 9, {output_to(port(1))});
  flow.flow.match = {};
  flow.flow.match[Field::DlVlan] = {30, kExactVlan};
  rig_.sw.asic().vlans().add(30, 300);
  ASSERT_EQ(apply(flow), std::nullopt);
  rig_.sw.asic().vlans().remove(30);
  rig_.sw.faults().fail("libsdk_l3_route_stats_create", 1, 77, host::services::Repeat::FromThenOn);
  agent_.follow_interfaces();
  agent_.advance({});
  EXPECT_EQ(waiting_, std::vector<size_t>{1});
  rig_.sw.faults().disarm();
  agent_.advance({});
  EXPECT_EQ(waiting_, (std::vector<size_t>{1, 0}));
  EXPECT_NE(agent_.flows().find(flow.flow.match, 9), nullptr);
  EXPECT_THAT(removed_, testing::IsEmpty());
}

std::vector<uint32_t> ports_but(std::initializer_list<uint32_t> but) {
  std::vector<uint32_t> ports;
  for (uint32_t number = 1; number <= 48; ++number) {
    if (std::ranges::find(but, number) == but.end()) {
      ports.push_back(number);
    }
  }
  return ports;
}

TEST_F(AgentTest, SendsControllersPacketsWhereTheyAreToGo) {
  ASSERT_EQ(agent_.modify_port(port(2), agent_.ports().find(port(2))->hw_addr, kNoFlood, kNoFlood), std::nullopt);
  ASSERT_EQ(agent_.modify_port(port(3), agent_.ports().find(port(3))->hw_addr, kNoForward, kNoForward), std::nullopt);
  FlowMod flow = numbered(1, 1, {output_to(port(0)), output_to(port(9))});
  flow.flow.match[Field::DlSrc] = {0x020000000001, kExactMac};
  ASSERT_EQ(apply(flow), std::nullopt);
  const std::map<uint32_t, std::vector<uint32_t>> due = {
      {port(9), {10}},
      {port(0), {}},  // which it came in by
      {port(3), {}},
      {test::port_channel(1), {5, 6}},
      {kPortIn, {1}},
      {kPortTable, {10}},
      {kPortNormal, ports_but({1, 3, 4, 6})},
      {kPortLocal, {}},
      {kPortController, {}},
      {kPortAll, ports_but({1, 4, 6})},
      {kPortFlood, ports_but({1, 3, 4, 6})},
  };
  for (const auto &[output, expected] : due) {
    sent_.clear();
    EXPECT_FALSE(agent_.packets().send({.in_port = port(0), .actions = {output_to(output)}, .packet = arp_frame()}));
    std::ranges::sort(sent_);
    EXPECT_EQ(sent_, expected) << output;
  }
  EXPECT_EQ(packet_ins_.size(), 1U);
  sent_.clear();
  const PacketOut refused{.actions = {output_to(port(9)), output_to(48)}, .packet = arp_frame()};
  EXPECT_EQ(agent_.packets().send(refused)->kind, Kind::Port);
  EXPECT_THAT(sent_, testing::IsEmpty());
  EXPECT_EQ(agent_.ports().find(port(9))->counts.tx_packets, 5U);
}

TEST_F(AgentTest, MembersObeyWhatTheirPortChannelIsTold) {
  const Port &channel = *agent_.ports().find(test::port_channel(1));
  ASSERT_EQ(agent_.modify_port(channel.ifindex, channel.hw_addr, kNoForward, kNoForward), std::nullopt);
  const PacketOut blocked{.actions = {output_to(channel.ifindex), output_to(port(4))}, .packet = arp_frame()};
  EXPECT_FALSE(agent_.packets().send(blocked));
  EXPECT_THAT(sent_, testing::IsEmpty());
}

// The same ports and counts, whoever serves the flow, which names a member of the port channel as well.
TEST_F(AgentTest, SendsOnceToEachMemberOfAPortChannelButTheIngressPort) {
  const auto &channel = agent_.ports().find(test::port_channel(1))->counts;
  for (const uint64_t on_cpu : {0U, 1U}) {
    FlowMod flow = numbered(1, 1, {output_to(test::port_channel(1)), output_to(port(4)), output_to(port(9))});
    flow.flow.match = {};
    if (on_cpu == 1) {
      flow.flow.actions.insert(flow.flow.actions.begin(), {.kind = Action::Kind::SetDlSrc, .value = 1});
    }
    ASSERT_EQ(apply(flow), std::nullopt);
    for (const uint32_t in_port : {0U, 4U}) {
      agent_.packets().receive(port(in_port), arp_frame());
    }
    agent_.packets().send(
        {.in_port = test::port_channel(1), .actions = {output_to(kPortTable)}, .packet = arp_frame()});
    std::ranges::sort(sent_);
    EXPECT_EQ(std::exchange(sent_, {}), (std::vector<uint32_t>{5, 5, 6, 6, 6, 10, 10, 10}));
    EXPECT_EQ(channel.tx_packets, 5 * (on_cpu + 1));
    EXPECT_EQ(channel.rx_bytes, 60 * (on_cpu + 1));
  }
}

TEST_F(AgentTest, CountsNoPacketAsMatchedThatTheCpuHadNoTimeFor) {
  FlowMod flow = numbered(1, 1, {{.kind = Action::Kind::StripVlan}});
  flow.flow.match = {};
  ASSERT_EQ(apply(flow), std::nullopt);
  agent_.packets().guard().set_rates({.packets = 0});
  agent_.packets().receive(port(0), arp_frame());
  EXPECT_EQ(agent_.ports().find(port(0))->counts.cpu_dropped, 1U);
  EXPECT_EQ(agent_.table_statistics().lookups, 1U);
  EXPECT_EQ(agent_.table_statistics().matched, 0U);
}

TEST_F(AgentTest, ReportsPacketsAndKeepsEachForOneUse) {
  const Bytes frame = arp_frame();
  ASSERT_TRUE(agent_.set_miss(HardwareActions::Kind::Controller));
  agent_.packets().receive(port(0), frame);
  Action cut = output_to(kPortController);
  cut.max_len = 20;
  FlowMod flow = numbered(1, 1, {cut});
  flow.flow.match[Field::DlSrc] = {0x020000000001, kExactMac};
  ASSERT_EQ(apply(flow), std::nullopt);
  agent_.packets().receive(port(0), frame);
  ASSERT_EQ(packet_ins_.size(), 2U);
  EXPECT_EQ(packet_ins_[0].reason, PacketIn::Reason::NoMatch);
  EXPECT_EQ(packet_ins_[0].length_to_send(10), 10U);
  EXPECT_EQ(packet_ins_[1].reason, PacketIn::Reason::Action);
  EXPECT_EQ(packet_ins_[1].length_to_send(10), 20U);
  EXPECT_EQ(packet_ins_[1].in_port, port(0));

  const PacketOut out{.actions = {output_to(port(7))}, .packet = packet_ins_[0].buffer_id};
  EXPECT_FALSE(agent_.packets().send(out));
  EXPECT_EQ(sent_, std::vector<uint32_t>{8});
  EXPECT_EQ(agent_.packets().send(out)->kind, Kind::BufferEmpty);
  flow.flow.actions = {output_to(port(8))};
  flow.buffer_id = packet_ins_[1].buffer_id;
  EXPECT_EQ(apply(flow), std::nullopt);
  EXPECT_EQ(sent_, (std::vector<uint32_t>{8, 9}));
  flow.flow.actions = {output_to(kPortController)};
  flow.buffer_id = 5;
  EXPECT_EQ(apply(flow), Kind::BufferUnknown);
  for (uint32_t i = 0; i <= PacketBuffers::kCount; ++i) {
    agent_.packets().receive(port(0), frame);
  }
  ASSERT_EQ(packet_ins_.size(), 3 + PacketBuffers::kCount);  // the flow stands
  EXPECT_EQ(agent_.packets().release(packet_ins_[2].buffer_id, {})->kind, Kind::BufferUnknown);
  EXPECT_FALSE(agent_.packets().release(packet_ins_[3].buffer_id, {}));
  const TableStatistics statistics = agent_.table_statistics();
  EXPECT_EQ(statistics.lookups, 3 + PacketBuffers::kCount);
  EXPECT_EQ(statistics.matched, 2 + PacketBuffers::kCount);
}

TEST_F(AgentTest, ReportsNoPacketsOfPortsThatAreToldNotTo) {
  ASSERT_TRUE(agent_.set_miss(HardwareActions::Kind::Controller));
  const Port &in = *agent_.ports().find(port(0));
  EXPECT_EQ(agent_.modify_port(in.ifindex, in.hw_addr, kNoPacketIn, kNoPacketIn), std::nullopt);
  agent_.packets().receive(in.ifindex, arp_frame());
  EXPECT_EQ(agent_.modify_port(in.ifindex, in.hw_addr, kNoReceive, kAllPortConfig), std::nullopt);
  agent_.packets().receive(in.ifindex, arp_frame());
  EXPECT_THAT(packet_ins_, testing::IsEmpty());
  EXPECT_EQ(in.counts.rx_dropped, 2U);
  EXPECT_EQ(agent_.table_statistics().lookups, 1U);
}

TEST_F(AgentTest, TellsFramesOfTheSpanningTreeFromOthers) {
  Bytes spanning_tree = arp_frame();
  std::ranges::copy(Bytes{0x01, 0x80, 0xc2, 0, 0, 0}, spanning_tree.begin());
  const auto taken = [&](uint32_t config) {
    const auto &address = agent_.ports().find(port(0))->hw_addr;
    EXPECT_EQ(agent_.modify_port(port(0), address, config, kAllPortConfig), std::nullopt);
    std::vector<uint64_t> lookups{agent_.table_statistics().lookups};
    for (const Bytes &frame : {arp_frame(), spanning_tree}) {
      agent_.packets().receive(port(0), frame);
      lookups.push_back(agent_.table_statistics().lookups);
    }
    return std::pair(lookups[1] > lookups[0], lookups[2] > lookups[1]);
  };
  EXPECT_EQ(taken(0), std::pair(true, true));
  EXPECT_EQ(taken(kNoReceive), std::pair(false, true));
  EXPECT_EQ(taken(kNoReceiveStp), std::pair(true, false));
  EXPECT_EQ(taken(kPortDown), std::pair(false, false));
}

TEST_F(AgentTest, EndsNoFlowBeforeItsTime) {
  using std::chrono::milliseconds;
  Time passed{};
  agent_.follow([&] { return std::exchange(passed, Time{}); });
  const auto pass = [&](int time) {
    passed += milliseconds(time);
    agent_.advance({});
  };
  FlowMod hard = numbered(1, 1);
  hard.flow.hard_timeout = 1;
  FlowMod idle = numbered(2, 2);
  idle.flow.match[Field::DlSrc] = {0x020000000001, kExactMac};
  idle.flow.idle_timeout = 1;
  pass(100);
  passed += milliseconds(50);
  ASSERT_EQ(apply(hard), std::nullopt);
  ASSERT_EQ(apply(idle), std::nullopt);
  pass(900);
  passed += milliseconds(50);
  agent_.packets().receive(port(0), arp_frame());
  pass(49);
  EXPECT_EQ(removed_, std::vector<uint32_t>{});
  pass(1);
  EXPECT_EQ(removed_, std::vector<uint32_t>{1});
  pass(949);
  EXPECT_EQ(removed_.size(), 1U);
  pass(100);
  EXPECT_EQ(removed_, (std::vector<uint32_t>{1, 2}));
}

TEST_F(AgentTest, TellsOfPortsThatComeGoAndChange) {
  using Reason = PortChange::Reason;
  EXPECT_EQ(agent_.modify_port(port(60), {}, 0, 0), Agent::PortModError::BadPort);
  EXPECT_EQ(agent_.modify_port(port(1), {}, kPortDown, kPortDown), Agent::PortModError::BadHwAddr);
  EXPECT_EQ(agent_.modify_port(port(1), agent_.ports().find(port(1))->hw_addr, ~0U, kPortDown), std::nullopt);
  EXPECT_EQ(agent_.ports().find(port(1))->config, kPortDown);
  rig_.sw.interfaces().create_pc(test::port_channel(2));
  agent_.advance(std::chrono::milliseconds(1));
  rig_.sw.interfaces().delete_pc(test::port_channel(2));
  for (const uint32_t output : {test::port_channel(2), uint32_t{kPortAll}}) {  // that it is gone is not noticed yet
    EXPECT_FALSE(agent_.packets().send({.in_port = port(0), .actions = {output_to(output)}, .packet = arp_frame()}));
  }
  agent_.advance(std::chrono::milliseconds(1));
  EXPECT_THAT(changes_, testing::ElementsAre(std::pair(Reason::Modify, "Eth1/2"), std::pair(Reason::Add, "pc2"),
                                             std::pair(Reason::Delete, "pc2")));
}

TEST_F(AgentTest, FollowsWhatOthersDidToTheLibrary) {
  FlowMod kept = numbered(1, 7, {output_to(test::port_channel(1))});
  kept.flow.cookie = 99;
  ASSERT_EQ(apply(kept), std::nullopt);
  ASSERT_EQ(apply(numbered(2, 5)), std::nullopt);
  rig_.set_up({test::add({test::numbered_flow(5000, 3)}), test::erase({2})});
  EXPECT_THAT(agent_.audit(), testing::ElementsAre(testing::HasSubstr("the agent does not know flow 5000 (priority 3"),
                                                   testing::HasSubstr("the library does not have flow 2 (priority 5")));
  agent_.reread();
  EXPECT_EQ(removed_, std::vector<uint32_t>{5});
  ASSERT_EQ(agent_.flows().size(), 2U);
  EXPECT_EQ(agent_.flows().find(1)->flow.cookie, 99U);
  EXPECT_EQ(agent_.flows().find(5000)->flow.priority, 3U);
}

}  // namespace
}  // namespace agent
