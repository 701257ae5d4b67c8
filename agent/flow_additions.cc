// SPDX-License-Identifier: Apache-2.0
// Flow-mods that add flows, or replace those that are there.
#include "agent/flow_changes.h"
#include "agent/flow_check.h"
#include "agent/text.h"

namespace agent {

void FlowChanges::add() {
  const Flow &flow = change_.flow;
  if (auto error = refused(device_, flow)) {
    return fail(*std::move(error));
  }
  change_.flow.absent = absence_in(device_, flow.match);
  if (pending_.removals_wait()) {
    pending_.send();
  }
  if ((flow.flags & kCheckOverlap) != 0 && overlaps(flow)) {
    return fail({AgentError::Kind::Overlap, "the flow overlaps another one of its priority"});
  }
  TableEntry *old = identical(flow);
  const TableEntry *holder = flow.seq_no ? table_.find(*flow.seq_no) : nullptr;
  if (holder != nullptr && holder != old) {
    return fail({AgentError::Kind::Number, concat("another flow has the sequence number ", *flow.seq_no)});
  }
  if (old == nullptr) {
    add_new();
  } else {
    replace(*old, {.flow = flow, .added = now_, .used = now_}, flow.seq_no);
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
  if (entry != nullptr && pending_.touch(*entry)) {
    pending_.send();
    entry = table_.find(flow.match, priority_of(flow));
  }
  return entry;
}

void FlowChanges::add_new() {
  if (!pending_.has_room()) {
    pending_.send();
  }
  if (!pending_.has_room()) {
    return fail({AgentError::Kind::TableFull, concat("the table is full: it holds ", table_.size(), " flows")});
  }
  Flow flow = std::move(change_.flow);
  flow.seq_no = number(flow.seq_no);
  flow.priority = priority_of(flow);
  pending_.add(mod_, {.flow = std::move(flow), .added = now_, .used = now_});
}

void FlowChanges::replace(TableEntry &old, TableEntry by, std::optional<uint32_t> wanted) {
  if (!pending_.has_room()) {
    pending_.send();
  }
  by.flow.priority = priority_of(by.flow);
  if (pending_.has_room() && wanted != old.flow.seq_no) {
    by.flow.seq_no = number(wanted);
    pending_.replace(mod_, old, std::move(by));
  } else {
    pending_.send();
    need_counts();
    pending_.replace_in_place(mod_, old, std::move(by));
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
