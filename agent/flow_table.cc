#include "agent/flow_table.h"

#include <algorithm>

namespace agent {

FlowTable::FlowTable() {
  clear();
}

TableEntry *FlowTable::find(const Match &match, uint32_t priority) {
  const auto found = seq_nos_.find({match, priority});
  return found == seq_nos_.end() ? nullptr : &entries_.at(found->second);
}

const TableEntry *FlowTable::find(const Match &match, uint32_t priority) const {
  const auto found = seq_nos_.find({match, priority});
  return found == seq_nos_.end() ? nullptr : &entries_.at(found->second);
}

TableEntry *FlowTable::find(uint32_t seq_no) {
  const auto found = entries_.find(seq_no);
  return found == entries_.end() ? nullptr : &found->second;
}

const TableEntry *FlowTable::find(uint32_t seq_no) const {
  const auto found = entries_.find(seq_no);
  return found == entries_.end() ? nullptr : &found->second;
}

std::vector<TableEntry *> FlowTable::covered_by(const Match &match) {
  std::vector<TableEntry *> covered;
  for_each([&](TableEntry &entry) {
    if (covers(match, entry.flow.match)) {
      covered.push_back(&entry);
    }
  });
  return covered;
}

bool FlowTable::overlaps(const Match &match, uint32_t priority) const {
  return std::any_of(entries_.begin(), entries_.end(), [&](const auto &each) {
    const Flow &flow = each.second.flow;
    return priority_of(flow) == priority && overlap(flow.match, match);
  });
}

uint32_t FlowTable::take_seq_no() {
  return free_.extract(free_.begin()).value();
}

void FlowTable::take(uint32_t seq_no) {
  free_.erase(seq_no);
}

void FlowTable::give_back(uint32_t seq_no) {
  if (seq_no != 0 && seq_no <= kCapacity) {
    free_.insert(seq_no);
  }
}

TableEntry &FlowTable::insert(TableEntry entry) {
  const uint32_t seq_no = *entry.flow.seq_no;
  take(seq_no);
  seq_nos_.insert_or_assign({entry.flow.match, priority_of(entry.flow)}, seq_no);
  return entries_.insert_or_assign(seq_no, std::move(entry)).first->second;
}

TableEntry FlowTable::erase(uint32_t seq_no) {
  TableEntry entry = std::move(entries_.extract(seq_no).mapped());
  const auto named = seq_nos_.find({entry.flow.match, priority_of(entry.flow)});
  if (named != seq_nos_.end() && named->second == seq_no) {  // not when another number stands for the flow by now
    seq_nos_.erase(named);
  }
  give_back(seq_no);
  return entry;
}

void FlowTable::clear() {
  entries_.clear();
  seq_nos_.clear();
  for (uint32_t seq_no = 1; seq_no <= kCapacity; ++seq_no) {
    free_.insert(free_.end(), seq_no);
  }
}

// Mixes word by word, multiplying by an odd constant with bits all over.
size_t FlowTable::IdentityHash::operator()(const Identity &identity) const {
  constexpr uint64_t factor = 0x9E3779B97F4A7C15;
  uint64_t hash = identity.priority;
  for (const Masked &field : identity.match.fields) {
    hash = ((hash ^ field.value) * factor) ^ (hash >> 32);
    hash = ((hash ^ field.mask) * factor) ^ (hash >> 32);
  }
  return hash;
}

bool overlap(const Match &one, const Match &other) {
  return std::equal(one.fields.begin(), one.fields.end(), other.fields.begin(),
                    [](const Masked &a, const Masked &b) { return ((a.value ^ b.value) & a.mask & b.mask) == 0; });
}

}  // namespace agent
