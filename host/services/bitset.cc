// SPDX-License-Identifier: Apache-2.0
#include "host/services/bitset.h"

#include <algorithm>
#include <bit>
#include <deque>
#include <string>

#include "host/parts.h"
#include "platform/bitset.h"

namespace host::services {

Bitset::Bitset(uint32_t bits) : bits_(bits), words_((size_t{bits} + 63) / 64, ~uint64_t{0}) {
  if (bits % 64 != 0) {
    words_.back() >>= 64 - bits % 64;
  }
}

void Bitset::clear() {
  std::ranges::fill(words_, 0);
}

std::optional<uint32_t> Bitset::next_free(uint32_t from) const {
  for (uint64_t bit = from; bit < bits_;) {
    const uint64_t free = ~words_[bit / 64] >> bit % 64;
    if (free != 0) {
      const uint64_t found = bit + static_cast<uint64_t>(std::countr_zero(free));
      return found < bits_ ? std::optional(static_cast<uint32_t>(found)) : std::nullopt;
    }
    bit = (bit / 64 + 1) * 64;
  }
  return std::nullopt;
}

std::vector<uint32_t> set_bits(const void *set) {
  return set == nullptr ? std::vector<uint32_t>{} : static_cast<const Bitset *>(set)->set_bits();
}

bool has_bit(const void *set, uint32_t bit) {
  const auto *const known = static_cast<const Bitset *>(set);
  return known != nullptr && bit < known->size() && known->test(bit);
}

}  // namespace host::services

namespace {

using host::services::Bitset;
using host::services::Call;
using host::services::UnfailingCall;

// The set, unless the arguments are wrong: then null, and a violation.
Bitset *checked(UnfailingCall call, void *set, uint32_t bit) {
  host::Parts &parts = host::live();
  parts.faults.count(call);
  auto *const known = static_cast<Bitset *>(set);
  if (known == nullptr || bit >= known->size()) {
    parts.violations.add(std::string(name(call.call)) + (known == nullptr ? ": null set" : ": bit out of range"));
    return nullptr;
  }
  return known;
}

int32_t free_bit(UnfailingCall call, void *set, uint32_t from) {
  const Bitset *known = checked(call, set, from);
  const std::optional<uint32_t> found = known == nullptr ? std::nullopt : known->next_free(from);
  return found ? static_cast<int32_t>(*found) : -1;
}

}  // namespace

void *bitset_create(uint32_t bits) {
  // What the library created lives as long as the library, which is longer than a switch.
  static auto &created = *new std::deque<Bitset>;
  return host::live().faults.enter(Call::bitset_create) != 0 ? nullptr : &created.emplace_back(bits);
}

void bitset_clear(void *set) {
  if (Bitset *known = checked(Call::bitset_clear, set, 0)) {
    known->clear();
  }
}

void bitset_set_bit(void *set, uint32_t bit) {
  if (Bitset *known = checked(Call::bitset_set_bit, set, bit)) {
    known->set(bit);
  }
}

void bitset_clear_bit(void *set, uint32_t bit) {
  if (Bitset *known = checked(Call::bitset_clear_bit, set, bit)) {
    known->clear(bit);
  }
}

int32_t bitset_first_free_bit(void *set) {
  return free_bit(Call::bitset_first_free_bit, set, 0);
}

int32_t bitset_next_free_bit(void *set, uint32_t from) {
  return free_bit(Call::bitset_next_free_bit, set, from);
}
