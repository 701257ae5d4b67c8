// SPDX-License-Identifier: Apache-2.0
// A random history of a switch, held against the model after every step: answers, packets, counts, audit.
//
// Host calls, SDK calls and allocations may fail on the way. A request that was refused has changed nothing; of one
// that was granted, the model takes over what failures explain. Until the next flow request that nothing disturbs,
// table and TCAM may differ in the ways that the audit knows; then nothing is left but what the SDK did not take back.
#ifndef TESTS_SUPPORT_HISTORY_H
#define TESTS_SUPPORT_HISTORY_H

#include <algorithm>
#include <functional>
#include <span>
#include <sstream>

#include "host/table_snapshot.h"
#include "tests/support/disturber.h"
#include "tests/support/random_flows.h"
#include "tests/support/rig.h"
#include "tests/support/screen.h"

namespace test {

constexpr int kSteps = 100;
constexpr int kPacketsPerStep = 4;

inline std::string text_of(const Outcome &outcome) {
  std::string text = "verdict " + std::to_string(static_cast<int>(outcome.verdict)) + ", ports";
  for (const uint8_t port : outcome.sdk_ports) {
    text += ' ';
    text += std::to_string(port);
  }
  return text + (outcome.cpu_code ? ", CPU code " + std::to_string(*outcome.cpu_code) : "");
}

inline bool same_entry(const oftab_resp_entry_t &one, const oftab_resp_entry_t &other) {
  return one.context == other.context && one.seq_no == other.seq_no && one.status == other.status;
}

class History {
 public:
  // Faults strike by chance in every other history; or else when strike() lets them.
  explicit History(uint64_t seed, bool by_chance = true)
      : dice_(seed),
        faulty_(dice_.one_in(2) || !by_chance),
        disturber_(rig_.sw.faults(), dice_, faulty_ && by_chance ? 3 : 0, log_) {
    rig_.sw.boot();
    rig_.sw.tracing().set_history(host::services::kErrors);
    for (uint32_t number = 1; number <= kWorldPortChannels; ++number) {
      rig_.sw.interfaces().create_pc(port_channel(number));
      model_.port_channels[port_channel(number)] = {};
    }
  }

  void run() {
    if (dice_.one_in(8)) {
      crowd();
    }
    play(kSteps);
  }

  void play(int steps) {
    for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
      random_step();
      check();
    }
    if (testing::Test::HasFailure()) {
      std::printf("the steps:%s\n", log_.str().c_str());
    }
  }

  // Takes a step on whose way a fault that `arm` sets up may strike; whether it did.
  bool strike(const std::function<void(History &)> &step, const std::function<void(host::services::Faults &)> &arm) {
    disturber_.disturbed = false;
    disturber_.next = [&] { arm(rig_.sw.faults()); };
    step(*this);
    disturber_.next = {};  // a step may do nothing
    check();
    return disturber_.has_struck;
  }

  // Its steps.
  void add_flows(uint32_t count) {
    std::vector<Flow> flows(count);
    for (Flow &flow : flows) {
      flow = random_flow(dice_);
      flow.seq_no = free_seq_no();
      flow.priority = random_priority();
    }
    std::ranges::sort(flows, std::ranges::greater(), &Flow::priority);
    if (keeps_order(flows)) {
      add_batch(flows);
    } else {
      std::ranges::for_each(flows, [this](const Flow &flow) { add_batch({flow}); });
    }
  }

  void erase_flows() {
    std::vector<uint32_t> seq_nos(dice_.below(6));
    std::ranges::generate(seq_nos, [this] { return some_seq_no(6); });
    if (dice_.one_in(20)) {
      std::ranges::transform(model_.flows(), std::back_inserter(seq_nos), [](const auto &each) { return each.first; });
    }
    std::vector<uint32_t> known;
    std::ranges::copy_if(seq_nos, std::back_inserter(known),
                         [this](uint32_t seq_no) { return model_.flows().contains(seq_no); });
    request(erase(seq_nos), [&](Model &model) { return model.erase(seq_nos); });
    std::ranges::copy_if(known, std::inserter(erased_, erased_.end()),
                         [this](uint32_t seq_no) { return !model_.flows().contains(seq_no); });
  }

