// SPDX-License-Identifier: Apache-2.0
#include "host/asic/tcam.h"

#include <algorithm>
#include <string>

#include "oftab/hw_entry.h"

namespace host::asic {
namespace {

Key masked(Key key, const Key &mask) {
  for (size_t i = 0; i < key.size(); ++i) {
    key[i] &= mask[i];
  }
  return key;
}

bool matches(const Record &record, const Key &packet) {
  const Key key = reformat(packet, Format::Ip, format_of(record.key));
  return record.valid() && masked(key, record.mask) == masked(record.key, record.mask);
}

}  // namespace

bool Record::valid() const {
  return oftab::hw::get(key.data(), oftab::hw::ip_key::vld) != 0;
}

SdkError Tcam::write(uint32_t index, const Record &record) {
  if (index >= records_.size()) {
    return SdkError::IndexOutOfRange;
  }
  if (forbidden_ > 0) {
    violations_.add("TCAM write at index " + std::to_string(index) + " where none is allowed");
    return SdkError::WriteForbidden;
  }
  if (record.valid() && !records_[index].valid() && valid_count_ >= capacity_) {
    return SdkError::TcamFull;
  }
  put(static_cast<uint16_t>(index), record);
  refused_.erase(static_cast<uint16_t>(index));
  return SdkError::None;
}

void Tcam::note_failed_write(uint32_t index, const Record &record) {
  if (index < records_.size()) {
    refused_[static_cast<uint16_t>(index)] = record;
  }
}

const Record *Tcam::refused_at(uint16_t index) const {
  const auto found = refused_.find(index);
  return found == refused_.end() ? nullptr : &found->second;
}

void Tcam::put(uint16_t index, const Record &record) {
  Record &place = records_.at(index);
  valid_count_ -= place.valid() ? 1U : 0U;
  valid_count_ += record.valid() ? 1U : 0U;
  if ((record.key != place.key || record.mask != place.mask) && !is_changed_.test(index)) {
    is_changed_.set(index);
    changed_.push_back(index);
  }
  place = record;
}

std::vector<uint16_t> Tcam::valid_indices() const {
  std::vector<uint16_t> indices;
  for (uint16_t index = 0; index < TCAM_INDICES; ++index) {
    if (records_[index].valid()) {
      indices.push_back(index);
    }
  }
  return indices;
}

// Brings a record into the format of packet keys. One that loses a bit on the way asks for what no packet has.
void Tcam::make_searchable(uint16_t index) const {
  const Record &record = records_[index];
  const Format format = format_of(record.key);
  const Key asked = masked(record.key, record.mask);
  const Key value = reformat(asked, format, Format::Ip);
  if (record.valid() && reformat(value, Format::Ip, format) == asked) {
    search_.set(index, value, reformat(record.mask, format, Format::Ip));
  } else {
    search_.remove(index);
  }
}

void Tcam::follow_changes() const {
  for (const uint16_t index : changed_) {
    make_searchable(index);
  }
  changed_.clear();
  is_changed_.reset();
}

std::optional<uint16_t> Tcam::lookup(const Key &packet) const {
  if (!changed_.empty()) {
    follow_changes();
  }
  const std::optional<size_t> index = search_.first(packet);
  return index ? std::optional(static_cast<uint16_t>(*index)) : std::nullopt;
}

std::optional<uint16_t> Tcam::scan(const Key &packet) const {
  const auto hit = std::ranges::find_if(records_, [&](const Record &record) { return matches(record, packet); });
  return hit == records_.end() ? std::nullopt : std::optional(static_cast<uint16_t>(hit - records_.begin()));
}

}  // namespace host::asic
