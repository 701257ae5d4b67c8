// SPDX-License-Identifier: Apache-2.0
// Membership: a port joined or left a port channel, and the trees of the flows that output to it follow.
#include <cstring>

#include "oftab/oftab.h"
#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/oftab_main/multicast_pool.h"
#include "oftab/port_bitmap.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

const char op[] = "oftab_port_channel_intf_update";

bool outputs_to(const pc_entry &record, const oftab_sw_entry_t &entry) {
  if (entry.seq_no >= OFTAB_FLOW_HANDLES) {
    return false;
  }
  const uint32_t word = entry.seq_no / 32;
  const uint32_t bit = 1U << entry.seq_no % 32;
  TRACE_DETAIL_IN(op, "index %d pc_entry_flow_handles = %x new_flow_handles = %x\n", word, record.flow_mask[word], bit);
  return (record.flow_mask[word] & bit) != 0;
}

void update_member(oftab_sw_entry_t &entry, uint32_t member_ifindex, bool add) {
  if (!holds_fanout(entry)) {
    return;
  }
  uint8_t sdk_port = 0;
  if (!find_sdk_port(op, member_ifindex, &sdk_port)) {
    return;
  }
  if (add) {
    set_port(entry.out_ports, sdk_port);
  } else {
    clear_port(entry.out_ports, sdk_port);
  }
  TRACE_DETAIL_IN(op, "calling sdk api port %d\n", sdk_port);
  const int32_t rc = libsdk_mcst_tree_group_add(0, 0, entry.mcst_idx, &entry.out_ports);
  if (rc != 0) {
    TRACE_ERROR_IN(op, "%s: Error programming LTL for mcast_id = %d Error= %d \n", op, entry.mcst_idx, rc);
  }
}

// Each flow that outputs to the port channel.
void update_flows(const pc_entry &record, uint32_t member_ifindex, bool add) {
  const table_view entries = current_view();
  for (oftab_sw_entry_t &entry : entries) {
    TRACE_DETAIL_IN(op, "undex %d used = %d\n", entries.index_of(entry), is_used(entry));
    if (!is_used(entry)) {
      continue;
    }
    TRACE_DETAIL_IN(op, "flow_handle = %x ltl_index = %x\n", entry.seq_no, entry.mcst_idx);
    if (outputs_to(record, entry)) {
      update_member(entry, member_ifindex, add);
    }
  }
}

}  // namespace

uint32_t hdmpd_is_ifdb_openflow_enabled(uint32_t ifindex) {
  uint8_t record[OPENFLOW_STATE_RECORD_SIZE] = {};
  memcpy(record, &ifindex, sizeof ifindex);
  const int32_t rc = im_get_ifindex_openflow_state_list(record, 1);
  const uint8_t state = record[OPENFLOW_STATE_OFFSET];
  if (rc == 0 && (state == 1 || state == 2)) {
    TRACE_DETAIL("Openflow flag IS SET for ifindex=%x\n", ifindex);
    return 1;
  }
  TRACE_DETAIL("Openflow flag IS NOT SET for ifindex=%x\n", ifindex);
  return 0;
}

void oftab_port_channel_intf_update(uint32_t member_ifindex, uint32_t pc_ifindex, uint32_t add) {
  TRACE_DETAIL("intf %x PC %x add %d\n", member_ifindex, pc_ifindex, add);
  if (hdmpd_is_ifdb_openflow_enabled(pc_ifindex) == 0) {
    TRACE_DETAIL("OF not enabled on %x\n", pc_ifindex);
    return;
  }
  const pc_entry *record = oftab_pc_entry_find(pc_ifindex);
  if (record == nullptr) {
    TRACE_DETAIL("Error: No pc_entry\n");
    return;
  }
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  if (table == nullptr) {
    return;
  }
  TRACE_DETAIL("tcam_entry = %p entries_allocated = %d\n", static_cast<void *>(table->tcam_entry),
               table->entries_allocated);
  if (table->tcam_entry == nullptr || table->entries_allocated == 0) {
    return;
  }
  TRACE_DETAIL("tcam_st_idx = %d tcam_end_idx = %d\n", table->tcam_st_idx, table->tcam_end_idx);
  update_flows(*record, member_ifindex, add != 0);
}