  void modify_flows() {
    std::vector<Flow> changes(1 + dice_.below(3));
    std::ranges::generate(changes, [this] { return Flow{.seq_no = some_seq_no(12), .action = random_action(dice_)}; });
    request(
        modify(changes), [&](Model &model) { return model.modify(changes); },
        [&](Model &model, const std::vector<int32_t> &statuses) { model.modify(changes, statuses); });
  }

  void purge_flows() {
    const host::FlowBits bits = host::flow_bits();
    request(purge(), [](Model &model) { return model.purge(); });
    if (model_.flows().empty()) {
      rig_.exceptions.purged.insert(bits.begin(), bits.end());
      erased_.clear();
      last_seq_no_ += 100;  // also numbers that later deletes would name
    }
  }

  void compact() {
    log_ << "\ncompact";
    const State before = faulty_ ? rig_.state() : State();
    int32_t status = 0;
    disturber_.during([&] { status = oftab_defragment_entries(); });
    EXPECT_TRUE(status == 0 || (rig_.state().header == before.header && rig_.state().table == before.table));
  }

  void set_catch_all_action() {
    const Action action = random_action(dice_);
    request(set_catch_all(action), [&](Model &model) { return model.set_catch_all(action); });
  }

  void change_membership() {
    const uint32_t member = port(dice_.below(kWorldPorts));
    const uint32_t pc = port_channel(1 + dice_.below(kWorldPortChannels));
    log_ << std::hex << "\nmembership of " << member << " in " << pc << std::dec;
    const bool leaves = model_.port_channels.at(pc).contains(member);
    if (!leaves && rig_.sw.interfaces().pc_of(member)) {
      return;
    }
    model_.set_member(member, pc, !leaves);
    const bool was_disturbed = disturber_.disturbed;
    const auto change = leaves ? &host::Switch::leave : &host::Switch::join;
    if (disturber_.during([&] { (rig_.sw.*change)(member, pc); })) {
      take_over_flows(model_);
      doubt_refused_trees();
      disturber_.disturbed = was_disturbed;
    }
  }

  void change_interface_id() {
    const uint32_t ifindex = port(dice_.below(kWorldPorts));
    log_ << std::hex << "\nid of " << ifindex << std::dec;
    disturber_.during([&] { rig_.sw.change_interface_id(ifindex, ++last_interface_id_); });
    model_.change_interface_id(ifindex);
  }

  void lose_catch_all_and_add() {
    hdm_oftab_stats_timer_handler();
    model_.collect();
    oftab_clear_catch_all(OFTAB_CATCH_ALL_INDEX, OFTAB_CATCH_ALL_INDEX);
    add_flows(1);
  }

  void collect() {
    disturber_.during([this] { rig_.sw.advance(10); });
    hdm_oftab_stats_timer_handler();  // what was not read is read now
    model_.collect();
  }

  void clear_statistics() {
    disturber_.during([this] { rig_.sw.submit(OFTAB_MSG_GET_STATS, stats_request(OFTAB_STATS_CLEAR, {})); });
    EXPECT_EQ(decode_stats(rig_.send(stats_request(OFTAB_STATS_CLEAR, {}), OFTAB_MSG_GET_STATS)).status, 0);
    model_.clear_counts();
  }

  void ask_for_statistics(uint32_t operation) {
    disturber_.during([&] { rig_.sw.submit(OFTAB_MSG_GET_STATS, stats_request(operation, {last_seq_no_, 0})); });
  }

  void change_interfaces(uint32_t operation) {
    const Bytes request = intf_request(operation, {port(1), port_channel(1)});
    disturber_.during([&] { rig_.sw.submit(OFTAB_MSG_INTF_UPDATE, request); });
  }

