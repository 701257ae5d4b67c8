// SPDX-License-Identifier: Apache-2.0
// Between runs, the agent's table and the library's agree but for what was refused, which each run tries again:
//
// clang-format off
//   set         what it holds         enters                           leaves                    in hardware meanwhile
//   leftovers_  records without flow  the old record of a flow that    as a run begins, behind   it stands, above or
//               (their numbers stay   has a new one; the new one of a  each batch, before        below the record that
//               taken)                failed replacement; what helped  rereading: deleted        its flow has, if any
//                                     to place flows
//   broken_     flows whose record    a change failed, and could not   as a run begins: another  it sends to nobody, or
//               does other things     be taken back                    record takes its place,   does what the change
//                                                                      this one is left over     asked for
//   lost_       flows without record  replaced in place, both records  as a run ends: added      packets meet the flows
//                                     refused; or refused when the     again, or gone from the   below
//                                     library had lost all flows       table
// clang-format on
//
// When the library loses all its flows, the three are emptied and everything is added again (pending_recovery.cc).
#include "agent/pending_changes.h"

#include <algorithm>
#include <utility>

#include "agent/batch_requests.h"
#include "agent/failures.h"
#include "agent/flow_check.h"
#include "agent/flow_sync.h"
#include "oftab/oftab.h"

