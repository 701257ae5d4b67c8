// SPDX-License-Identifier: Apache-2.0
#include "agent/flow_table.h"

#include <algorithm>

namespace agent {

TableEntry *FlowTable::find(const Match &match, uint32_t priority) {
  const auto found = by_identity_.find(Identity{match, priority});
  return found == by_identity_.end() ? nullptr : *found;
}

const TableEntry *FlowTable::find(const Match &match, uint32_t priority) const {
  const auto found = by_identity_.find(Identity{match, priority});
  return found == by_identity_.end() ? nullptr : *found;
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

TableEntry *FlowTable::winner(const Packet &packet) {
  const TableEntry *entry = std::as_const(*this).winner(packet);
  return entry == nullptr ? nullptr : find(*entry->flow.seq_no);
}

const Classifier &FlowTable::classifier() const {
  if (classifier_ == nullptr) {
    classifier_ = std::make_unique<Classifier>();
    std::ranges::for_each(entries_, [this](const auto &each) { classifier_->insert(each.second); });
  }
  return *classifier_;
}

bool FlowTable::overlaps(const Match &match, uint32_t priority) const {
  return std::ranges::any_of(entries_, [&](const auto &each) {
    const Flow &flow = each.second.flow;
    return priority_of(flow) == priority && overlap(flow.match, match);
  });
}

uint32_t FlowTable::take_seq_no() {
  while (taken_.test(lowest_free_)) {
    ++lowest_free_;
  }
  taken_.set(lowest_free_);
  return lowest_free_;
}

void FlowTable::take(uint32_t seq_no) {
  if (seq_no <= kCapacity) {
    taken_.set(seq_no);
  }
}

void FlowTable::give_back(uint32_t seq_no) {
  if (seq_no != 0 && seq_no <= kCapacity) {
    taken_.reset(seq_no);
    lowest_free_ = std::min(lowest_free_, seq_no);
  }
}

TableEntry &FlowTable::insert(TableEntry entry) {
  const uint32_t seq_no = *entry.flow.seq_no;
  take(seq_no);
  TableEntry &place =
      entries_.insert_or_assign(entries_.end(), seq_no, std::move(entry))->second;  // most often the last
  if (const auto [there, is_new] = by_identity_.insert(&place); !is_new) {
    auto node = by_identity_.extract(there);
    node.value() = &place;
    by_identity_.insert(std::move(node));
  }
  if (classifier_ != nullptr) {
    classifier_->insert(place);
  }
  return place;
}

TableEntry FlowTable::erase(uint32_t seq_no) {
  const auto place = entries_.find(seq_no);
  const auto named = by_identity_.find(&place->second);
  if (named != by_identity_.end() && *named == &place->second) {  // not when another entry stands for the flow by now
    by_identity_.erase(named);
  }
  if (classifier_ != nullptr) {
    classifier_->erase(place->second);
  }
  TableEntry entry = std::move(place->second);
  entries_.erase(place);
  give_back(seq_no);
  return entry;
}

// The fields' parts of the sum do not wait for each other. The constant is odd, with bits all over.
size_t FlowTable::hash(const Identity &identity) {
  constexpr uint64_t factor = 0x9E3779B97F4A7C15;
  uint64_t multiplier = factor;
  uint64_t hash = identity.priority * multiplier;
  for (const Masked &field : identity.match.fields) {
    multiplier += 2 * factor;
    hash += (field.value ^ field.mask << 16 ^ field.mask >> 48) * multiplier;
  }
  return hash ^ hash >> 32;
}

bool overlap(const Match &one, const Match &other) {
  return std::ranges::equal(one.fields, other.fields, [](const Masked &a, const Masked &b) {
    return ((a.value ^ b.value) & a.mask & b.mask) == 0;
  });
}

}  // namespace agent