 private:
  // Fills most of the table with flows that no packet meets, so that room is short on every side.
  void crowd() {
    const uint32_t room = dice_.below(60);
    std::vector<Flow> flows;
    for (uint32_t i = 0; i < OFTAB_FLOW_CAPACITY - room; ++i) {
      flows.push_back({.seq_no = ++last_seq_no_,
                       .priority = 2'000'000'000 - i,
                       .value = {.ethertype = 0x9999},
                       .mask = {.ethertype = 0xffff}});
    }
    add_batch(flows);
  }

  void random_step() {
    const std::pair<uint32_t, std::function<void()>> steps[] = {
        {25, [this] { add_flows(1); }},          {15, [this] { add_flows(2 + dice_.below(9)); }},
        {15, [this] { erase_flows(); }},         {17, [this] { modify_flows(); }},
        {2, [this] { purge_flows(); }},          {5, [this] { compact(); }},
        {3, [this] { set_catch_all_action(); }}, {7, [this] { change_membership(); }},
        {2, [this] { change_interface_id(); }},  {9, [this] { use_statistics(); }},
    };
    uint32_t what = dice_.below(100);
    for (const auto &[chances, step] : steps) {
      if (what < chances) {
        step();
        return;
      }
      what -= chances;
    }
  }

  // A change of the model, which gives the answer that is due; and one that goes by what the actions came to (nothing:
  // nobody knows).
  using Change = std::function<Response(Model &)>;
  using Outturn = std::function<void(Model &, const std::vector<int32_t> &statuses)>;

  void request(const Bytes &message, const Change &change, const Outturn &outturn = {}) {
    const Model before = faulty_ ? model_ : Model();
    const State state = faulty_ ? rig_.state() : State();
    const bool had_catch_all = rig_.sw.asic().tcam().at(OFTAB_CATCH_ALL_INDEX).valid();
    const uint16_t counter = oftab_hw_rsrc_g.catch_all_entry.stats_id;
    const Response due = change(model_);
    log_ << "\noperation " << due.entry_op << " status " << due.status << ":";
    for (const oftab_resp_entry_t &entry : std::span(due.entries).first(std::min<size_t>(due.entries.size(), 20))) {
      log_ << " " << entry.seq_no << (entry.status == 0 ? "" : "!");
    }
    forget_traces();
    rig_.sw.faults().reset();
    host::Reply reply;
    const bool struck = disturber_.during([&] { reply = rig_.sw.submit(OFTAB_MSG_ENTRY_UPDATE, message); });
    if (!struck) {
      check_answer(reply, due);
      disturber_.disturbed = false;
      follow_doubtful();
    } else if (host::has_lost_its_array()) {
      lose_table();
    } else {
      take_over(before, state, reply, outturn);
    }
    if (struck || !had_catch_all) {
      const oftab_sw_entry_t &entry = oftab_hw_rsrc_g.catch_all_entry;
      take_over_catch_all(entry.stats_id != counter || entry.pkt_cnt == 0);
    }
  }

  // What a request under faults came to: it was refused or granted, or its answer was lost.
  void take_over(const Model &before, const State &state, const host::Reply &reply, const Outturn &outturn) {
    EXPECT_EQ(reply.responses.size(), is_silenced() ? 0U : 1U);
    const Response answer = reply.responses.empty() ? Response() : decode(reply.responses[0]);
    const bool unchanged = rig_.state().header == state.header && rig_.state().table == state.table;
    const bool refused = reply.responses.empty() ? unchanged : answer.status != 0;
    log_ << (refused ? " refused" : " granted") << (reply.responses.empty() ? " without an answer" : "");
    EXPECT_TRUE(unchanged || !refused);
    model_ = refused || outturn ? before : model_;
    if (outturn && (!refused || reply.responses.empty())) {
      outturn(model_, answer.entry_statuses());
    }
    if (!refused) {
      take_over_flows(before);
    }
    doubt_untracked();
  }

  // Whether the message service failed, or there was no memory for the answer.
  bool is_silenced() {
    const auto has_part = [this](const char *part) { return joined(rig_.traced(102)).find(part) != std::string::npos; };
    const bool failed = std::ranges::any_of(rig_.sw.faults().injected(), [](host::services::Call call) {
      const std::string_view name = host::services::name(call);
      return name == "hdm_ipq_handler_init" || name == "ipq_payload_get" || name == "fu_ipq_send_response";
    });
    return failed || has_part("Malloc error") || has_part("() Malloc failure");
  }

