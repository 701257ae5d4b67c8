// Long random histories of a switch, held against the model after every step: answers, packets, counts, audit.
//
// OFTAB_SEED=n replays history n, OFTAB_ROUNDS=n runs n histories (each of kSteps steps).
#include <algorithm>
#include <cstdlib>
#include <random>
#include <sstream>

#include "tests/support/child.h"
#include "tests/support/random_flows.h"
#include "tests/support/rig.h"

namespace test {
namespace {

constexpr int kSteps = 100;
constexpr int kPacketsPerStep = 4;

std::string text_of(const Outcome &outcome) {
  std::string text = "verdict " + std::to_string(static_cast<int>(outcome.verdict)) + ", ports";
  for (const uint8_t port : outcome.sdk_ports) {
    text += ' ';
    text += std::to_string(port);
  }
  return text + (outcome.cpu_code ? ", CPU code " + std::to_string(*outcome.cpu_code) : "");
}

bool same_entry(const oftab_resp_entry_t &one, const oftab_resp_entry_t &other) {
  return one.context == other.context && one.seq_no == other.seq_no && one.status == other.status;
}

class History {
 public:
  explicit History(uint64_t seed) : dice_(seed) {
    rig_.sw.boot();
    for (uint32_t number = 1; number <= kWorldPortChannels; ++number) {
      rig_.sw.interfaces().create_pc(port_channel(number));
      model_.port_channels[port_channel(number)] = {};
    }
  }

  void run() {
    if (dice_.one_in(8)) {
      crowd();
    }
    for (int step = 0; step < kSteps && !testing::Test::HasFailure(); ++step) {
      random_step();
      check();
    }
    if (testing::Test::HasFailure()) {
      printf("the steps:%s\n", log_.str().c_str());
    }
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
    request(add(flows), model_.add(flows));
  }

  void random_step() {
    const uint32_t what = dice_.below(100);
    what < 25   ? add_flows(1)
    : what < 40 ? add_flows(2 + dice_.below(9))
    : what < 55 ? erase_flows()
    : what < 72 ? modify_flows()
    : what < 74 ? purge_flows()
    : what < 79 ? compact()
    : what < 82 ? set_catch_all_action()
    : what < 89 ? change_membership()
    : what < 91 ? change_interface_id()
                : use_statistics();
  }

  void request(const Bytes &message, const Response &due) {
    log_ << "\noperation " << due.entry_op << " status " << due.status << ":";
    for (const oftab_resp_entry_t &entry : due.entries) {
      log_ << " " << entry.seq_no << (entry.status == 0 ? "" : "!");
    }
    const Response actual = rig_.submit(message);
    EXPECT_EQ(actual.entry_op, due.entry_op);
    EXPECT_EQ(actual.num_entries, due.num_entries);
    EXPECT_EQ(actual.status, due.status);
    EXPECT_TRUE(std::ranges::equal(actual.entries, due.entries, same_entry));
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

  void add_batch(const std::vector<Flow> &flows) { request(add(flows), model_.add(flows)); }

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

  void erase_flows() {
    std::vector<uint32_t> seq_nos(dice_.below(6));
    std::ranges::generate(seq_nos, [this] { return some_seq_no(6); });
    if (dice_.one_in(20)) {
      std::ranges::transform(model_.flows(), std::back_inserter(seq_nos), [](const auto &each) { return each.first; });
    }
    std::ranges::copy_if(seq_nos, std::inserter(erased_, erased_.end()),
                         [this](uint32_t seq_no) { return model_.flows().contains(seq_no); });
    request(erase(seq_nos), model_.erase(seq_nos));
  }

  void modify_flows() {
    std::vector<Flow> changes(1 + dice_.below(3));
    std::ranges::generate(changes, [this] { return Flow{.seq_no = some_seq_no(12), .action = random_action(dice_)}; });
    request(modify(changes), model_.modify(changes));
  }

  void purge_flows() {
    log_ << "\npurge";
    rig_.exceptions.purged.merge(host::flow_bits());
    rig_.set_up({purge()});
    model_.purge();
    erased_.clear();
    last_seq_no_ += 100;  // also numbers that later deletes would name
  }

  void compact() {
    log_ << "\ncompact";
    oftab_main(104);
  }

  void set_catch_all_action() {
    const Action action = random_action(dice_);
    EXPECT_EQ(rig_.submit(set_catch_all(action)).status, model_.set_catch_all(action));
  }

  void change_membership() {
    const uint32_t member = port(dice_.below(kWorldPorts));
    const uint32_t pc = port_channel(1 + dice_.below(kWorldPortChannels));
    log_ << std::hex << "\nmembership of " << member << " in " << pc << std::dec;
    if (model_.port_channels.at(pc).contains(member)) {
      rig_.sw.leave(member, pc);
      model_.set_member(member, pc, false);
    } else if (!rig_.sw.interfaces().pc_of(member)) {
      rig_.sw.join(member, pc);
      model_.set_member(member, pc, true);
    }
  }

  void change_interface_id() {
    const uint32_t ifindex = port(dice_.below(kWorldPorts));
    log_ << std::hex << "\nid of " << ifindex << std::dec;
    rig_.sw.change_interface_id(ifindex, ++last_interface_id_);
    model_.change_interface_id(ifindex);
  }

  void use_statistics() {
    log_ << "\nstatistics";
    if (dice_.one_in(4)) {
      rig_.sw.advance(10);
      model_.collect();
    } else if (dice_.one_in(4)) {
      EXPECT_EQ(decode_stats(rig_.send(stats_request(OFTAB_STATS_CLEAR, {}), OFTAB_MSG_GET_STATS)).status, 0);
      model_.clear_counts();
    }
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
    EXPECT_EQ((Counts{catch_all.pkt_cnt, catch_all.byte_cnt}), model_.catch_all_totals());
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

  void check() {
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
    EXPECT_EQ(oftab_hw_rsrc_g.current_table->free_entries, OFTAB_FLOW_CAPACITY - model_.flows().size());
    rig_.excused.clear();
    for (const auto &[seq_no, flow] : model_.flows()) {
      if (!flow.action_known) {
        rig_.excused.emplace(host::State::FailedAction, seq_no);
      }
    }
    rig_.expect_sound();
  }

  Dice dice_;
  Rig rig_;
  Model model_;
  uint32_t last_seq_no_ = 0;
  uint32_t last_priority_ = 0;
  std::set<uint32_t> erased_;  // numbers of flows that were deleted
  uint16_t last_interface_id_ = 0x800;
  std::ostringstream log_;
};

uint64_t number_from_environment(const char *name, uint64_t otherwise) {
  const char *text = getenv(name);
  return text == nullptr ? otherwise : strtoull(text, nullptr, 10);
}

TEST(Model, AgreesWithTheSwitchThroughRandomHistories) {
  const bool replay = getenv("OFTAB_SEED") != nullptr;
  const uint64_t first_seed = number_from_environment("OFTAB_SEED", std::random_device()());
  const uint64_t rounds = number_from_environment("OFTAB_ROUNDS", replay ? 1 : 200);
  printf("OFTAB_SEED=%llu OFTAB_ROUNDS=%llu\n", static_cast<unsigned long long>(first_seed),
         static_cast<unsigned long long>(rounds));
  for (uint64_t seed = first_seed; seed < first_seed + rounds; ++seed) {
    const auto history = [=] {
      History(seed).run();
      return 0;
    };
    ASSERT_FALSE(in_child(history).failed()) << "replay with OFTAB_SEED=" << seed;
  }
}

}  // namespace
}  // namespace test
