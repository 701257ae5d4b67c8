// SPDX-License-Identifier: Apache-2.0
// The agent's flow table against the plain rules of OpenFlow: random flow-mods of all kinds, in runs, with all matches
// and all actions; then packets, of which each must meet what the rules say and leave as the actions say, octet by
// octet, whether the hardware or the CPU serves it; and counts, which must be those of the packets. Calls of the host
// and the SDK fail on the way in half of the histories.
//
// OFTAB_SEED=n plays history n instead of the first sixty.
#include <algorithm>
#include <cstdlib>

#include "agent/agent.h"
#include "agent/batch.h"
#include "agent/table_view.h"
#include "tests/support/child.h"
#include "tests/support/disturber.h"
#include "tests/support/frames.h"
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
constexpr uint64_t kAddressMasks[] = {0xff000000, 0xffffff00, 0xffffffff, 0xffffffff};
constexpr uint64_t kMacs[] = {0x020000000001, 0x020000000002};
constexpr uint16_t kTags[] = {5, 5 | 3 << 13, 6, 3 << 13};
constexpr uint16_t kTypes[] = {0x0800, 0x0800, 0x0806, 0x88cc};
constexpr uint8_t kProtocols[] = {1, 6, 17};
constexpr uint16_t kTransportPorts[] = {2, 80};
constexpr uint8_t kServices[] = {0, 0x21};
constexpr uint16_t kFragments[] = {0, 0, 0, 0x2000, 0x2007};

// Calls whose failure the library reports.
constexpr std::string_view kFailing[] = {"qtr_custom_cache_unified_entry_set",
                                         "libsdk_l3_route_stats_create",
                                         "libsdk_mcst_tree_create",
                                         "libsdk_mcst_tree_group_add",
                                         "hdm_ipq_handler_init",
                                         "ipq_payload_get",
                                         "fu_ipq_send_response"};

uint32_t some_port(Dice &dice) {
  return test::port(dice.below(4));
}

const uint32_t kPortChannel = test::port_channel(9);  // comes and goes

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

// A frame that comes in.
struct Arrival {
  uint32_t in_port;
  test::FrameFields fields;
};

uint64_t value_in(const Arrival &packet, Field field) {
  const test::FrameFields &frame = packet.fields;
  const bool ip = frame.type == kIpv4;
  const bool arp = frame.type == kArp;
  const bool segment = ip && !frame.is_later_fragment();
  const auto if_there = [](bool there, uint64_t value) { return there ? value : 0; };
  const uint64_t tag = frame.tag.value_or(0);
  const uint64_t values[] = {packet.in_port,
                             frame.tag ? tag & 0xfff : 0xffff,
                             tag >> 13,
                             frame.dl_src,
                             frame.dl_dst,
                             frame.type,
                             if_there(ip || arp, frame.nw_src),
                             if_there(ip || arp, frame.nw_dst),
                             if_there(ip, frame.tos),
                             if_there(ip || arp, frame.protocol),
                             if_there(segment, frame.tp_src),
                             if_there(segment, frame.tp_dst)};
  return values[static_cast<size_t>(field)];
}

constexpr Field kFields[] = {Field::InPort, Field::DlVlan,  Field::DlVlanPcp, Field::DlSrc,
                             Field::DlDst,  Field::DlType,  Field::NwSrc,     Field::NwDst,
                             Field::NwTos,  Field::NwProto, Field::TpSrc,     Field::TpDst};

bool meets(const Match &match, const Arrival &packet) {
  return std::ranges::all_of(
      kFields, [&](Field field) { return ((value_in(packet, field) ^ match[field].value) & match[field].mask) == 0; });
}

// Flows that name all that their packets have stand above all others.
uint32_t rank_of(const ModelFlow &flow) {
  std::vector<Field> named{Field::InPort, Field::DlVlan, Field::DlSrc, Field::DlDst, Field::DlType};
  if (flow.match[Field::DlVlan].value != kUntagged) {
    named.push_back(Field::DlVlanPcp);
  }
  const uint64_t type = flow.match[Field::DlType].value;
  if (type == kIpv4 || type == kArp) {
    named.insert(named.end(), {Field::NwSrc, Field::NwDst, Field::NwProto});
  }
  if (type == kIpv4) {
    named.insert(named.end(), {Field::NwTos, Field::TpSrc, Field::TpDst});
  }
  const auto whole = [&](Field field) { return flow.match[field].mask == row_of(field).exact; };
  return flow.priority + (std::ranges::all_of(named, whole) ? 0x10000 : 0);
}

// What leaves the switch for a packet: a port or kPortController, and the frame.
using Sent = std::pair<uint32_t, test::Octets>;

