// SPDX-License-Identifier: Apache-2.0
// The steps of a history, and what they draw.
#include <algorithm>
#include <iterator>
#include <utility>

#include "host/table_snapshot.h"
#include "tests/support/history.h"

namespace test {

void History::random_step() {
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

// Fills most of the table with flows that no packet meets, so that room is short on every side.
void History::crowd() {
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

void History::add_flows(uint32_t count) {
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

void History::add_batch(const std::vector<Flow> &flows) {
  request(add(flows), [&](Model &model) { return model.add(flows); });
}

void History::erase_flows() {
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

void History::modify_flows() {
  std::vector<Flow> changes(1 + dice_.below(3));
  std::ranges::generate(changes, [this] { return Flow{.seq_no = some_seq_no(12), .action = random_action(dice_)}; });
  request(
      modify(changes), [&](Model &model) { return model.modify(changes); },
      [&](Model &model, const std::vector<int32_t> &statuses) { model.modify(changes, statuses); });
}

void History::purge_flows() {
  const host::FlowBits bits = host::flow_bits();
  request(purge(), [](Model &model) { return model.purge(); });
  if (model_.flows().empty()) {
    rig_.exceptions.purged.insert(bits.begin(), bits.end());
    erased_.clear();
    last_seq_no_ += 100;  // also numbers that later deletes would name
  }
}

void History::compact() {
  log_ << "\ncompact";
  const State before = faulty_ ? rig_.state() : State();
  int32_t status = 0;
  disturber_.during([&] { status = oftab_defragment_entries(); });
  EXPECT_TRUE(status == 0 || (rig_.state().header == before.header && rig_.state().table == before.table));
}

void History::set_catch_all_action() {
  const Action action = random_action(dice_);
  request(set_catch_all(action), [&](Model &model) { return model.set_catch_all(action); });
}

void History::change_membership() {
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

void History::change_interface_id() {
  const uint32_t ifindex = port(dice_.below(kWorldPorts));
  log_ << std::hex << "\nid of " << ifindex << std::dec;
  disturber_.during([&] { rig_.sw.change_interface_id(ifindex, ++last_interface_id_); });
  model_.change_interface_id(ifindex);
}

void History::use_statistics() {
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

void History::collect() {
  disturber_.during([this] { rig_.sw.advance(10); });
  hdm_oftab_stats_timer_handler();  // what was not read is read now
  model_.collect();
}

void History::clear_statistics() {
  disturber_.during([this] { rig_.sw.submit(OFTAB_MSG_GET_STATS, stats_request(OFTAB_STATS_CLEAR, {})); });
  EXPECT_EQ(decode_stats(rig_.send(stats_request(OFTAB_STATS_CLEAR, {}), OFTAB_MSG_GET_STATS)).status, 0);
  model_.clear_counts();
}

void History::lose_catch_all_and_add() {
  hdm_oftab_stats_timer_handler();
  model_.collect();
  oftab_clear_catch_all(OFTAB_CATCH_ALL_INDEX, OFTAB_CATCH_ALL_INDEX);
  add_flows(1);
}

void History::ask_for_statistics(uint32_t operation) {
  disturber_.during([&] { rig_.sw.submit(OFTAB_MSG_GET_STATS, stats_request(operation, {last_seq_no_, 0})); });
}

void History::change_interfaces(uint32_t operation) {
  const Bytes request = intf_request(operation, {port(1), port_channel(1)});
  disturber_.during([&] { rig_.sw.submit(OFTAB_MSG_INTF_UPDATE, request); });
}

// A number that no live flow has; numbers that a purge left in the flow masks of port channels are not given again.
uint32_t History::free_seq_no() {
  if (!erased_.empty() && dice_.one_in(4)) {
    const uint32_t again = dice_.pick(erased_);
    erased_.erase(again);
    return again;
  }
  return ++last_seq_no_ + (dice_.one_in(10) ? 100000 : 0);
}

// Of a live flow, more seldom of one that does not exist.
uint32_t History::some_seq_no(uint32_t unknown_in) {
  if (model_.flows().empty() || dice_.one_in(unknown_in)) {
    return dice_.one_in(2) ? 0 : 4'000'000;
  }
  return model_.flows().size() > 1000 ? last_seq_no_ - dice_.below(100) : dice_.pick(model_.flows()).first;
}

// Unique among thousands.
uint32_t History::random_priority() {
  return dice_.below(0xfffff) << 12U | ++last_priority_ % 4096;
}

// Whether placing the batch compares all priorities that matter. It stops comparing once it has filled the indices up
// to the end of the old range: the batch must be placed by then, or not have begun.
bool History::keeps_order(const std::vector<Flow> &flows) const {
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
size_t History::among_the_first(size_t count, const std::vector<Flow> &flows) const {
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

}  // namespace test
