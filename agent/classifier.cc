// SPDX-License-Identifier: Apache-2.0
#include "agent/classifier.h"

#include <bit>

#include "agent/batch_placement.h"
#include "agent/flow_table.h"

namespace agent {
namespace {

using host::asic::Key;

// The fields stand in the key one behind the other, each in whole octets: the last first, as that is where flows differ
// most, and the search begins there.
template <typename GetValue>
Key key_of(GetValue value_of) {
  Key key{};
  size_t at = 0;
  const auto rows = field_rows();
  for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
    uint64_t value = value_of(*row);
    for (const size_t end = at + (static_cast<size_t>(std::bit_width(row->exact)) + 7) / 8; at < end; value >>= 8) {
      key.at(at++) = static_cast<uint8_t>(value);
    }
  }
  return key;
}

}  // namespace

void Classifier::insert(const TableEntry &entry) {
  auto place = static_cast<uint32_t>(places_.size());
  if (free_.empty()) {
    places_.emplace_back();
  } else {
    place = free_.back();
    free_.pop_back();
  }
  places_[place].entry = &entry;
  entry.place = place;
  note_change(place);
}

void Classifier::erase(const TableEntry &entry) {
  places_[entry.place].entry = nullptr;
  note_change(entry.place);
  free_.push_back(entry.place);
}

const TableEntry *Classifier::find(const Packet &packet) const {
  follow_changes();
  const Place *best = nullptr;
  search_.for_each(key_of([&](const FieldRow &row) { return row.of_packet(packet); }), [&](size_t place) {
    const Place &at = places_[place];
    best = best == nullptr || at.rank > best->rank ? &at : best;
  });
  return best == nullptr ? nullptr : best->entry;
}

void Classifier::note_change(uint32_t place) {
  if (!places_[place].changed) {
    places_[place].changed = true;
    changed_.push_back(place);
  }
}

void Classifier::follow_changes() const {
  for (const uint32_t place : changed_) {
    const Place &at = places_[place];
    at.changed = false;
    if (at.entry == nullptr) {
      search_.remove(place);
      continue;
    }
    const Flow &flow = at.entry->flow;
    at.rank = library_priority(flow);
    search_.set(place, key_of([&](const FieldRow &row) { return flow.match[row.field].value; }),
                key_of([&](const FieldRow &row) { return flow.match[row.field].mask; }));
  }
  changed_.clear();
}

}  // namespace agent
