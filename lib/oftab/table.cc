// SPDX-License-Identifier: Apache-2.0
#include "oftab/table.h"

#include <cstdlib>

namespace oftab {

table_view compact_view(const oftab_tcam_tbl_t *table) {
  if (table == nullptr || table->tcam_entry == nullptr || table->entries_allocated == 0 ||
      table->tcam_st_idx > table->tcam_end_idx) {
    return {};
  }
  return {table->tcam_entry, table->tcam_st_idx, static_cast<uint16_t>(table->tcam_end_idx - table->tcam_st_idx + 1)};
}

table_view full_view(const oftab_tcam_tbl_t *table) {
  constexpr uint16_t LAST = OFTAB_FLOW_CAPACITY - 1;
  if (table == nullptr || table->tcam_entry == nullptr ||
      static_cast<uint16_t>(table->tcam_end_idx + 1) == table->tcam_st_idx) {
    return {};
  }
  const uint16_t end = table->tcam_end_idx > LAST ? LAST : table->tcam_end_idx;
  if (table->tcam_st_idx > end) {
    return {};
  }
  return {table->tcam_entry + table->tcam_st_idx, table->tcam_st_idx,
          static_cast<uint16_t>(end - table->tcam_st_idx + 1)};
}

void set_empty_header(oftab_tcam_tbl_t &table) {
  table.tcam_st_idx = 0;
  table.tcam_end_idx = 0;
  table.free_entries = OFTAB_FLOW_CAPACITY;
  table.entries_allocated = 0;
}

void copy_header(oftab_tcam_tbl_t &to, const oftab_tcam_tbl_t &from) {
  to.tcam_st_idx = from.tcam_st_idx;
  to.tcam_end_idx = from.tcam_end_idx;
  to.free_entries = from.free_entries;
  to.entries_allocated = from.entries_allocated;
}

void release_array(oftab_tcam_tbl_t &table) {
  free(table.tcam_entry);
  table.tcam_entry = nullptr;
}

}  // namespace oftab
