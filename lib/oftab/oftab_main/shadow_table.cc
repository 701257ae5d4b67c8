// SPDX-License-Identifier: Apache-2.0
// The steps of a transaction: copy the current table into the shadow, program what changed, commit; and erasing one
// TCAM entry.
#include <cstdlib>
#include <cstring>

#include "oftab/oftab.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

oftab_sw_entry_t *allocate_records(size_t count) {
  return static_cast<oftab_sw_entry_t *>(calloc(count, sizeof(oftab_sw_entry_t)));
}

// Writes one record marked new or moved. Returns the SDK's result.
int32_t program_marked(oftab_sw_entry_t &entry, const char *function) {
  const int32_t rc = tcam_write(entry);
  if (rc != 0) {
    TRACE_ERROR_IN(function, "\nFailed installing entry  %d. rc=%d", entry.tcam_index, rc);
  } else {
    TRACE_DETAIL_IN(function, "\nSUCCESS installing the %s entry at index %d \n",
                    (entry.flags & OFTAB_ENTRY_MOVED) != 0 ? "MOVED" : "NEW", entry.tcam_index);
  }
  clear_flags(entry, OFTAB_ENTRY_NEW | OFTAB_ENTRY_MOVED);
  set_flags(entry, OFTAB_ENTRY_USED);
  return rc;
}

}  // namespace

int32_t oftab_cp_current_to_shadow(int32_t entry_update, uint16_t num_entries) {
  TRACE_DETAIL("%s() Enter. entry_update:%d num_entries:%d \n", __func__, entry_update, num_entries);
  const oftab_tcam_tbl_t &current = *oftab_hw_rsrc_g.current_table;
  oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
  if (entry_update != 0 && current.free_entries < num_entries) {
    TRACE_ERROR("%s() Exit. Capacity exceeded\n", __func__);
    return OFTAB_ERR_CAPACITY;
  }
  release_array(shadow);
  shadow.tcam_entry = allocate_records(OFTAB_FLOW_CAPACITY);
  if (shadow.tcam_entry == nullptr) {
    TRACE_ERROR("%s() Exit. Malloc failure \n", __func__);
    return OFTAB_ERR_INVALID;
  }
  if (entry_update != 0) {
    set_empty_header(shadow);
  } else {
    copy_header(shadow, current);
    const table_view records = current_view();
    if (records.count > 0) {
      memcpy(shadow.tcam_entry + records.start, records.first, records.count * sizeof *records.first);
    }
  }
  TRACE_EXIT();
  return OFTAB_OK;
}

int32_t oftab_program_shadow_entries(oftab_entry_update_resp_t *response) {
  TRACE_ENTER();
  int32_t status = OFTAB_OK;
  for (oftab_sw_entry_t &entry : shadow_view()) {
    if ((entry.flags & (OFTAB_ENTRY_NEW | OFTAB_ENTRY_MOVED)) != 0 && program_marked(entry, __func__) != 0) {
      status = OFTAB_ERR_PROGRAM;
      response->status = status;
    }
  }
  TRACE_DETAIL("%s() Exit. st=%d \n", __func__, status);
  return status;
}

int32_t oftab_cp_shadow_to_current(int32_t entry_update) {
  TRACE_DETAIL("%s() Enter. entry_update:%d \n", __func__, entry_update);
  oftab_tcam_tbl_t &current = *oftab_hw_rsrc_g.current_table;
  oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
  const table_view records = shadow_view();
  release_array(current);
  if (records.count > 0) {
    current.tcam_entry = static_cast<oftab_sw_entry_t *>(malloc(records.count * sizeof *records.first));
    if (current.tcam_entry == nullptr) {
      TRACE_ERROR("%s() Exit. Malloc failure \n", __func__);
      return OFTAB_ERR_INVALID;
    }
    memcpy(current.tcam_entry, records.first, records.count * sizeof *records.first);
  }
  copy_header(current, shadow);
  if (records.count == 0) {
    set_empty_header(current);
  }
  release_array(shadow);
  TRACE_DETAIL("%s() Exit. status:%d\n", __func__, OFTAB_OK);
  return OFTAB_OK;
}

void oftab_clear_and_program_entry(oftab_sw_entry_t *entry) {
  TRACE_ENTER();
  const uint16_t tcam_index = entry->tcam_index;
  memset(entry, 0, sizeof *entry);
  entry->tcam_index = tcam_index;
  program_record(__func__, *entry);
  TRACE_EXIT();
}
