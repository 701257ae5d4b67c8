#include "host/asic/tcam.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <string>
#include <unordered_set>

#include "oftab/hw_entry.h"

namespace host::asic {
namespace {

KeyWords masked(KeyWords words, const KeyWords &mask) {
  for (size_t i = 0; i < kKeyWords; ++i) {
    words[i] &= mask[i];
  }
  return words;
}

bool matches(const KeyWords &packet, const KeyWords &value, const KeyWords &mask) {
  for (size_t i = 0; i < kKeyWords; ++i) {
    if ((packet[i] & mask[i]) != value[i]) {
      return false;
    }
  }
  return true;
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
  write_failed_.reset(index);
  return SdkError::None;
}

void Tcam::note_failed_write(uint32_t index) {
  if (index < records_.size()) {
    write_failed_.set(index);
  }
}

void Tcam::put(uint16_t index, const Record &record) {
  Record &place = records_.at(index);
  valid_count_ -= place.valid() ? 1U : 0U;
  valid_count_ += record.valid() ? 1U : 0U;
  place = record;
  stale_ = true;
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

// How many different values the candidates ask for in one word.
size_t Tcam::diversity(size_t word) const {
  std::unordered_set<uint64_t> values;
  for (const Candidate &candidate : candidates_) {
    values.insert(candidate.value[word]);
  }
  return values.size();
}

// The words by falling diversity: most candidates then differ from a packet in the first word that is compared.
void Tcam::choose_word_order() const {
  std::array<size_t, kKeyWords> diversities{};
  for (size_t word = 0; word < kKeyWords; ++word) {
    diversities[word] = diversity(word);
  }
  std::iota(word_order_.begin(), word_order_.end(), size_t{0});
  std::ranges::stable_sort(word_order_, std::greater(), [&](size_t word) { return diversities[word]; });
}

KeyWords Tcam::in_word_order(const KeyWords &words) const {
  KeyWords ordered{};
  std::ranges::transform(word_order_, ordered.begin(), [&words](size_t word) { return words[word]; });
  return ordered;
}

void Tcam::rebuild_candidates() const {
  candidates_.clear();
  for (const uint16_t index : valid_indices()) {
    const Record &record = records_[index];
    const KeyWords mask = to_words(record.mask);
    candidates_.push_back({masked(to_words(record.key), mask), mask, format_of(record.key), index});
  }
  choose_word_order();
  for (Candidate &candidate : candidates_) {
    candidate.value = in_word_order(candidate.value);
    candidate.mask = in_word_order(candidate.mask);
  }
  stale_ = false;
}

std::optional<uint16_t> Tcam::lookup(const PacketKeys &packet) const {
  if (stale_) {
    rebuild_candidates();
  }
  std::array<KeyWords, kFormatCount> keys{};
  for (const Format format : {kIpFormat, kArpFormat, kEthernetFormat}) {
    keys[format] = in_word_order(packet.in(format));
  }
  const auto hit = std::ranges::find_if(candidates_, [&keys](const Candidate &candidate) {
    return matches(keys[candidate.format], candidate.value, candidate.mask);
  });
  return hit == candidates_.end() ? std::nullopt : std::optional(hit->index);
}

}  // namespace host::asic
