// The agent's flow table against the plain rules of OpenFlow: random flow-mods of all kinds, in runs; then packets, of
// which each must meet what the rules say, and counts, which must be those of the packets. Calls of the host and the
// SDK fail on the way in half of the histories.
//
// OFTAB_SEED=n plays history n instead of the first sixty.
#include <algorithm>
#include <cstdlib>

#include "agent/agent.h"
#include "agent/batch.h"
#include "agent/table_view.h"
#include "tests/support/allocations.h"
#include "tests/support/child.h"
#include "tests/support/random_flows.h"
#include "tests/support/rig.h"

namespace agent {
namespace {

using std::chrono::seconds;
using test::Dice;
using Command = FlowMod::Command;
using ErrorKind = AgentError::Kind;
using Actions = std::vector<Action>;

constexpr int kSteps = 120;
constexpr uint32_t kAddresses[] = {0x0a000001, 0x0a000002, 0x0a000101, 0xc0a80001};
constexpr uint64_t kAddressMasks[] = {0xff000000, 0xffffff00, 0xffffffff};
constexpr uint16_t kTypes[] = {0x0800, 0x0800, 0x0806, 0x88cc};
constexpr uint8_t kProtocols[] = {6, 17};
constexpr uint16_t kTcpPorts[] = {80, 443};

// Calls whose failure the library reports.
constexpr const char *kFailing[] = {"qtr_custom_cache_unified_entry_set",
                                    "libsdk_l3_route_stats_create",
                                    "libsdk_mcst_tree_create",
                                    "libsdk_mcst_tree_group_add",
                                    "hdm_ipq_handler_init",
                                    "ipq_payload_get",
                                    "fu_ipq_send_response"};

uint32_t some_port(Dice &dice) {
  return test::port(dice.below(4));
}

// A flow of the plain model.
struct ModelFlow {
  Match match;
  uint32_t priority = 0;
  Actions actions;
  uint64_t cookie = 0;
  uint16_t idle_timeout = 0;
  uint16_t hard_timeout = 0;
  uint16_t flags = 0;
  Time added{};
  Time used{};
  Counts counts{};
  bool operator==(const ModelFlow &) const = default;
};

ModelFlow plain(const TableEntry &entry) {
  const Flow &flow = entry.flow;
  return {flow.match,        priority_of(flow), flow.actions, flow.cookie, flow.idle_timeout,
          flow.hard_timeout, flow.flags,        entry.added,  entry.used,  entry.counts()};
}

bool meets(const Match &match, const test::Packet &packet) {
  const host::asic::PacketHeader &header = packet.header;
  const auto meets_field = [&](Field field, uint64_t value) {
    return ((value ^ match[field].value) & match[field].mask) == 0;
  };
  return meets_field(Field::InPort, packet.ingress) && meets_field(Field::DlType, header.ethertype) &&
         meets_field(Field::NwSrc, header.ip_sa) && meets_field(Field::NwDst, header.ip_da) &&
         meets_field(Field::NwProto, header.proto) && meets_field(Field::TpDst, header.dst_port);
}

class Model {
 public:
  std::vector<ModelFlow> flows;
  std::vector<std::pair<ModelFlow, RemovedFlow::Reason>> removed;  // those that are to be reported

  // The error that is due, if any.
  std::optional<ErrorKind> apply(const FlowMod &mod, Time now) {
    const bool strict = mod.command == Command::ModifyStrict || mod.command == Command::DeleteStrict;
    const Match match = normalised(mod.flow.match);
    const auto selected = [&](const ModelFlow &flow) {
      return strict ? flow.match == match && flow.priority == mod.flow.priority : covers(match, flow.match);
    };
    const bool erases = mod.command == Command::Delete || mod.command == Command::DeleteStrict;
    if (!erases && mod.flow.actions == rewriting()) {
      return ErrorKind::Rewrite;
    }
    if ((mod.flow.flags & kEmergency) != 0) {
      return ErrorKind::Emergency;
    }
    if (erases) {
      erase(mod, selected);
      return std::nullopt;
    }
    if (mod.command != Command::Add && std::ranges::any_of(flows, selected)) {
      for (ModelFlow &flow : flows) {
        flow.actions = selected(flow) ? mod.flow.actions : flow.actions;
      }
      return std::nullopt;
    }
    return add(mod.flow, match, now);
  }

