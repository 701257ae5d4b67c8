// SPDX-License-Identifier: Apache-2.0
// What the shows and the dumps of a table have in common, whatever output they print to.
#ifndef OFTAB_TABLE_HEADER_H
#define OFTAB_TABLE_HEADER_H

#include <cstdint>

#include "oftab/oftab.h"
#include "oftab/oftab_debug/line_output.h"

namespace oftab {

// Whether there is something to show; says so if not.
template <typename Output>
bool is_initialized(Output &out, bool there) {
  if (!there) {
    PRINT(out, "TCAM Not Initialized yet\n");
  }
  return there;
}

template <typename Output>
void print_table_header(Output &out, const oftab_tcam_tbl_t &table) {
  PRINT(out, "Start Index:%d   End Index:%d\n", table.tcam_st_idx, table.tcam_end_idx);
  PRINT(out, "Total:%d  Used:%d  Free:%d  Entries Allocated:%d\n", OFTAB_FLOW_CAPACITY,
        OFTAB_FLOW_CAPACITY - table.free_entries, table.free_entries, table.entries_allocated);
}

// The count of interfaces, and the occupied slots of their table, five a line.
template <typename Output>
void print_interfaces(Output &out, uint16_t count, const uint32_t (&table)[OFTAB_PORT_SLOTS]) {
  constexpr unsigned PER_LINE = 5;
  PRINT(out, "Intf Count :%d  \n", count);
  unsigned on_line = 0;
  for (const uint32_t ifindex : table) {
    if (ifindex == OFTAB_EMPTY_SLOT) {
      continue;
    }
    PRINT(out, "\t0x%x ", ifindex);
    if (++on_line == PER_LINE) {
      PRINT(out, "\n");
      on_line = 0;
    }
  }
  if (on_line != 0) {
    PRINT(out, "\n");
  }
}

}  // namespace oftab

#endif
