// SPDX-License-Identifier: Apache-2.0
// A set of bits, as the library's imports use it.
#ifndef HOST_SERVICES_BITSET_H
#define HOST_SERVICES_BITSET_H

#include <cstdint>
#include <optional>
#include <vector>

namespace host::services {

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

  std::vector<uint32_t> set_bits() const;  // rising

 private:
  uint32_t bits_;
  std::vector<uint64_t> words_;
};

// The bits of a set that bitset_create made; none for null.
std::vector<uint32_t> set_bits(const void *set);

}  // namespace host::services

#endif