  void expire(Time now) {
    std::erase_if(flows, [&](const ModelFlow &flow) {
      const bool hard = flow.hard_timeout != 0 && now - flow.added >= seconds(flow.hard_timeout);
      const bool idle = flow.idle_timeout != 0 && now - flow.used >= seconds(flow.idle_timeout);
      if ((hard || idle) && (flow.flags & kSendFlowRemoved) != 0) {
        removed.emplace_back(flow, hard ? RemovedFlow::Reason::HardTimeout : RemovedFlow::Reason::IdleTimeout);
      }
      return hard || idle;
    });
  }

  static Actions rewriting() { return {{.kind = Action::Kind::StripVlan}, output_to(test::port(1))}; }

 private:
  void erase(const FlowMod &mod, const auto &selected) {
    std::erase_if(flows, [&](const ModelFlow &flow) {
      const auto sends = [&](const Action &action) { return action == output_to(mod.out_port); };
      const bool goes = selected(flow) && (mod.out_port == kPortNone || std::ranges::any_of(flow.actions, sends));
      if (goes && (flow.flags & kSendFlowRemoved) != 0) {
        removed.emplace_back(flow, RemovedFlow::Reason::Delete);
      }
      return goes;
    });
  }

  std::optional<ErrorKind> add(const Flow &flow, const Match &match, Time now) {
    const auto clashes = [&](const ModelFlow &each) {
      return each.priority == flow.priority && overlap(each.match, match);
    };
    if ((flow.flags & kCheckOverlap) != 0 && std::ranges::any_of(flows, clashes)) {
      return ErrorKind::Overlap;
    }
    std::erase_if(flows, [&](const ModelFlow &each) { return each.match == match && each.priority == flow.priority; });
    flows.push_back(
        {match, *flow.priority, flow.actions, flow.cookie, flow.idle_timeout, flow.hard_timeout, flow.flags, now, now});
    return std::nullopt;
  }
};

class History : public Listener {
 public:
  History(uint64_t seed, bool faults) : dice_(seed), faults_(faults) { agent_.subscribe(*this); }

  void run() {
    for (int step = 0; step < kSteps && !testing::Test::HasFailure(); ++step) {
      send_run();
      send_packets();
      if (dice_.one_in(4)) {
        pass_time();
      }
      check();
    }
    check_counts();
  }

  void flow_removed(const RemovedFlow &removed) override {
    if ((removed.entry.flow.flags & kSendFlowRemoved) != 0) {
      removed_.emplace_back(plain(removed.entry), removed.reason);
    }
  }

 private:
  static test::Rig &booted(test::Rig &rig) {
    rig.sw.boot();
    return rig;
  }

  Match random_match() {
    Match match;
    if (dice_.one_in(3)) {
      match[Field::InPort] = {some_port(dice_), kExactIfindex};
    }
    if (!dice_.one_in(4)) {
      match[Field::DlType] = {dice_.pick(kTypes), kExactEthertype};
    }
    for (const Field field : {Field::NwSrc, Field::NwDst}) {
      const bool arp = match[Field::DlType].value == kArp;
      if (!arp && dice_.one_in(3)) {
        match[field] = {dice_.pick(kAddresses), dice_.pick(kAddressMasks)};  // ignored without IPv4
      }
    }
    if (match[Field::DlType].value == kIpv4 && dice_.one_in(2)) {
      match[Field::NwProto] = {dice_.pick(kProtocols), kExactProtocol};
    }
    if (match[Field::NwProto].mask != 0 && dice_.one_in(2)) {
      match[Field::TpDst] = {dice_.pick(kTcpPorts), kExactPort};
    }
    return match;
  }

  Actions random_actions() {
    if (dice_.one_in(25)) {
      return Model::rewriting();
    }
    Actions actions;
    const uint32_t kind = dice_.below(4);
    if (kind == 0) {
      actions.push_back(output_to(kPortNormal));
    }
    for (uint32_t slot = 0; kind == 1 && slot < 4; ++slot) {
      if (slot == 0 || dice_.one_in(2)) {
        actions.push_back(output_to(test::port(slot)));
      }
    }
    if (kind == 2 || (!actions.empty() && dice_.one_in(3))) {
      actions.push_back(output_to(kPortController));
    }
    return actions;
  }

