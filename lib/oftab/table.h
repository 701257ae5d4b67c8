// SPDX-License-Identifier: Apache-2.0
// Walking a table, whichever form its entry array has.
#ifndef OFTAB_TABLE_H
#define OFTAB_TABLE_H

#include <cstdint>

#include "oftab/oftab.h"

namespace oftab {

// The records of a table's range; element k stands for TCAM index `start` + k. Empty when there is nothing to read.
struct table_view {
  oftab_sw_entry_t *first = nullptr;
  uint16_t start = 0;
  uint16_t count = 0;

  oftab_sw_entry_t *begin() const { return first; }
  oftab_sw_entry_t *end() const { return first + count; }
  uint16_t index_of(const oftab_sw_entry_t &entry) const { return static_cast<uint16_t>(start + (&entry - first)); }
  // The record at a TCAM index, or null outside the range.
  oftab_sw_entry_t *at(uint16_t index) const {
    return index >= start && index - start < count ? first + (index - start) : nullptr;
  }
};

// A table in compact form, as the current table is: none of its records can be read while it counts no entries, has no
// array, or does not exist yet.
table_view compact_view(const oftab_tcam_tbl_t *table);

inline table_view current_view() {
  return compact_view(oftab_hw_rsrc_g.current_table);
}

// The range of a table in full form, by TCAM index, as the shadow table is while a request is applied.
table_view full_view(const oftab_tcam_tbl_t *table);

inline table_view shadow_view() {
  return full_view(oftab_hw_rsrc_g.shadow_table);
}

inline bool is_used(const oftab_sw_entry_t &entry) {
  return (entry.flags & OFTAB_ENTRY_USED) != 0;
}

inline void set_flags(oftab_sw_entry_t &entry, unsigned bits) {
  entry.flags = static_cast<uint8_t>(entry.flags | bits);
}

inline void clear_flags(oftab_sw_entry_t &entry, unsigned bits) {
  entry.flags = static_cast<uint8_t>(entry.flags & ~bits);
}

// Gives a table the header of an empty one; its array stays.
void set_empty_header(oftab_tcam_tbl_t &table);

void copy_header(oftab_tcam_tbl_t &to, const oftab_tcam_tbl_t &from);

// Releases a table's array.
void release_array(oftab_tcam_tbl_t &table);

}  // namespace oftab

#endif
