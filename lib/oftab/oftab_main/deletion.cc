// SPDX-License-Identifier: Apache-2.0
// Deletion and purge: entries go, with everything they hold. The others stay where they are, so that a deletion leaves
// holes in the range.
#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/flow_index.h"
#include "oftab/oftab_main/output_fanout.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

void release_and_erase(const char *function, oftab_sw_entry_t &entry) {
  release_fanout(function, entry);
  release_counter(function, entry.stats_id);
  oftab_clear_and_program_entry(&entry);
}

void empty_interface_tables() {
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  global.intf_count = 0;
  global.shadow_intf_count = 0;
  memset(global.intf_tbl, 0xFF, sizeof global.intf_tbl);
  memset(global.shadow_intf_tbl, 0xFF, sizeof global.shadow_intf_tbl);
}

// Marks the entry with this sequence number, if there is one, and withdraws it from its port channels.
void mark_for_deletion(const flow_index &flows, uint32_t seq_no) {
  oftab_sw_entry_t *entry = flows.find(shadow_view(), seq_no);
  if (entry != nullptr) {
    TRACE_DETAIL_IN("oftab_process_entry_del_req", "Deleting Seq No.:%d", seq_no);
    set_flags(*entry, OFTAB_ENTRY_DELETE_PENDING);
    oftab_entry_clear_pc_data(entry);
  }
}

}  // namespace

int32_t oftab_process_entry_del_req(const oftab_entry_del_req_t *request, oftab_entry_update_resp_t *response) {
  TRACE_ENTER();
  if (request == nullptr) {
    TRACE_ERROR("%s() Exit. Null Parameter \n", __func__);
    return OFTAB_ERR_INVALID;
  }
  static flow_index flows;
  flows.build(shadow_view());
  const auto *entries = records_of<const oftab_del_entry_t>(request);
  auto *answers = records_of<oftab_resp_entry_t>(response);
  for (uint16_t i = 0; i < request->num_entries; ++i) {
    mark_for_deletion(flows, entries[i].seq_no);
    answers[i] = {entries[i].context, entries[i].seq_no, OFTAB_OK};
  }
  const int32_t status = oftab_delete_and_pgm_entries(request->num_entries, 1, response);
  TRACE_DETAIL("%s() Exit. status=%d \n", __func__, status);
  return status;
}

int32_t oftab_delete_and_pgm_entries(uint32_t count, uint32_t /*response_kind*/, void *response) {
  TRACE_ENTER();
  uint32_t erased = 0;
  for (oftab_sw_entry_t &entry : shadow_view()) {
    if (erased == count) {
      break;
    }
    if ((entry.flags & OFTAB_ENTRY_DELETE_PENDING) != 0) {
      release_and_erase(__func__, entry);
      ++oftab_hw_rsrc_g.shadow_table->free_entries;
      ++erased;
    }
  }
  static_assert(offsetof(oftab_entry_update_resp_t, status) == offsetof(oftab_intf_update_resp_t, status),
                "the status stands at the same place in either kind of response");
  static_cast<oftab_entry_update_resp_t *>(response)->status = OFTAB_OK;
  TRACE_DETAIL("%s() Exit. status:%d \n", __func__, OFTAB_OK);
  return OFTAB_OK;
}

int32_t oftab_purge_all_entries(void) {
  TRACE_ENTER();
  begin_request(__func__);
  uint32_t deleted = 0;
  for (oftab_sw_entry_t &entry : current_view()) {
    if (is_used(entry)) {
      release_and_erase(__func__, entry);
      ++deleted;
    }
  }
  release_array(*oftab_hw_rsrc_g.current_table);
  set_empty_header(*oftab_hw_rsrc_g.current_table);
  finish_request(__func__);
  empty_interface_tables();
  TRACE_DETAIL("%s() Exit. Entries deleted:%d\n", __func__, deleted);
  return OFTAB_OK;
}