  FlowMod random_mod() {
    FlowMod mod;
    mod.command = dice_.one_in(2) ? Command::Add : static_cast<Command>(dice_.below(5));
    mod.flow.match = random_match();
    mod.flow.priority = 1 + dice_.below(3);
    if (!agent_.flows().entries().empty() && dice_.one_in(3)) {
      mod.flow = dice_.pick(agent_.flows().entries()).second.flow;
      mod.flow.seq_no.reset();
    }
    mod.flow.actions = random_actions();
    mod.flow.cookie = dice_.below(1000);
    mod.flow.idle_timeout = static_cast<uint16_t>(dice_.one_in(4) ? 1 + dice_.below(9) : 0);
    mod.flow.hard_timeout = static_cast<uint16_t>(dice_.one_in(4) ? 1 + dice_.below(9) : 0);
    mod.flow.flags = static_cast<uint16_t>((dice_.one_in(3) ? kSendFlowRemoved : 0) +
                                           (dice_.one_in(4) ? kCheckOverlap : 0) + (dice_.one_in(40) ? kEmergency : 0));
    if (dice_.one_in(4)) {
      mod.out_port = some_port(dice_);
    }
    return mod;
  }

  void arm() {
    const uint64_t nth = 1 + dice_.below(4);
    const bool from_then_on = dice_.one_in(4);
    if (dice_.one_in(4)) {
      test::fail_allocation(nth, from_then_on);
    } else {
      rig_.sw.faults().fail(dice_.pick(kFailing), nth, 77, from_then_on ? Repeat::FromThenOn : Repeat::Once);
    }
  }

  // Flow-mods one after the other, or together: the result is to be the same.
  void send_run() {
    std::vector<FlowMod> mods(1 + dice_.below(8));
    std::ranges::generate(mods, [this] { return random_mod(); });
    if (faults_ && dice_.one_in(3)) {
      arm();
    }
    const uint64_t without_memory = test::failed_allocations();
    const auto errors = agent_.apply(mods);
    const bool failed = !rig_.sw.faults().injected().empty() || test::failed_allocations() != without_memory;
    rig_.sw.faults().disarm();
    rig_.sw.faults().reset();
    test::let_allocations_pass();
    ASSERT_EQ(errors.size(), mods.size());
    if (failed) {
      return adopt();
    }
    for (size_t i = 0; i < mods.size(); ++i) {
      const auto due = model_.apply(mods[i], agent_.now());
      EXPECT_EQ(errors[i].has_value(), due.has_value());
      if (errors[i] && due) {
        EXPECT_EQ(errors[i]->kind, *due) << errors[i]->reason;
      }
    }
  }

  // Which flow-mods of a run a fault struck is not foretold: the model goes on with what the agent says, which check()
  // holds against library and packets.
  void adopt() {
    agent_.apply({});
    clean_up(rig_.sw);
    agent_.refresh_counts(Time::zero());
    model_.flows.clear();
    for (const auto &[seq_no, entry] : agent_.flows().entries()) {
      model_.flows.push_back(plain(entry));
    }
    model_.removed.clear();
    removed_.clear();
  }

  void send_packets() {
    for (uint32_t i = dice_.below(12); i > 0; --i) {
      test::Packet packet;
      packet.ingress = some_port(dice_);
      packet.header.ethertype = dice_.pick(kTypes);
      packet.header.length = 60 + dice_.below(1000);
      if (packet.header.ethertype == kIpv4) {
        packet.header.ip_sa = dice_.pick(kAddresses);
        packet.header.ip_da = dice_.pick(kAddresses);
        packet.header.proto = dice_.pick(kProtocols);
        packet.header.dst_port = dice_.pick(kTcpPorts);
      }
      send(packet);
    }
  }