std::vector<Sent> done_by(const Actions &actions, const Arrival &packet) {
  std::vector<Sent> sent;
  test::FrameFields frame = packet.fields;
  for (const Action &action : actions) {
    auto port = static_cast<uint32_t>(action.value);
    if (changes_packets(action.kind)) {
      frame.apply(action);
    } else if (port == kPortFlood || port == kPortAll || port == kPortNormal) {  // nobody is known to be anywhere
      for (uint32_t slot = 0; slot < 48; ++slot) {
        if (test::port(slot) != packet.in_port) {
          sent.emplace_back(test::port(slot), frame.octets());
        }
      }
    } else if (port != packet.in_port && port != kPortLocal) {
      sent.emplace_back(port == kPortIn ? packet.in_port : port, frame.octets());
    }
  }
  std::erase_if(sent, [](const Sent &each) { return each.first == kPortChannel; });  // it has no members
  std::ranges::sort(sent);
  return sent;
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
    if (!erases && mod.flow.actions == to_table()) {
      return ErrorKind::Port;
    }
    if ((mod.flow.flags & kEmergency) != 0) {
      const bool times_out = mod.flow.idle_timeout + mod.flow.hard_timeout != 0;
      return times_out ? ErrorKind::EmergencyTimeout : ErrorKind::Emergency;
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

  static Actions to_table() { return {{.kind = Action::Kind::StripVlan}, output_to(kPortTable)}; }

 private:
  void erase(const FlowMod &mod, const auto &selected) {
    std::erase_if(flows, [&](const ModelFlow &flow) {
      const auto sends = [&](const Action &action) {
        return !changes_packets(action.kind) && action.value == mod.out_port;
      };
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

class History : public Listener, public Wire {
 public:
  History(uint64_t seed, bool faults)
      : dice_(seed), disturber_(rig_.sw.faults(), dice_, faults ? 3 : 0, log_, kFailing) {
    agent_.subscribe(*this);
    agent_.packets().connect(this);
    agent_.packets().guard().set_rates({.packets = 1000000, .packet_ins = 1000000});
    agent_.set_miss(HardwareActions::Kind::Normal);
  }

  void run() {
    for (int step = 0; step < kSteps && !testing::Test::HasFailure(); ++step) {
      if (dice_.one_in(4)) {
        change_interfaces();
      }
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
  bool packet_in(const PacketIn &packet) override {
    note(kPortController, packet.frame);
    return true;
  }
  void transmit(uint32_t ifindex, Frame frame) override { note(ifindex, frame); }

 private:
  void note(uint32_t port, Frame frame) { sent_.emplace_back(port, test::Octets(frame.begin(), frame.end())); }

  static test::Rig &booted(test::Rig &rig) {
    rig.sw.boot();
    return rig;
  }

  // VLAN 5 gets a bridge domain, perhaps another one, or loses it; the port channel comes or goes, or its interface id.
  void change_interfaces() {
    auto &interfaces = rig_.sw.interfaces();
    switch (dice_.below(4)) {
      case 0:
        rig_.sw.asic().vlans().remove(5);
        break;
      case 1:
        rig_.sw.asic().vlans().add(5, static_cast<uint16_t>(300 + dice_.below(2)));
        break;
      case 2:
        if (interfaces.exists(kPortChannel)) {
          interfaces.delete_pc(kPortChannel);
        } else {
          interfaces.create_pc(kPortChannel);
        }
        break;
      default:
        if (interfaces.exists(kPortChannel)) {
          interfaces.set_intf_id(kPortChannel, std::nullopt);
        }
    }
    if (disturber_.during([this] { agent_.follow_interfaces(); })) {
      agent_.apply({});
      agent_.follow_interfaces();
      EXPECT_EQ(agent_.flows().size(), model_.flows.size());
      adopt();
    }
  }

  // A match of some fields of a packet that may come, some of them in part.
  Match random_match() {
    const Arrival like = random_packet();
    const uint32_t one_in = dice_.one_in(3) ? 1 : 2 + dice_.below(3);
    Match match;
    for (const Field field : kFields) {
      if (dice_.one_in(one_in)) {
        const bool address = field == Field::NwSrc || field == Field::NwDst;
        match[field] = {value_in(like, field), address ? dice_.pick(kAddressMasks) : row_of(field).exact};
      }
    }
    return match;
  }

  // Values at the ends of their ranges too, where sums carry. Destinations are groups: a source may have been learnt.
  Action random_change() {
    constexpr uint64_t highest[] = {0, 0xfff, 7, 0, ~0U, ~0U, ~0U, ~0U, 0xff, 0xffff, 0xffff};
    const uint32_t kind = 1 + dice_.below(10);
    const uint64_t most = highest[kind];
    const uint64_t value = dice_.one_in(4) ? 0 : dice_.one_in(3) ? most : dice_.below(~0U) & most;
    Action change{.kind = static_cast<Action::Kind>(kind), .value = value};
    if (change.kind == Action::Kind::SetDlDst) {
      change.value |= 0x010000000000;
    }
    return change;
  }

  // Half of the lists are such as the hardware does.
  Actions random_actions() {
    if (dice_.one_in(25)) {
      return Model::to_table();
    }
    Actions actions;
    const uint32_t kind = dice_.below(8);
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
    for (uint32_t left = kind < 4 ? 0 : 1 + dice_.below(5); left > 0; --left) {
      constexpr uint32_t ports[] = {kPortIn, kPortFlood, kPortAll, kPortLocal, kPortNormal, kPortController};
      const Action output{.kind = dice_.one_in(4) ? Action::Kind::Enqueue : Action::Kind::Output,
                          .value = some_port(dice_)};
      actions.push_back(dice_.one_in(2) ? random_change() : dice_.one_in(4) ? output_to(dice_.pick(ports)) : output);
    }
    return actions;
  }

  Arrival random_packet() {
    Arrival packet{.in_port = dice_.one_in(8) ? kPortChannel : some_port(dice_), .fields = {}};
    test::FrameFields &frame = packet.fields;
    frame.dl_src = dice_.pick(kMacs);
    frame.dl_dst = 0xffffffffff00 + dice_.below(2);
    if (dice_.one_in(2)) {
      frame.tag = dice_.pick(kTags);
    }
    frame.type = dice_.pick(kTypes);
    frame.protocol = frame.type == kArp ? static_cast<uint8_t>(1 + dice_.below(2)) : dice_.pick(kProtocols);
    frame.nw_src = dice_.pick(kAddresses);
    frame.nw_dst = dice_.pick(kAddresses);
    frame.tos = dice_.pick(kServices);
    frame.fragment = dice_.pick(kFragments);
    frame.options = dice_.one_in(4) ? 4 * dice_.below(11) : 0;
    frame.no_checksum = dice_.one_in(6);
    frame.padding = dice_.below(9);
    frame.tp_src = dice_.pick(kTransportPorts);
    frame.tp_dst = dice_.pick(kTransportPorts);
    frame.payload.resize(dice_.below(40), 7);
    return packet;
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

  // Flow-mods one after the other, or together: the result is to be the same.
  void send_run() {
    std::vector<FlowMod> mods(1 + dice_.below(8));
    std::ranges::generate(mods, [this] { return random_mod(); });
    FlowModErrors errors;
    if (disturber_.during([&] { errors = agent_.apply(mods); })) {
      return adopt();
    }
    for (size_t i = 0; i < mods.size(); ++i) {
      const auto due = model_.apply(mods[i], agent_.now());
      const auto error = errors.find(i);
      EXPECT_EQ(error != errors.end(), due.has_value());
      if (error != errors.end() && due) {
        EXPECT_EQ(error->second.kind, *due) << error->second.reason;
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
      send(random_packet());
    }
  }

  void send(const Arrival &packet) {
    if (agent_.ports().find(packet.in_port) == nullptr) {
      return;
    }
    const test::Octets frame = packet.fields.octets();
    sent_.clear();
    const uint64_t &dropped = agent_.ports().find(packet.in_port)->counts.rx_dropped;
    const uint64_t dropped_before = dropped;
    agent_.packets().receive(packet.in_port, frame);
    if (packet.in_port != kPortChannel) {  // for which a frame is lost as it leaves
      EXPECT_EQ(dropped - dropped_before, sent_.empty() ? 1U : 0U);
    }
    std::ranges::sort(sent_);
    if (ModelFlow *winner = winner_of(packet)) {
      winner->counts += {1, frame.size()};
      winner->used = agent_.now();
      EXPECT_EQ(sent_, done_by(winner->actions, packet)) << to_text(winner->match);
    } else {
      EXPECT_EQ(sent_, done_by({output_to(kPortNormal)}, packet));
      ++missed_;
    }
    EXPECT_EQ(agent_.table_statistics().lookups - agent_.table_statistics().matched, missed_);
  }

  // Among matching flows of the highest rank, any may win: the one that counted the packet.
  ModelFlow *winner_of(const Arrival &packet) {
    std::vector<ModelFlow *> best;
    for (ModelFlow &flow : model_.flows) {
      if (meets(flow.match, packet) && (best.empty() || rank_of(flow) >= rank_of(*best.front()))) {
        std::erase_if(best, [&](const ModelFlow *other) { return rank_of(*other) < rank_of(flow); });
        best.push_back(&flow);
      }
    }
    if (best.size() < 2) {
      return best.empty() ? nullptr : best.front();
    }
    agent_.refresh_counts(Time::zero());
    const auto counted = [&](const ModelFlow *flow) {
      return agent_.flows().find(flow->match, flow->priority)->counts() != flow->counts;
    };
    return *std::ranges::max_element(best, [&](auto *a, auto *b) { return counted(a) < counted(b); });
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
      texts.reserve(list.size());
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

  Dice dice_;
  test::Rig rig_;
  std::ostream log_{nullptr};
  test::Disturber disturber_;
  Agent agent_{booted(rig_).sw};
  Model model_;
  std::vector<std::pair<ModelFlow, RemovedFlow::Reason>> removed_;
  std::vector<Sent> sent_;
  uint64_t missed_ = 0;
};

TEST(AgentFlows, FollowTheRulesThroughRandomHistories) {
  const char *replayed = std::getenv("OFTAB_SEED");
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
