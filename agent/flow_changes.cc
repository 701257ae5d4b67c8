// SPDX-License-Identifier: Apache-2.0
#include "agent/flow_changes.h"

#include <algorithm>

#include "agent/counts.h"
#include "agent/flow_check.h"
#include "agent/flow_sync.h"
#include "agent/hardware.h"
#include "agent/text.h"
#include "agent/timeouts.h"

namespace agent {
namespace {

using Command = FlowMod::Command;
using Reason = RemovedFlow::Reason;

// A changed record goes on naming the multicast index that it had: one that loses its outputs is replaced.
bool loses_outputs(const Placement &before, const Placement &after) {
  return before.actions.kind == HardwareActions::Kind::Output && after.actions.kind != HardwareActions::Kind::Output;
}

}  // namespace

bool sends_to(const Flow &flow, uint32_t port) {
  return std::ranges::any_of(
      flow.actions, [port](const Action &action) { return !changes_packets(action.kind) && action.value == port; });
}

FlowModResults FlowChanges::expire(Time now) {
  std::vector<std::pair<uint32_t, Reason>> expired;
  for (const auto &[seq_no, entry] : table_.entries()) {
    if (const auto reason = expiry(entry, now)) {
      expired.emplace_back(seq_no, *reason);
    }
  }
  begin(now);
  for (size_t i = 0; i < expired.size(); ++i) {
    pending_.remove(i, expired[i].first, expired[i].second);
  }
  return finish();
}

FlowModResults FlowChanges::follow_interfaces(Time now) {
  begin(now);
  for (const uint32_t seq_no : overtaken_records(device_, table_)) {
    TableEntry &entry = *table_.find(seq_no);
    need_counts();
    TableEntry by = entry;
    by.flow.absent = absence_in(device_, by.flow.match);
    by.change_record();
    mod_ = mods_++;
    replace(entry, std::move(by), seq_no);  // by which people know the flow
  }
  for (const uint32_t seq_no : flows_with_room(table_)) {
    TableEntry &entry = *table_.find(seq_no);
    need_counts();
    mod_ = mods_++;
    pending_.change(mod_, entry, entry.flow.actions);
  }
  return finish();
}

FlowModResults FlowChanges::finish_failed(Time now) {
  if (!pending_.unfinished()) {
    return {};
  }
  begin(now);
  return finish();
}

void FlowChanges::begin(Time now) {
  results_ = {};
  mods_ = 0;
  now_ = now;
  counted_ = false;
  pending_.begin(results_, now);
}

FlowModResults FlowChanges::finish() {
  pending_.send();
  pending_.finish();
  return std::move(results_);
}

void FlowChanges::apply(FlowMod &&mod) {
  change_ = std::move(mod);
  change_.flow.match = normalised(change_.flow.match);
  mod_ = mods_++;
  switch (change_.command) {
    case Command::Add:
      return add();
    case Command::Modify:
    case Command::ModifyStrict:
      return modify();
    case Command::Delete:
    case Command::DeleteStrict:
      return erase();
  }
}

void FlowChanges::modify() {
  if (auto error = refused(device_, change_.flow)) {
    return fail(*std::move(error));
  }
  if (pending_.removals_wait()) {
    pending_.send();
  }
  const std::vector<TableEntry *> entries = selected(change_.flow, change_.command == Command::ModifyStrict);
  if (entries.empty() && change_.flow.seq_no) {
    return fail({AgentError::Kind::Number, concat("no flow has the sequence number ", *change_.flow.seq_no)});
  }
  if (entries.empty()) {
    return add();
  }
  for (TableEntry *entry : entries) {
    modify(*entry);
  }
}

void FlowChanges::modify(TableEntry &entry) {
  Flow changed = entry.flow;
  changed.actions = change_.flow.actions;
  changed.absent.index = false;
  const Placement before = placement_of(entry.flow);
  const Placement after = placement_of(changed);
  const bool another_record = loses_outputs(before, after);
  if (another_record || before.on_cpu() != after.on_cpu() || pending_.may_lack_index()) {
    need_counts();
  }
  if (!another_record) {
    return pending_.change(mod_, entry, std::move(changed.actions));
  }
  TableEntry by = entry;
  by.flow = std::move(changed);
  by.change_record();
  replace(entry, std::move(by), std::nullopt);
}

void FlowChanges::erase() {
  if (auto error = refused_flags(change_.flow)) {
    return fail(*std::move(error));
  }
  if (pending_.additions_wait()) {
    pending_.send();
  }
  std::vector<TableEntry *> entries = selected(change_.flow, change_.command == Command::DeleteStrict);
  if (change_.out_port != kPortNone) {
    std::erase_if(entries, [&](const TableEntry *entry) { return !sends_to(entry->flow, change_.out_port); });
  }
  if (std::ranges::any_of(entries, [](const auto *entry) { return (entry->flow.flags & kSendFlowRemoved) != 0; })) {
    need_counts();
  }
  for (const TableEntry *entry : entries) {
    pending_.remove(mod_, *entry->flow.seq_no, Reason::Delete);
  }
}

// What waits for one of them is sent first.
std::vector<TableEntry *> FlowChanges::selected(const Flow &description, bool strict) {
  const auto select = [&]() -> std::vector<TableEntry *> {
    if (!strict && !description.seq_no) {
      return table_.covered_by(description.match);
    }
    TableEntry *entry = description.seq_no ? table_.find(*description.seq_no)
                                           : table_.find(description.match, priority_of(description));
    return entry == nullptr ? std::vector<TableEntry *>{} : std::vector{entry};
  };
  std::vector<TableEntry *> entries = select();
  if (std::ranges::any_of(entries, [this](const auto *entry) { return pending_.touch(*entry); })) {
    pending_.send();
    entries = select();
  }
  return entries;
}

// No packet passes during a run: one reading serves all of it.
void FlowChanges::need_counts() {
  if (!counted_) {
    read_counts(device_, table_, now_);
    counted_ = true;
  }
}

}  // namespace agent
