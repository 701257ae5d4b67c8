// SPDX-License-Identifier: Apache-2.0
// Flow-mods that add flows, or replace those that are there.
#include "agent/flow_changes.h"
#include "agent/flow_check.h"
#include "agent/text.h"

namespace agent {

void FlowChanges::add(size_t mod) {
  const Flow &flow = change_.flow;
  if (auto error = refused(device_, flow)) {
    return fail(mod, *std::move(error));
  }
  if (pending_.removals_wait()) {
    pending_.send();
  }
  if ((flow.flags & kCheckOverlap) != 0 && overlaps(flow)) {
    return fail(mod, {AgentError::Kind::Overlap, "the flow overlaps another one of its priority"});
  }
  const TableEntry *old = identical(flow);
  const TableEntry *holder = flow.seq_no ? table_.find(*flow.seq_no) : nullptr;
  if (holder != nullptr && holder != old) {
    return fail(mod, {AgentError::Kind::Number, concat("another flow has the sequence number ", *flow.seq_no)});
  }
  if (old == nullptr) {
    add_new(mod);
  } else {
    replace(mod, *old, {.flow = flow, .added = now_, .used = now_}, flow.seq_no);
  }
}

// An addition that waits may yet fail, and does not count then.
bool FlowChanges::overlaps(const Flow &flow) {
  if (table_.overlaps(flow.match, priority_of(flow)) && pending_.additions_wait()) {
    pending_.send();
  }
  return table_.overlaps(flow.match, priority_of(flow));
}

TableEntry *FlowChanges::identical(const Flow &flow) {
  TableEntry *entry = table_.find(flow.match, priority_of(flow));
  if (entry != nullptr && pending_.touch(*entry->flow.seq_no)) {
    pending_.send();
    entry = table_.find(flow.match, priority_of(flow));
  }
  return entry;
}

void FlowChanges::add_new(size_t mod) {
  if (!pending_.has_room()) {
    pending_.send();
  }
  if (!pending_.has_room()) {
    return fail(mod, {AgentError::Kind::TableFull, concat("the table is full: it holds ", table_.size(), " flows")});
  }
  Flow flow = change_.flow;
  flow.seq_no = number(flow.seq_no);
  flow.priority = priority_of(flow);
  pending_.add(mod, {.flow = std::move(flow), .added = now_, .used = now_});
}

void FlowChanges::replace(size_t mod, const TableEntry &old, TableEntry by, std::optional<uint32_t> wanted) {
  if (!pending_.has_room()) {
    pending_.send();
  }
  by.flow.priority = priority_of(by.flow);
  if (pending_.has_room() && wanted != old.flow.seq_no) {
    by.flow.seq_no = number(wanted);
    pending_.replace(mod, old, std::move(by));
  } else {
    pending_.send();
    need_counts();
    pending_.replace_in_place(mod, old, std::move(by));
  }
}

uint32_t FlowChanges::number(std::optional<uint32_t> wanted) {
  if (!wanted) {
    return table_.take_seq_no();
  }
  table_.take(*wanted);
  return *wanted;
}

}  // namespace agent