  void forget_traces() {
    rig_.exceptions.untracked.merge(rig_.untracked());
    rig_.sw.tracing().clear();
  }

  static void check_answer(const host::Reply &reply, const Response &due) {
    ASSERT_EQ(reply.responses.size(), 1U);
    const Response actual = decode(reply.responses[0]);
    EXPECT_EQ(actual.entry_op, due.entry_op);
    EXPECT_EQ(actual.num_entries, due.num_entries);
    EXPECT_EQ(actual.status, due.status);
    EXPECT_TRUE(std::ranges::equal(actual.entries, due.entries, same_entry));
  }

  // A commit ran out of memory.
  void lose_table() {
    log_ << " lost the table";
    check_findings();
    rig_.set_up({purge()});
    model_.purge();
    erased_.clear();
    last_seq_no_ += 100;
    disturber_.disturbed = false;
  }

  // What look-ups and reads that failed keep from the flows.
  void take_over_flows(const Model &before) {
    for (const oftab_sw_entry_t &record : current_records()) {
      const auto found = model_.flows().find(record.seq_no);
      if ((record.flags & OFTAB_ENTRY_USED) == 0 || found == model_.flows().end()) {
        continue;
      }
      ModelFlow &flow = found->second;
      take_over_outputs(flow, record);
      if (!before.flows().contains(record.seq_no)) {  // its counter may go on from what its last owner left
        const route_stats counts = rig_.sw.asic().counters().peek(record.stats_id);
        flow.pending = {counts.packets, counts.bytes};
      }
    }
  }

  void take_over_outputs(ModelFlow &flow, const oftab_sw_entry_t &record) {
    std::vector<uint8_t> ports;
    if (flow.flow.action.type == OFTAB_ACTION_OUTPORT && flow.action_known && !flow.action_failed) {
      ports = host::asic::ports_of(record.out_ports);
      flow.flow.action.outputs.assign(record.pc_ifindex, record.pc_ifindex + record.num_pc);
      const auto bits = host::flow_bits();
      const auto lost = std::erase_if(flow.flow.action.outputs, [&](uint32_t pc) {
        return record.seq_no < OFTAB_FLOW_HANDLES && !bits.contains({pc, record.seq_no});
      });
      if (lost != 0) {
        doubtful_.insert(record.seq_no);
      }
    } else {
      ports = rig_.sw.asic().trees().ports(record.mcst_idx);  // whose destruction was refused
      doubtful_.insert(record.seq_no);
    }
    flow.sdk_ports = {ports.begin(), ports.end()};
    flow.had_outputs = record.mcst_idx != 0;
  }

  // A request that is refused puts back what flows had, but for port channels that cannot take them up again.
  void doubt_untracked() {
    forget_traces();
    for (const auto &[pc, seq_no] : rig_.exceptions.untracked) {
      doubtful_.insert(seq_no);
    }
    follow_doubtful();
  }

  // A later request may mend what a fault left of a flow's port channels and tree: such flows go by what is there.
  void follow_doubtful() {
    for (const oftab_sw_entry_t &record : current_records()) {
      const auto found = model_.flows().find(record.seq_no);
      if (doubtful_.contains(record.seq_no) && found != model_.flows().end()) {
        take_over_outputs(found->second, record);
      }
    }
  }

  // One that could not be read was installed anew. Its counter may go on from what its last owner left.
  void take_over_catch_all(bool anew) {
    const host::asic::Fate fate = rig_.sw.asic().fate_of(OFTAB_CATCH_ALL_INDEX, 0);
    model_.know_catch_all({fate.verdict, {}, fate.cpu_code});
    if (anew) {
      const uint32_t counter = oftab_hw_rsrc_g.catch_all_entry.stats_id % host::asic::Counters::kIds;
      const route_stats left = rig_.sw.asic().counters().peek(counter);
      model_.restart_catch_all({left.packets, left.bytes});
    }
  }

