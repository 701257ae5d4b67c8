// SPDX-License-Identifier: Apache-2.0
// Compaction: packs the current table's entries together, in order.
//
//   before   10: A  11: -  12: B  13: -  14: C
//   after    10: A  11: B  12: C                  and 13 and 14 are erased
//
// An entry is written at its new index before its old one is erased or overwritten, so that every flow matches all the
// time.
#include <cstdlib>

#include "oftab/oftab.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

const char op[] = "oftab_defragment_entries";

uint16_t count_live(const table_view &table) {
  uint16_t live = 0;
  for (const oftab_sw_entry_t &entry : table) {
    live = static_cast<uint16_t>(live + is_used(entry));
  }
  return live;
}

struct packing {
  uint16_t start;   // of the new range
  uint16_t next;    // index after its last entry
  uint16_t unused;  // slots passed over
  bool failed;
};

// Writes every used entry of `table` at its packed index and copies it to `packed`. Stops at a refused write.
packing pack(const table_view &table, oftab_sw_entry_t *packed, int32_t holes) {
  packing at = {table.start, table.start, 0, false};
  for (const oftab_sw_entry_t &entry : table) {
    const uint16_t index = table.index_of(entry);
    if (!is_used(entry)) {
      TRACE_DETAIL_IN(op, "Unused entry:%d (%d/%d) found\n", index, at.unused, holes);
      ++at.unused;
      if (index == at.start) {
        at.start = at.next = static_cast<uint16_t>(index + 1);
      }
      continue;
    }
    packed->tcam_index = at.next;
    if (oftab_cp_and_pgm_entry(packed, &entry) != 0) {
      TRACE_ERROR_IN(op, "Entry movement from %d to %d failed \n", index, at.next);
      at.failed = true;
      break;
    }
    ++packed;
    ++at.next;
  }
  return at;
}

void fill_shadow_header(const oftab_tcam_tbl_t &current, const packing &at, int32_t holes) {
  oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
  if (at.next == at.start) {
    set_empty_header(shadow);
    return;
  }
  shadow.tcam_st_idx = at.start;
  shadow.tcam_end_idx = static_cast<uint16_t>(at.next - 1);
  shadow.free_entries = current.free_entries;
  shadow.entries_allocated = static_cast<uint16_t>(current.entries_allocated - holes);
}

// Makes the packed array, with the shadow's header, the current table.
void install_packed(oftab_tcam_tbl_t &current) {
  oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
  TRACE_DETAIL_IN(op, "Fragmented TCAM Table \n");
  oftab_dump_sw_tcam_tbl(&current, 0);
  TRACE_DETAIL_IN(op, "Unfragmented TCAM Table \n");
  oftab_dump_sw_tcam_tbl(&shadow, 0);
  release_array(current);
  current.tcam_entry = shadow.tcam_entry;
  shadow.tcam_entry = nullptr;
  copy_header(current, shadow);
  finish_request(op);
}

int32_t defragment(oftab_tcam_tbl_t &current, int32_t holes) {
  oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
  const table_view table = current_view();
  const uint16_t live = count_live(table);
  if (live > 0) {
    shadow.tcam_entry = static_cast<oftab_sw_entry_t *>(calloc(live, sizeof(oftab_sw_entry_t)));
    if (shadow.tcam_entry == nullptr) {
      TRACE_ERROR_IN(op, "%s() Exit. Malloc failure \n", op);
      return OFTAB_ERR_INVALID;
    }
  }
  const packing at = pack(table, shadow.tcam_entry, holes);
  if (at.failed) {
    release_array(shadow);
    abandon_request(op);
    return OFTAB_ERR_FAIL;
  }
  if (at.unused != holes) {
    TRACE_WARNING_IN(op, "Something is wrong. More entries to free:%d (%d-%d) \n", holes - at.unused, holes, at.unused);
  }
  fill_shadow_header(current, at, holes);
  install_packed(current);
  return OFTAB_OK;
}

}  // namespace

int32_t oftab_cp_and_pgm_entry(oftab_sw_entry_t *dst, const oftab_sw_entry_t *src) {
  TRACE_ENTER();
  const uint16_t tcam_index = dst->tcam_index;
  const unsigned kept_flags = dst->flags & 0xF0U;
  *dst = *src;
  dst->tcam_index = tcam_index;
  dst->flags = static_cast<uint8_t>(kept_flags | (src->flags & OFTAB_ENTRY_USED));
  const int32_t rc = tcam_write(*dst);
  if (rc != 0) {
    TRACE_ERROR("\nFailed programming the entry  %d. rc=%d", tcam_index, rc);
  } else {
    TRACE_DETAIL("\nSUCCESS Programming the entry at index %d \n", tcam_index);
  }
  TRACE_DETAIL("%s() Exit. st:%d\n", __func__, rc);
  return rc;
}

int32_t oftab_defragment_entries(void) {
  TRACE_ENTER();
  begin_request(op);
  oftab_tcam_tbl_t &current = *oftab_hw_rsrc_g.current_table;
  const int32_t holes = current.entries_allocated + current.free_entries - OFTAB_FLOW_CAPACITY;
  int32_t status = OFTAB_OK;
  if (holes == 0) {
    TRACE_DETAIL("TCAM Table Not Fragmented \n");
  } else {
    status = defragment(current, holes);
  }
  TRACE_DETAIL("%s() Exit. status:%d\n", __func__, status);
  return status;
}