namespace agent {

// False when the library lost its flows on the way.
template <typename Requests>
bool PendingChanges::survives(Requests requests) try {
  requests();
  return true;
} catch (const FlowsLost &) {
  recover();
  return false;
}

void PendingChanges::begin(FlowModResults &results, Time now) {
  now_ = now;
  results_ = &results;
  survives([this] { begin(); });
}

void PendingChanges::begin() {
  if (has_lost_flows()) {
    throw FlowsLost();
  }
  for (const uint32_t seq_no : std::exchange(broken_, {})) {
    if (const TableEntry *entry = table_.find(seq_no)) {
      mend(*entry);
    }
  }
  discard_records();
}

std::vector<TableEntry> PendingChanges::reread(Time now) {
  survives([this] { discard_records(); });
  return agent::reread(device_, table_, now, leftovers_);
}

void PendingChanges::add(size_t mod, TableEntry entry) {
  entry.change = change_;
  additions_.push_back({mod, &table_.insert(std::move(entry)), std::nullopt});
}

void PendingChanges::replace(size_t mod, TableEntry &old, TableEntry by) {
  old.change = change_;
  ++replaced_;
  additions_.push_back({mod, &replacements_.emplace_back(std::move(by)), old.flow.seq_no});
}

void PendingChanges::change(size_t mod, TableEntry &entry, std::vector<Action> actions) {
  entry.change = change_;
  changes_.push_back({mod, *entry.flow.seq_no, std::move(actions)});
}

void PendingChanges::remove(size_t mod, uint32_t seq_no, RemovedFlow::Reason reason) {
  removals_.push_back({mod, {table_.erase(seq_no), reason, now_}});
}

void PendingChanges::send() {
  survives([this] { send_all(); });
}

void PendingChanges::send_all() {
  send_additions();
  send_changes();
  std::ranges::for_each(additions_, [this](Addition &addition) { settle(addition); });
  additions_.clear();
  replacements_.clear();
  ++change_;
  replaced_ = 0;
  discard_records();
  send_removals();
}

void PendingChanges::abandon() {
  additions_.clear();
  replacements_.clear();
  changes_.clear();
  for (Removal &removal : std::exchange(removals_, {})) {
    table_.insert(std::move(removal.flow.entry));
  }
  ++change_;
  replaced_ = 0;
}

void PendingChanges::fail(size_t mod, int32_t status) {
  results_->errors.try_emplace(mod, failed(status));
}

// Each record names one index at most.
bool PendingChanges::may_lack_index() const {
  return table_.size() + replaced_ + leftovers_.size() >= multicast_indices();
}

// The CPU gets the flows for whose outputs no multicast index is free.
Statuses PendingChanges::send_with_room(std::span<Flow *const> flows, const Send &send) {
  Statuses statuses = send({flows.begin(), flows.end()});
  std::vector<size_t> refused;
  for (size_t i = 0; i < flows.size(); ++i) {
    if (statuses[i] == OFTAB_ERR_FANOUT) {
      refused.push_back(i);
    }
  }
  if (refused.empty() || free_multicast_indices() != 0) {
    return statuses;
  }
  std::vector<const Flow *> for_cpu;
  for (const size_t i : refused) {
    flows[i]->absent.index = true;
    for_cpu.push_back(flows[i]);
  }
  const Statuses of_cpu = send(for_cpu);
  for (size_t i = 0; i < refused.size(); ++i) {
    statuses[refused[i]] = of_cpu[i];
  }
  return statuses;
}

Statuses PendingChanges::add_all(std::span<Flow *const> flows) {
  return send_with_room(flows, [this](const std::vector<const Flow *> &some) {
    const auto [statuses, strays] = add_batch(device_, some);
    leftovers_.insert(strays.begin(), strays.end());
    return statuses;
  });
}

int32_t PendingChanges::add_one(Flow &flow) {
  Flow *const one = &flow;
  return add_all({&one, 1}).front();
}

void PendingChanges::send_additions() {
  std::vector<Flow *> flows(additions_.size());
  std::ranges::transform(additions_, flows.begin(), [](const Addition &each) { return &each.entry->flow; });
  const Statuses statuses = add_all(flows);
  for (size_t i = 0; i < additions_.size(); ++i) {
    additions_[i].installed = statuses[i] == OFTAB_OK;
    if (statuses[i] != OFTAB_OK) {
      fail(additions_[i].mod, statuses[i]);
    }
  }
}

// What the library has done for a flow-mod that fails is undone.
void PendingChanges::settle(Addition &addition) {
  const uint32_t seq_no = *addition.entry->flow.seq_no;
  const bool stays = addition.installed && !has_failed(addition.mod);
  if (stays && addition.replaces) {
    take_over(std::move(*addition.entry), *addition.replaces);
  } else if (!stays && addition.replaces && addition.installed) {
    leftovers_.insert(seq_no);
  } else if (!stays && addition.replaces) {
    table_.give_back(seq_no);
  } else if (!stays) {
    table_.erase(seq_no);
  }
}

// The number that the flow had stays taken until its record is gone.
void PendingChanges::take_over(TableEntry entry, uint32_t from) {
  table_.insert(std::move(entry));
  table_.erase(from);
  table_.take(from);
  leftovers_.insert(from);
}

void PendingChanges::discard_records() {
  const std::vector<uint32_t> seq_nos(leftovers_.begin(), leftovers_.end());
  const Statuses statuses = delete_batch(device_, seq_nos);
  for (size_t i = 0; i < seq_nos.size(); ++i) {
    if (statuses[i] == OFTAB_OK) {
      leftovers_.erase(seq_nos[i]);
      table_.give_back(seq_nos[i]);
    }
  }
}

void PendingChanges::send_removals() {
  std::vector<uint32_t> seq_nos(removals_.size());
  std::ranges::transform(removals_, seq_nos.begin(), [](const Removal &each) { return *each.flow.entry.flow.seq_no; });
  const Statuses statuses = delete_batch(device_, seq_nos);
  for (size_t i = 0; i < removals_.size(); ++i) {
    if (statuses[i] == OFTAB_OK) {
      results_->removed.push_back(std::move(removals_[i].flow));
    } else {
      table_.insert(std::move(removals_[i].flow.entry));
      fail(removals_[i].mod, statuses[i]);
    }
  }
  removals_.clear();
}

void PendingChanges::replace_in_place(size_t mod, const TableEntry &old, TableEntry by) {
  const uint32_t seq_no = *old.flow.seq_no;
  by.flow.seq_no = seq_no;
  if (!survives([&] { replace_record(mod, old, std::move(by)); })) {
    fail(mod, OFTAB_ERR_INVALID);
  }
}

void PendingChanges::replace_record(size_t mod, const TableEntry &old, TableEntry by) {
  const uint32_t seq_no = *old.flow.seq_no;
  if (const int32_t status = delete_batch(device_, {&seq_no, 1}).front(); status != OFTAB_OK) {
    return fail(mod, status);
  }
  const int32_t status = add_one(by.flow);
  if (status == OFTAB_OK) {
    table_.erase(seq_no);
    table_.insert(std::move(by));
    return;
  }
  fail(mod, status);
  TableEntry &stays = *table_.find(seq_no);
  stays.change_record();
  if (add_one(stays.flow) != OFTAB_OK) {
    lost_.insert(seq_no);
  }
}

}  // namespace agent
