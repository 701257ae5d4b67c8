// What the shows and the dumps of a table have in common, whatever they print through. `print` takes a printf format
// and its arguments.
#ifndef OFTAB_TABLE_HEADER_H
#define OFTAB_TABLE_HEADER_H

#include <cstdint>
#include <cstring>

#include "oftab/oftab.h"

namespace oftab {

inline constexpr char NOT_INITIALIZED[] = "TCAM Not Initialized yet\n";

template <typename Print>
void print_table_header(const Print &print, const oftab_tcam_tbl_t &table) {
  print("Start Index:%d   End Index:%d\n", table.tcam_st_idx, table.tcam_end_idx);
  print("Total:%d  Used:%d  Free:%d  Entries Allocated:%d\n", OFTAB_FLOW_CAPACITY,
        OFTAB_FLOW_CAPACITY - table.free_entries, table.free_entries, table.entries_allocated);
}

// The count of interfaces, and the occupied slots of their table, five a line.
template <typename Print>
void print_interfaces(const Print &print, uint16_t count, const uint32_t (&table)[OFTAB_PORT_SLOTS]) {
  constexpr unsigned PER_LINE = 5;
  print("Intf Count :%d  \n", count);
  unsigned on_line = 0;
  for (const uint32_t ifindex : table) {
    if (ifindex == OFTAB_EMPTY_SLOT) {
      continue;
    }
    print("\t0x%x ", ifindex);
    if (++on_line == PER_LINE) {
      print("\n");
      on_line = 0;
    }
  }
  if (on_line != 0) {
    print("\n");
  }
}

// A rule across the table: `width` times `mark`, and a newline.
template <typename Print>
void print_rule(const Print &print, char mark, size_t width) {
  char rule[200] = {};
  memset(rule, mark, width);
  print("%s\n", rule);
}

}  // namespace oftab

#endif