  // A number that no live flow has; numbers that a purge left in the flow masks of port channels are not given again.
  uint32_t free_seq_no() {
    if (!erased_.empty() && dice_.one_in(4)) {
      const uint32_t again = dice_.pick(erased_);
      erased_.erase(again);
      return again;
    }
    return ++last_seq_no_ + (dice_.one_in(10) ? 100000 : 0);
  }

  // Unique among thousands.
  uint32_t random_priority() { return dice_.below(0xfffff) << 12U | ++last_priority_ % 4096; }

  void add_batch(const std::vector<Flow> &flows) {
    request(add(flows), [&](Model &model) { return model.add(flows); });
  }

  // Whether placing the batch compares all priorities that matter. It stops comparing once it has filled the indices up
  // to the end of the old range: the batch must be placed by then, or not have begun.
  bool keeps_order(const std::vector<Flow> &flows) const {
    const oftab_tcam_tbl_t &table = *oftab_hw_rsrc_g.current_table;
    const auto above = static_cast<size_t>(table.tcam_st_idx);
    const auto below = static_cast<size_t>(OFTAB_FLOW_CAPACITY - 1 - table.tcam_end_idx);
    if (flows.size() == 1 || model_.flows().empty()) {
      return true;
    }
    const bool stronger = flows.front().priority >= table.tcam_entry[0].priority;
    if (above >= flows.size() && (stronger || below < flows.size())) {
      return true;  // the range grows at the top by as much as is added
    }
    const size_t compared = table.tcam_end_idx + size_t{1} - (below >= flows.size() ? above : 0);
    const size_t placed = among_the_first(compared, flows);
    return placed == 0 || placed == flows.size();
  }

  // How many of the batch are among the `count` strongest flows once it is added.
  size_t among_the_first(size_t count, const std::vector<Flow> &flows) const {
    std::vector<std::pair<uint32_t, bool>> order;  // priority, in the batch
    for (const auto &[seq_no, each] : model_.flows()) {
      order.emplace_back(each.flow.priority, false);
    }
    for (const Flow &flow : flows) {
      order.emplace_back(flow.priority, true);
    }
    std::ranges::sort(order, std::ranges::greater());
    order.resize(std::min(count, order.size()));
    return static_cast<size_t>(std::ranges::count_if(order, [](const auto &each) { return each.second; }));
  }

  // Of a live flow, more seldom of one that does not exist.
  uint32_t some_seq_no(uint32_t unknown_in) {
    if (model_.flows().empty() || dice_.one_in(unknown_in)) {
      return dice_.one_in(2) ? 0 : 4'000'000;
    }
    return model_.flows().size() > 1000 ? last_seq_no_ - dice_.below(100) : dice_.pick(model_.flows()).first;
  }

  // Trees that did not follow a membership: no request mends them.
  void doubt_refused_trees() {
    for (const oftab_sw_entry_t &record : current_records()) {
      const auto found = model_.flows().find(record.seq_no);
      if (found != model_.flows().end() && record.mcst_idx != 0 &&
          rig_.sw.asic().trees().ports(record.mcst_idx) != host::asic::ports_of(record.out_ports)) {
        found->second.action_known = false;
      }
    }
  }

  void use_statistics() {
    log_ << "\nstatistics";
    const bool was_disturbed = disturber_.disturbed;
    if (dice_.one_in(4)) {
      collect();
    } else if (dice_.one_in(4)) {
      clear_statistics();
    }
    disturber_.disturbed = was_disturbed;
    check_all_counts();
    check_listed_counts();
  }

  static Counts counts(const oftab_stats_resp_info_t &record) { return {record.pkt_cnt, record.byte_cnt}; }

