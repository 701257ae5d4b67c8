// SPDX-License-Identifier: Apache-2.0
#include "tests/support/history.h"

#include <algorithm>
#include <cstdio>
#include <span>

#include "host/table_snapshot.h"

namespace test {
namespace {

constexpr int kSteps = 100;

}  // namespace

History::History(uint64_t seed, bool by_chance)
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

void History::run() {
  if (dice_.one_in(8)) {
    crowd();
  }
  play(kSteps);
}

void History::play(int steps) {
  for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
    random_step();
    check();
  }
  if (testing::Test::HasFailure()) {
    std::printf("the steps:%s\n", log_.str().c_str());
  }
}

bool History::strike(const std::function<void(History &)> &step,
                     const std::function<void(host::services::Faults &)> &arm) {
  disturber_.disturbed = false;
  disturber_.next = [&] { arm(rig_.sw.faults()); };
  step(*this);
  disturber_.next = {};  // a step may do nothing
  check();
  return disturber_.has_struck;
}

void History::request(const Bytes &message, const Change &change, const Outturn &outturn) {
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

}  // namespace test
