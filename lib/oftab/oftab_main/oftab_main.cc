// SPDX-License-Identifier: Apache-2.0
// The entry point for start-up and for numbered debug commands.
#include <cstdlib>

#include "oftab/oftab.h"
#include "oftab/trace.h"

namespace {

struct debug_command {
  uint32_t number;
  void (*run)();
};

// Runs an entry request generator, then dumps the current table.
void generate_entries(int entry_op, uint32_t base, uint32_t count_out, uint32_t count_deny) {
  oftab_test_entry_update_req(entry_op, base, count_out, count_deny);
  oftab_dump_sw_tcam_tbl(oftab_hw_rsrc_g.current_table, 0);
}

constexpr debug_command DEBUG_COMMANDS[] = {
    {101, [] { generate_entries(OFTAB_ENTRY_ADD, 10, 20, 2); }},
    {102, [] { generate_entries(OFTAB_ENTRY_DELETE, 40, 0, 5); }},
    {103, [] { oftab_test_intf_update_req(OFTAB_INTF_ADD); }},
    {104, [] { oftab_defragment_entries(); }},
    {105, [] { oftab_validate_entries(); }},
    {107, [] { generate_entries(OFTAB_ENTRY_DELETE, 10, 0, 5); }},
    {108, [] { generate_entries(OFTAB_ENTRY_DELETE, 200, 0, 5); }},
    {109, [] { oftab_test_intf_update_req(OFTAB_INTF_DELETE); }},
};

}  // namespace

uint32_t oftab_main(uint32_t command) {
  TRACE_ENTER();
  if (oftab_init() != OFTAB_OK) {
    TRACE_ERROR("%s(%d) oftab init failed \n", __func__, __LINE__);
    abort();
  }
  for (const debug_command &each : DEBUG_COMMANDS) {
    if (each.number == command) {
      each.run();
    }
  }
  TRACE_EXIT();
  return 0;
}
