// SPDX-License-Identifier: Apache-2.0
// The show of the software table, with its output ports.
#include "oftab/oftab.h"
#include "oftab/oftab_debug/line_output.h"
#include "oftab/oftab_debug/table_header.h"
#include "oftab/port_bitmap.h"
#include "oftab/table.h"

using namespace oftab;

namespace {

constexpr unsigned PORTS_PER_LINE = 6;

// The columns of a row, but for the last.
#define ROW_COLUMNS "\n%6d   %6d  %6d   %1d  %6d        "

void print_ports(line_output &out, const port_group &ports) {
  unsigned printed = 0;
  for (unsigned port = next_port(ports, 0); port < PORT_WALK_END && !out.stopped(); port = next_port(ports, port + 1)) {
    PRINT(out, "Eth1/%d ", port);
    if (++printed % PORTS_PER_LINE == 0) {
      PRINT(out, "\n%38s", " ");
    }
  }
}

void print_sw_entry(line_output &out, const oftab_sw_entry_t &entry) {
  PRINT(out, ROW_COLUMNS, entry.tcam_index, entry.seq_no, entry.priority, is_used(entry), entry.stats_id);
  if (entry.result_kind == OFTAB_RESULT_OUTPORT) {
    print_ports(out, entry.out_ports);
  } else {
    PRINT(out, "----");
  }
}

}  // namespace

int oftab_show_openflow_sw_table(void *shell_context) {
  line_output out(shell_context);
  if (!is_initialized(out, oftab_hw_rsrc_g.current_table != nullptr)) {
    return 0;
  }
  const oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  PRINT(out, "Dumping Openflow TCAM Table \n");
  print_table_header(out, *global.current_table);
  print_interfaces(out, global.intf_count, global.intf_tbl);
  PRINT(out, "TcamIndex    Seq    Prio  Used  Stat-index    OutPorts\n");
  PRINT(out, "=========================================================================================\n");
  for (const oftab_sw_entry_t &entry : current_view()) {
    if (out.stopped()) {
      break;
    }
    print_sw_entry(out, entry);
  }
  const oftab_sw_entry_t &catch_all = global.catch_all_entry;
  PRINT(out, ROW_COLUMNS " ----\n", catch_all.tcam_index, catch_all.seq_no, catch_all.priority, is_used(catch_all),
        catch_all.stats_id);
  return out.result();
}
