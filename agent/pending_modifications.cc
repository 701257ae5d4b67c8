// SPDX-License-Identifier: Apache-2.0
// New actions for flows that stand in the library's table: their records are changed, and those of flow-mods that fail
// get their actions back.
#include <algorithm>
#include <utility>

#include "agent/hardware.h"
#include "agent/pending_changes.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

// The flow goes on with another record, which counts from 0.
TableEntry renewed(TableEntry entry, uint32_t seq_no) {
  entry.change_record();
  entry.flow.seq_no = seq_no;
  return entry;
}

bool has_outputs(const Flow &flow) {
  return placement_of(flow).actions.kind == HardwareActions::Kind::Output;
}

// Its counts have been read, if another counts for it from now on: the hardware or the CPU.
void change_actions(TableEntry &entry, Flow &&changed) {
  const bool was_on_cpu = is_on_cpu(entry.flow);
  entry.flow.actions = std::move(changed.actions);
  entry.flow.absent = changed.absent;
  if (was_on_cpu != is_on_cpu(entry.flow)) {
    entry.close_record();
  }
}

}  // namespace

void PendingChanges::send_changes() {
  std::erase_if(changes_, [this](const Change &change) { return has_failed(change.mod); });
  std::vector<Flow> changed(changes_.size());
  std::ranges::transform(changes_, changed.begin(), [this](const Change &each) { return changed_by(each); });
  modify(changed);
  restore_failed();
  for (size_t i = 0; i < changes_.size(); ++i) {
    if (!has_failed(changes_[i].mod)) {
      change_actions(*table_.find(changes_[i].seq_no), std::move(changed[i]));
    }
  }
  changes_.clear();
}

// `changed`: the flows as the changes leave them, one for each.
void PendingChanges::modify(std::span<Flow> changed) {
  std::vector<Flow *> flows(changed.size());
  std::ranges::transform(changed, flows.begin(), [](Flow &flow) { return &flow; });
  const Statuses statuses =
      send_with_room(flows, [this](const std::vector<const Flow *> &some) { return modify_batch(device_, some); });
  for (size_t i = 0; i < changes_.size(); ++i) {
    if (statuses[i] != OFTAB_OK) {
      fail(changes_[i].mod, statuses[i]);
    }
  }
}

Flow PendingChanges::changed_by(const Change &change) const {
  Flow flow = std::as_const(table_).find(change.seq_no)->flow;
  flow.actions = change.actions;
  flow.absent.index = false;
  return flow;
}

// The flows whose changes failed get the actions back that they had before. One that has no outputs and was to get some
// may name their index now, which only another record gets rid of.
void PendingChanges::restore_failed() {
  std::vector<const Flow *> flows;
  for (const Change &change : changes_) {
    if (!has_failed(change.mod)) {
      continue;
    }
    const TableEntry &entry = *table_.find(change.seq_no);
    if (has_outputs(entry.flow) || !has_outputs(changed_by(change))) {
      flows.push_back(&entry.flow);
    } else {
      mend(entry);
    }
  }
  const Statuses statuses = modify_batch(device_, flows);
  for (size_t i = 0; i < flows.size(); ++i) {
    if (statuses[i] != OFTAB_OK) {
      mend(*table_.find(*flows[i]->seq_no));
    }
  }
}

// Another record takes the place of one that does not do what its flow says; as long as that is refused, or there is no
// room for both, each run tries again.
void PendingChanges::mend(const TableEntry &broken) {
  const uint32_t old = *broken.flow.seq_no;
  if (!has_room()) {
    broken_.insert(old);
    return;
  }
  const uint32_t seq_no = table_.take_seq_no();
  TableEntry whole = renewed(broken, seq_no);
  if (add_one(whole.flow) == OFTAB_OK) {
    take_over(std::move(whole), old);
  } else {
    broken_.insert(old);
    table_.give_back(seq_no);
  }
}

}  // namespace agent