  // All counts, in the order of the TCAM.
  void check_all_counts() {
    const StatsResponse response = decode_stats(rig_.send(stats_request(OFTAB_STATS_ALL, {}), OFTAB_MSG_GET_STATS));
    ASSERT_EQ(response.records.size(), model_.flows().size());
    uint64_t last_priority = uint64_t{1} << 32;
    for (const oftab_stats_resp_info_t &record : response.records) {
      ASSERT_TRUE(model_.flows().contains(record.seq_no));
      const ModelFlow &flow = model_.flows().at(record.seq_no);
      EXPECT_LE(flow.flow.priority, last_priority);
      last_priority = flow.flow.priority;
      EXPECT_EQ(counts(record), flow.totals);
    }
    const oftab_sw_entry_t &catch_all = oftab_hw_rsrc_g.catch_all_entry;
    if (host::counter_named_by(rig_.sw.asic().tcam().at(OFTAB_CATCH_ALL_INDEX)) == catch_all.stats_id) {
      EXPECT_EQ((Counts{catch_all.pkt_cnt, catch_all.byte_cnt}), model_.catch_all_totals());
    }
  }

  void check_listed_counts() {
    const uint32_t seq_no = some_seq_no(4);
    const auto flow = model_.flows().find(seq_no);
    const bool known = flow != model_.flows().end();
    const StatsResponse response =
        decode_stats(rig_.send(stats_request(OFTAB_STATS_LISTED, {seq_no}), OFTAB_MSG_GET_STATS));
    ASSERT_EQ(response.records.size(), 1U);
    EXPECT_EQ(counts(response.records[0]), known ? flow->second.totals : Counts{});
    EXPECT_EQ(response.records[0].status, known || model_.flows().empty() ? 0 : -1);
  }

  void check_packets() {
    for (int i = 0; i < kPacketsPerStep; ++i) {
      const Packet packet = random_packet(dice_);
      const host::asic::Fate fate = rig_.sw.inject(packet.ingress, packet.header);
      const std::optional<Outcome> due = model_.forward(packet);
      if (due) {
        const std::set<uint8_t> ports(fate.sdk_ports.begin(), fate.sdk_ports.end());
        const Outcome actual{fate.verdict, ports, fate.cpu_code};
        EXPECT_EQ(text_of(actual), text_of(*due)) << "a packet met TCAM index " << fate.tcam_index.value_or(0xffff);
      }
    }
  }

  bool may_be(const host::Finding &finding) {
    const auto found = model_.flows().find(finding.flow.value_or(0));
    const ModelFlow *flow = found != model_.flows().end() ? &found->second : nullptr;
    switch (finding.state) {
      case host::State::Disagreement:
        return false;
      case host::State::FailedAction:
        return flow != nullptr && (flow->action_failed || !flow->action_known);
      case host::State::RefusedWrite:  // or the refused action happens to be what the failed one left
        return disturber_.disturbed || (flow != nullptr && (flow->action_failed || !flow->action_known));
      case host::State::RefusedTree:
        return disturber_.disturbed || (flow != nullptr && !flow->action_known);
      case host::State::RefusedRelease:
      case host::State::Untracked:
      case host::State::Purged:
        return true;
      default:
        return disturber_.disturbed;
    }
  }

  void check_findings() {
    EXPECT_THAT(rig_.sw.violations().list(), testing::IsEmpty());
    forget_traces();
    for (const host::Finding &finding : host::audit(rig_.sw.asic(), rig_.exceptions)) {
      EXPECT_TRUE(may_be(finding)) << finding.text();
    }
  }

  void check() {
    if (!disturber_.disturbed) {
      check_packets();
    }
    EXPECT_EQ(oftab_hw_rsrc_g.current_table->free_entries, OFTAB_FLOW_CAPACITY - model_.flows().size());
    check_findings();
  }

  Dice dice_;
  bool faulty_;
  Rig rig_;
  Model model_;
  uint32_t last_seq_no_ = 0;
  uint32_t last_priority_ = 0;
  std::set<uint32_t> doubtful_;  // flows of which a fault kept something
  std::set<uint32_t> erased_;    // numbers of flows that were deleted
  uint16_t last_interface_id_ = 0x800;
  std::ostringstream log_;
  Disturber disturber_;
};

}  // namespace test

#endif
