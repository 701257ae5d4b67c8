// SPDX-License-Identifier: Apache-2.0
// The search of the TCAM: the first of many ternary records that matches a key, 512 records at a step.
//
// A key is read as hexadecimal digits. For each digit and each of its 16 values there is a row with a bit for every
// record: set if the record accepts that value there. A key is matched by the records whose bits are set in all rows
// that its digits choose. With two digits of one bit, and four records:
//
//     record            0: 1x   1: 01   2: xx   3: 00
//     first digit  0      0       1       1       1     <- the key 01 chooses this row
//                  1      1       0       1       0
//     second digit 0      1       0       1       1
//                  1      1       1       1       0     <- and this one
//     both                0       1       1       0     the first match is record 1
//
// The records are searched in blocks of 512, whose rows are a cache line each, up to the first block with a match. What
// the masks look like does not matter, and a change of a record changes its own bit in each row of its block.
#ifndef HOST_ASIC_TERNARY_SEARCH_H
#define HOST_ASIC_TERNARY_SEARCH_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/asic/packet_key.h"

namespace host::asic {

class TernarySearch {
 public:
  // For records with the numbers 0 to `records` - 1, of which none is there yet.
  explicit TernarySearch(size_t records);

  // Places a record, or replaces it: it matches the keys that equal `value` wherever `mask` has ones.
  void set(size_t record, const Key &value, const Key &mask);
  void remove(size_t record);

  // The lowest number of a record that matches.
  std::optional<size_t> first(const Key &key) const;

  // Visits the numbers of all records that match, rising.
  template <typename Visit>
  void for_each(const Key &key, Visit visit) const;

 private:
  static constexpr size_t kDigits = 2 * sizeof(Key);
  static constexpr size_t kBlock = 512;

  using Digits = std::array<uint8_t, kDigits>;
  using Row = std::array<uint64_t, kBlock / 64>;

  struct alignas(sizeof(Row)) Block {
    std::array<std::array<Row, 16>, kDigits> accepting{};  // by digit and value
    std::array<Row, kDigits> asking{};                     // the records that do not accept every value
    Row present{};
    std::vector<uint8_t> asked;  // the digits that some present record asks about

    void set_digit(size_t digit, size_t record, unsigned value, unsigned mask);
    void find_asked();
    Row matching(const Digits &key) const;
  };

  static Digits digits_of(const Key &key);

  std::vector<Block> blocks_;
};

template <typename Visit>
void TernarySearch::for_each(const Key &key, Visit visit) const {
  const Digits digits = digits_of(key);
  for (size_t block = 0; block < blocks_.size(); ++block) {
    const Row matching = blocks_[block].matching(digits);
    for (size_t word = 0; word < matching.size(); ++word) {
      for (uint64_t bits = matching[word]; bits != 0; bits &= bits - 1) {
        visit(block * kBlock + word * 64 + static_cast<size_t>(std::countr_zero(bits)));
      }
    }
  }
}

}  // namespace host::asic

#endif
