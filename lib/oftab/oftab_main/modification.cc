// SPDX-License-Identifier: Apache-2.0
// Modification: entries get new actions where they stand.
#include "oftab/hw_entry.h"
#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/flow_memory.h"
#include "oftab/oftab_main/multicast_pool.h"
#include "oftab/oftab_main/output_fanout.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

const char op[] = "oftab_modify_entries_top_down";

// The first used shadow record with this sequence number, or null.
oftab_sw_entry_t *find_slot(uint32_t seq_no) {
  const table_view range = shadow_view();
  const uint16_t allocated = oftab_hw_rsrc_g.shadow_table->entries_allocated;
  for (uint16_t k = 0; k < range.count && k < allocated; ++k) {
    oftab_sw_entry_t &slot = range.first[k];
    TRACE_DETAIL_IN(op, "%s() in for_loop. \n", op);
    if (!is_used(slot)) {
      continue;
    }
    TRACE_DETAIL_IN(op, "%s() ent_h = %d, of_h = %d \n", op, slot.seq_no, seq_no);
    if (slot.seq_no == seq_no) {
      return &slot;
    }
  }
  return nullptr;
}

// The new action failed: gives back what it had set up. The entry stays without fan-out; the TCAM is to keep what was
// due before, and the entry names the index again that stands there.
void abandon_modification(oftab_sw_entry_t &slot, const cache_unified_entry &due, uint32_t mcst_idx) {
  if (holds_fanout(slot)) {
    release_fanout(op, slot);
  }
  slot.mcst_idx = mcst_idx;
  hw::set_ltl_idx(slot.hw.result, hw::ltl_idx(due.result));
  keep_action(slot, due);
}

int32_t modify(oftab_sw_entry_t &slot, const oftab_flow_t &flow) {
  TRACE_DETAIL_IN(op, "%s() in handle_match. \n", op);
  const cache_unified_entry due = due_record(slot);
  const uint32_t mcst_idx = slot.mcst_idx;
  note_modification(slot, holds_fanout(slot));
  const int32_t status = oftab_modify_action(&slot, &flow);
  if (status == OFTAB_OK) {
    drop_kept_action(slot);
    set_flags(slot, OFTAB_ENTRY_MOVED);
  } else {
    abandon_modification(slot, due, mcst_idx);
  }
  return status;
}

}  // namespace

int32_t oftab_modify_entries_top_down(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response) {
  const uint16_t count = request->num_entries;
  TRACE_DETAIL("%s() Enter.  num_entries:%d \n", __func__, count);
  const auto *flow = records_of<const oftab_flow_t>(request);
  auto *answers = records_of<oftab_resp_entry_t>(response);
  uint16_t matched = 0;
  for (uint16_t i = 0; i < count; ++i, flow = next_flow(flow)) {
    oftab_sw_entry_t *slot = find_slot(flow->seq_no);
    const int32_t status = slot != nullptr ? modify(*slot, *flow) : OFTAB_ERR_FAIL;
    matched = static_cast<uint16_t>(matched + (slot != nullptr));
    answers[i] = {flow->context, flow->seq_no, status};
  }
  if (matched < count) {
    TRACE_ERROR("%s: Entry modify failed. Update for Extra/unknown entries requested %d/%d", __func__, matched, count);
    response->status = OFTAB_ERR_INVALID;
  }
  TRACE_DETAIL("%s() Exit. status:%d \n", __func__, response->status);
  return response->status;
}
