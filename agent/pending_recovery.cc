// SPDX-License-Identifier: Apache-2.0
// The library has lost all its flows: it ran out of memory as it committed a request. What waited fails, and what the
// agent knows is added again.
#include <algorithm>
#include <utility>

#include "agent/batch_requests.h"
#include "agent/flow_check.h"
#include "agent/pending_changes.h"
#include "oftab/oftab.h"

namespace agent {

bool PendingChanges::unfinished() const {
  return !leftovers_.empty() || !broken_.empty() || !lost_.empty() || has_lost_flows();
}

void PendingChanges::recover() {
  fail_all();
  const std::set<uint32_t> seq_nos = all_seq_nos();
  if (seq_nos.empty()) {
    ask(device_, purge_request());
  } else {
    add_again(seq_nos);
  }
}

// What was to be removed is gone with the others.
void PendingChanges::fail_all() {
  for (const Addition &addition : std::exchange(additions_, {})) {
    const uint32_t seq_no = *addition.entry->flow.seq_no;
    fail(addition.mod, OFTAB_ERR_INVALID);
    if (addition.replaces) {
      table_.give_back(seq_no);
    } else {
      table_.erase(seq_no);
    }
  }
  for (const Change &change : std::exchange(changes_, {})) {
    fail(change.mod, OFTAB_ERR_INVALID);
  }
  for (Removal &removal : std::exchange(removals_, {})) {
    results_->removed.push_back(std::move(removal.flow));
  }
  std::ranges::for_each(std::exchange(leftovers_, {}), [this](uint32_t seq_no) { table_.give_back(seq_no); });
  broken_.clear();
  lost_.clear();
  ++change_;
  replacements_.clear();
  replaced_ = 0;
}

// Flows that are refused stay in the table, and wait.
void PendingChanges::add_again(const std::set<uint32_t> &seq_nos) {
  std::vector<Flow *> flows;
  for (const uint32_t seq_no : seq_nos) {
    TableEntry &entry = *table_.find(seq_no);
    entry.change_record();
    entry.flow.absent = absence_in(device_, entry.flow.match);
    flows.push_back(&entry.flow);
  }
  try {
    const Statuses statuses = add_all(flows);
    for (size_t i = 0; i < flows.size(); ++i) {
      if (statuses[i] != OFTAB_OK) {
        lost_.insert(*flows[i]->seq_no);
      }
    }
  } catch (const FlowsLost &) {
    lost_ = all_seq_nos();
  }
}

std::set<uint32_t> PendingChanges::all_seq_nos() const {
  std::set<uint32_t> seq_nos;
  for (const auto &[seq_no, entry] : table_.entries()) {
    seq_nos.insert(seq_nos.end(), seq_no);
  }
  return seq_nos;
}

void PendingChanges::finish() {
  if (!lost_.empty()) {
    const auto live = live_seq_nos();
    std::erase_if(lost_, [&](uint32_t seq_no) { return table_.find(seq_no) == nullptr || live.contains(seq_no); });
    add_again(std::exchange(lost_, {}));
  }
  results_->waiting = lost_.size();
}

}  // namespace agent
