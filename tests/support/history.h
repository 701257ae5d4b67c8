// SPDX-License-Identifier: Apache-2.0
// A random history of a switch, held against the model after every step: answers, packets, counts, audit.
//
// Host calls, SDK calls and allocations may fail on the way. A request that was refused has changed nothing; of one
// that was granted, the model takes over what failures explain. Until the next flow request that nothing disturbs,
// table and TCAM may differ in the ways that the audit knows; then nothing is left but what the SDK did not take back.
#ifndef TESTS_SUPPORT_HISTORY_H
#define TESTS_SUPPORT_HISTORY_H

#include <functional>
#include <set>
#include <sstream>
#include <vector>

#include "tests/support/disturber.h"
#include "tests/support/model.h"
#include "tests/support/random_flows.h"
#include "tests/support/rig.h"

namespace test {

class History {
 public:
  // Faults strike by chance in every other history; or else when strike() lets them.
  explicit History(uint64_t seed, bool by_chance = true);

  void run();            // 100 steps, now and then of a table that is nearly full
  void play(int steps);  // random ones, until one fails

  // Takes a step on whose way a fault that `arm` sets up may strike; whether it did.
  bool strike(const std::function<void(History &)> &step, const std::function<void(host::services::Faults &)> &arm);

  // Its steps.
  void add_flows(uint32_t count);
  void erase_flows();
  void modify_flows();
  void purge_flows();
  void compact();
  void set_catch_all_action();
  void change_membership();
  void change_interface_id();
  void lose_catch_all_and_add();
  void collect();
  void clear_statistics();
  void ask_for_statistics(uint32_t operation);
  void change_interfaces(uint32_t operation);

 private:
  // A change of the model, which gives the answer that is due; and one that goes by what the actions came to (nothing:
  // nobody knows).
  using Change = std::function<Response(Model &)>;
  using Outturn = std::function<void(Model &, const std::vector<int32_t> &statuses)>;

  // Steps, and what they draw.
  void crowd();
  void random_step();
  void use_statistics();
  void add_batch(const std::vector<Flow> &flows);
  void request(const Bytes &message, const Change &change, const Outturn &outturn = {});
  uint32_t free_seq_no();
  uint32_t some_seq_no(uint32_t unknown_in);
  uint32_t random_priority();
  bool keeps_order(const std::vector<Flow> &flows) const;
  size_t among_the_first(size_t count, const std::vector<Flow> &flows) const;

  // What the model takes over of failures.
  void take_over(const Model &before, const State &state, const host::Reply &reply, const Outturn &outturn);
  void take_over_flows(const Model &before);
  void take_over_outputs(ModelFlow &flow, const oftab_sw_entry_t &record);
  void take_over_catch_all(bool anew);
  void doubt_what_stays();
  void follow_doubtful();
  void doubt_refused_trees();
  void lose_table();
  bool is_silenced();
  void forget_traces();

  // The switch held against the model.
  void check();
  void check_packets();
  static void check_answer(const host::Reply &reply, const Response &due);
  void check_all_counts();
  void check_listed_counts();
  void check_findings();
  bool may_be(const host::Finding &finding);

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
