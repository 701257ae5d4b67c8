// SPDX-License-Identifier: Apache-2.0
#include "host/asic/ternary_search.h"

#include <algorithm>
#include <bit>

namespace host::asic {
namespace {

constexpr size_t kWordBits = 64;

template <typename Row>
void assign(Row &row, size_t bit, bool value) {
  uint64_t &word = row[bit / kWordBits];
  const size_t place = bit % kWordBits;
  word = (word & ~(uint64_t{1} << place)) | uint64_t{value} << place;
}

template <typename Row>
void intersect(Row &row, const Row &other) {
  for (size_t i = 0; i < row.size(); ++i) {
    row[i] &= other[i];
  }
}

template <typename Row>
bool any(const Row &row) {
  uint64_t all = 0;
  for (const uint64_t word : row) {
    all |= word;
  }
  return all != 0;
}

template <typename Row>
bool meet(Row row, const Row &other) {
  intersect(row, other);
  return any(row);
}

// Of a row with one set bit or more.
template <typename Row>
size_t lowest_bit(const Row &row) {
  const auto word = std::ranges::find_if(row, [](uint64_t each) { return each != 0; });
  return static_cast<size_t>(word - row.begin()) * kWordBits + static_cast<size_t>(std::countr_zero(*word));
}

}  // namespace

TernarySearch::TernarySearch(size_t records) : blocks_((records + kBlock - 1) / kBlock) {}

void TernarySearch::set(size_t record, const Key &value, const Key &mask) {
  Block &block = blocks_.at(record / kBlock);
  const Digits values = digits_of(value);
  const Digits masks = digits_of(mask);
  for (size_t digit = 0; digit < kDigits; ++digit) {
    block.set_digit(digit, record % kBlock, values[digit], masks[digit]);
  }
  assign(block.present, record % kBlock, true);
  block.find_asked();
}

// Its bits stay in the rows: they say nothing about a record that is not there.
void TernarySearch::remove(size_t record) {
  Block &block = blocks_.at(record / kBlock);
  assign(block.present, record % kBlock, false);
  block.find_asked();
}

std::optional<size_t> TernarySearch::first(const Key &key) const {
  const Digits digits = digits_of(key);
  for (size_t number = 0; number < blocks_.size(); ++number) {
    if (const Row matching = blocks_[number].matching(digits); any(matching)) {
      return number * kBlock + lowest_bit(matching);
    }
  }
  return std::nullopt;
}

TernarySearch::Digits TernarySearch::digits_of(const Key &key) {
  Digits digits;
  for (size_t byte = 0; byte < key.size(); ++byte) {
    digits[2 * byte] = key[byte] & 0xfU;
    digits[2 * byte + 1] = key[byte] >> 4U;
  }
  return digits;
}

void TernarySearch::Block::set_digit(size_t digit, size_t record, unsigned value, unsigned mask) {
  for (unsigned each = 0; each < accepting[digit].size(); ++each) {
    assign(accepting[digit][each], record, ((each ^ value) & mask) == 0);
  }
  assign(asking[digit], record, mask != 0);
}

void TernarySearch::Block::find_asked() {
  asked.clear();
  for (size_t digit = 0; digit < kDigits; ++digit) {
    if (meet(asking[digit], present)) {
      asked.push_back(static_cast<uint8_t>(digit));
    }
  }
}

TernarySearch::Row TernarySearch::Block::matching(const Digits &key) const {
  Row matching = present;
  for (size_t i = 0; i < asked.size() && any(matching); ++i) {
    intersect(matching, accepting[asked[i]][key[asked[i]]]);
  }
  return matching;
}

}  // namespace host::asic
