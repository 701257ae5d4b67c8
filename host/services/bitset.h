// SPDX-License-Identifier: Apache-2.0
// A set of bits, as the library's imports use it.
#ifndef HOST_SERVICES_BITSET_H
#define HOST_SERVICES_BITSET_H

#include <bit>
#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace host::services {

// The numbers of the bits that are set in a row of words, each word's lowest bit first; rising.
template <std::unsigned_integral Word>
std::vector<uint32_t> set_bits(std::span<const Word> words) {
  std::vector<uint32_t> found;
  uint32_t first = 0;
  for (Word left : words) {
    for (; left != 0; left &= left - 1) {
      found.push_back(first + static_cast<uint32_t>(std::countr_zero(left)));
    }
    first += std::numeric_limits<Word>::digits;
  }
  return found;
}

class Bitset {
 public:
  // All bits set: whoever expects a new set to be empty is found out.
  explicit Bitset(uint32_t bits);

  uint32_t size() const { return bits_; }
  void clear();
  // `bit` lies below size().
  void set(uint32_t bit) { words_[bit / 64] |= uint64_t{1} << bit % 64; }
  void clear(uint32_t bit) { words_[bit / 64] &= ~(uint64_t{1} << bit % 64); }
  bool test(uint32_t bit) const { return (words_[bit / 64] >> bit % 64 & 1) != 0; }

  // The lowest clear bit at or after `from`.
  std::optional<uint32_t> next_free(uint32_t from) const;

  std::vector<uint32_t> set_bits() const { return services::set_bits(std::span(words_)); }

 private:
  uint32_t bits_;
  std::vector<uint64_t> words_;
};

// The bits of a set that bitset_create made, and whether one of them is set; none for null.
std::vector<uint32_t> set_bits(const void *set);
bool has_bit(const void *set, uint32_t bit);

}  // namespace host::services

#endif
