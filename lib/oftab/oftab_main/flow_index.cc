// SPDX-License-Identifier: Apache-2.0
#include "oftab/oftab_main/flow_index.h"

#include <cstring>

namespace oftab {

unsigned flow_index::bucket_of(uint32_t seq_no) {
  return seq_no * 2654435761U >> (32 - BUCKET_BITS);
}

void flow_index::build(const table_view &table) {
  static_assert(NONE == 0xFFFF, "memset writes it");
  memset(bucket_, 0xFF, sizeof bucket_);
  // From the end, so that each bucket lists its records by rising index.
  for (uint16_t position = table.count; position-- > 0;) {
    if (is_used(table.first[position])) {
      uint16_t &bucket = bucket_[bucket_of(table.first[position].seq_no)];
      next_[position] = bucket;
      bucket = position;
    }
  }
}

oftab_sw_entry_t *flow_index::find(const table_view &table, uint32_t seq_no) const {
  for (uint16_t position = bucket_[bucket_of(seq_no)]; position < table.count; position = next_[position]) {
    oftab_sw_entry_t &entry = table.first[position];
    if (entry.seq_no == seq_no) {
      return &entry;
    }
  }
  return nullptr;
}

}  // namespace oftab