  // Among matching flows of the highest priority, any may win.
  void send(const test::Packet &packet) {
    const host::asic::Fate fate = rig_.sw.inject(packet.ingress, packet.header);
    uint32_t highest = 0;
    for (const ModelFlow &flow : model_.flows) {
      highest = std::max(highest, meets(flow.match, packet) ? flow.priority : 0);
    }
    if (highest == 0) {
      EXPECT_EQ(fate.tcam_index, OFTAB_CATCH_ALL_INDEX);
      return;
    }
    const oftab_sw_entry_t *record = live_record_at(fate.tcam_index.value_or(OFTAB_CATCH_ALL_INDEX));
    ASSERT_NE(record, nullptr);
    const Flow &met = agent_.flows().find(record->seq_no)->flow;
    EXPECT_EQ(met.priority, highest);
    EXPECT_TRUE(meets(met.match, packet));
    const auto winner = std::ranges::find_if(
        model_.flows, [&](const ModelFlow &flow) { return flow.match == met.match && flow.priority == met.priority; });
    ASSERT_NE(winner, model_.flows.end());
    winner->counts += {1, packet.header.length};
    winner->used = agent_.now();
    expect_done(winner->actions, fate);
  }

  static void expect_done(const Actions &actions, const host::asic::Fate &fate) {
    std::vector<uint8_t> ports;
    bool normal = false;
    bool controller = false;
    for (const Action &action : actions) {
      normal = normal || action.value == kPortNormal;
      controller = controller || action.value == kPortController;
      if (action.value > kPortNone) {
        ports.push_back(static_cast<uint8_t>((action.value >> 12 & 0xff) + 1));
      }
    }
    EXPECT_EQ(fate.sdk_ports, ports);
    EXPECT_EQ(fate.cpu_code.has_value(), controller);
    EXPECT_EQ(fate.verdict == host::asic::Verdict::Drop, !normal && !controller && ports.empty());
    EXPECT_FALSE(fate.tree_missing);
  }

  void pass_time() {
    const Time until = agent_.now() + std::chrono::milliseconds(dice_.below(6000));
    for (Time now = agent_.now(); now <= until; now += std::chrono::milliseconds(1)) {
      model_.expire(now);
    }
    agent_.advance(until - agent_.now());
  }

  void check() {
    const auto in_order = [](auto list) {
      std::vector<std::string> texts;
      for (const auto &[flow, reason] : list) {
        texts.push_back(to_text(flow.match) + " " + std::to_string(flow.priority) + " " +
                        std::to_string(flow.counts.packets) + " " + std::to_string(flow.counts.bytes) + " " +
                        std::to_string(flow.cookie) + " " + std::to_string(static_cast<int>(reason)));
      }
      std::ranges::sort(texts);
      return texts;
    };
    EXPECT_EQ(in_order(removed_), in_order(model_.removed));
    EXPECT_THAT(agent_.audit(), testing::IsEmpty());
    rig_.expect_sound();
    if (dice_.one_in(5)) {
      check_counts();
    }
  }

  void check_counts() {
    agent_.refresh_counts(Time::zero());
    EXPECT_EQ(agent_.flows().size(), model_.flows.size());
    for (const auto &[seq_no, entry] : agent_.flows().entries()) {
      ModelFlow flow = plain(entry);
      const auto same = std::ranges::find_if(model_.flows, [&](const ModelFlow &each) {
        return each.match == flow.match && each.priority == flow.priority;
      });
      ASSERT_NE(same, model_.flows.end()) << to_text(flow.match);
      EXPECT_EQ(flow.counts, same->counts) << to_text(flow.match);
      flow.used = same->used;  // known as of the readings
      EXPECT_EQ(flow, *same) << to_text(flow.match);
    }
  }

  using Repeat = host::services::Repeat;

  Dice dice_;
  bool faults_;
  test::Rig rig_;
  Agent agent_{booted(rig_).sw};
  Model model_;
  std::vector<std::pair<ModelFlow, RemovedFlow::Reason>> removed_;
};

TEST(AgentFlows, FollowTheRulesThroughRandomHistories) {
  const char *replayed = getenv("OFTAB_SEED");
  const uint64_t first = replayed == nullptr ? 1 : strtoull(replayed, nullptr, 10);
  for (uint64_t seed = first; seed < first + (replayed == nullptr ? 60 : 1); ++seed) {
    const auto history = [=] {
      History(seed, seed % 2 == 1).run();
      return 0;
    };
    ASSERT_FALSE(test::in_child(history).failed()) << "replay with OFTAB_SEED=" << seed;
  }
}

}  // namespace
}  // namespace agent
