// Port channels: the flows that output to each, and what happens to them when a member port joins or leaves.
//
// The AVL tree holds one pc_entry per port channel that some flow outputs to, with a bit per flow handle.
#include "oftab/oftab_main/port_channels.h"

#include <cstdlib>

#include "oftab/oftab_main/flow_index.h"
#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/port_bitmap.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/avl_tree.h"

void *oftab_pc_tree = nullptr;

namespace oftab {
namespace {

// Port channels that lost their last flow inside the scope.
uint32_t flowless[1024];
size_t flowless_count = 0;
bool in_scope = false;

flow_index current_flows;
bool current_flows_built = false;

bool has_flows(const pc_entry &record) {
  for (const uint32_t word : record.flow_mask) {
    if (word != 0) {
      return true;
    }
  }
  return false;
}

void drop_record(pc_entry *record) {
  avl_delete(oftab_pc_tree, record);
  free(record);
}

// A record of the tree lost its last flow.
void lost_last_flow(pc_entry *record) {
  if (in_scope && flowless_count < sizeof flowless / sizeof flowless[0]) {
    flowless[flowless_count++] = record->pc_ifindex;
  } else {
    drop_record(record);
  }
}

void drop_flowless_records() {
  while (flowless_count > 0) {
    pc_entry *record = oftab_pc_entry_find(flowless[--flowless_count]);
    if (record != nullptr && !has_flows(*record)) {
      drop_record(record);
    }
  }
}

pc_entry *create_record(uint32_t pc_ifindex) {
  auto *record = static_cast<pc_entry *>(calloc(1, sizeof(pc_entry)));
  if (record != nullptr) {
    record->pc_ifindex = pc_ifindex;
  }
  return record;
}

bool lists_pc(const oftab_sw_entry_t &entry, uint32_t pc_ifindex) {
  for (int32_t i = 0; i < entry.num_pc; ++i) {
    if (entry.pc_ifindex[i] == pc_ifindex) {
      return true;
    }
  }
  return false;
}

// Whether another live flow with the same handle outputs to the port channel. Counters tell flows apart.
bool has_twin_on(const oftab_sw_entry_t &entry, uint32_t pc_ifindex) {
  const table_view table = current_view();
  if (!current_flows_built) {
    current_flows.build(table);
    current_flows_built = true;
  }
  for (const oftab_sw_entry_t *other = current_flows.find(table, entry.seq_no); other != nullptr;
       other = current_flows.find_next(table, *other)) {
    if (other->stats_id != entry.stats_id && lists_pc(*other, pc_ifindex)) {
      return true;
    }
  }
  return false;
}

bool outputs_to(const pc_entry &record, const oftab_sw_entry_t &entry) {
  if (entry.seq_no >= OFTAB_FLOW_HANDLES) {
    return false;
  }
  const uint32_t word = entry.seq_no / 32;
  const uint32_t bit = 1U << entry.seq_no % 32;
  TRACE_DETAIL_IN("oftab_port_channel_intf_update", "index %d pc_entry_flow_handles = %x new_flow_handles = %x\n", word,
                  record.flow_mask[word], bit);
  return (record.flow_mask[word] & bit) != 0;
}

void update_member(oftab_sw_entry_t &entry, uint32_t member_ifindex, bool add) {
  static const char op[] = "oftab_port_channel_intf_update";
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

}  // namespace

void record_pc_data(const oftab_sw_entry_t &entry) {
  for (int32_t i = 0; i < entry.num_pc; ++i) {
    oftab_pc_entry_update_flowmask(entry.pc_ifindex[i], entry.seq_no, 1);
  }
}

port_channel_scope::port_channel_scope() {
  in_scope = true;
}

port_channel_scope::~port_channel_scope() {
  in_scope = false;
  drop_flowless_records();
}

void current_table_changed() {
  current_flows_built = false;
}

}  // namespace oftab

using namespace oftab;

int32_t oftab_init_pc_tree(void) {
  oftab_pc_tree = avl_create(oftab_pc_compare_func, 0);
  return oftab_pc_tree != nullptr ? OFTAB_OK : OFTAB_ERR_FAIL;
}

int32_t oftab_pc_compare_func(const void *pc_entry_a, const void *pc_entry_b) {
  if (pc_entry_a == nullptr) {
    return -1;
  }
  if (pc_entry_b == nullptr) {
    return 1;
  }
  return static_cast<int32_t>(static_cast<const pc_entry *>(pc_entry_a)->pc_ifindex -
                              static_cast<const pc_entry *>(pc_entry_b)->pc_ifindex);
}

pc_entry *oftab_pc_entry_find(uint32_t pc_ifindex) {
  if (oftab_pc_tree == nullptr) {
    return nullptr;
  }
  pc_entry probe;
  probe.pc_ifindex = pc_ifindex;
  return static_cast<pc_entry *>(avl_find(oftab_pc_tree, &probe));
}

int32_t oftab_pc_entry_update_flowmask(uint32_t pc_ifindex, uint32_t flow_handle, int add) {
  TRACE_DETAIL("%s: pc_ifindex = %x flow_handle = %x add = %d\n", __func__, pc_ifindex, flow_handle, add);
  if (flow_handle >= OFTAB_FLOW_HANDLES || oftab_pc_tree == nullptr) {
    TRACE_WARNING("%s: flow %u is not tracked on port channel %x\n", __func__, flow_handle, pc_ifindex);
    return OFTAB_ERR_INVALID;
  }
  pc_entry *record = oftab_pc_entry_find(pc_ifindex);
  const bool known = record != nullptr;
  if (!known) {
    TRACE_DETAIL("pc_entry is NULL\n");
    record = create_record(pc_ifindex);
    if (record == nullptr) {
      return OFTAB_ERR_INVALID;
    }
  }
  uint32_t &word = record->flow_mask[flow_handle / 32];
  const uint32_t bit = 1U << flow_handle % 32;
  TRACE_DETAIL("flow_mask = %x\n", word);
  word = add != 0 ? word | bit : word & ~bit;
  if (!has_flows(*record)) {
    known ? lost_last_flow(record) : free(record);
    return OFTAB_OK;
  }
  TRACE_DETAIL("index %d flow_mask = %x\n", flow_handle / 32, word);
  avl_insert(oftab_pc_tree, record);
  if (!known && oftab_pc_entry_find(pc_ifindex) != record) {
    free(record);
    return OFTAB_ERR_INVALID;
  }
  return OFTAB_OK;
}

int32_t oftab_entry_clear_pc_data(oftab_sw_entry_t *entry) {
  for (int32_t i = 0; i < entry->num_pc; ++i) {
    if (!has_twin_on(*entry, entry->pc_ifindex[i])) {
      oftab_pc_entry_update_flowmask(entry->pc_ifindex[i], entry->seq_no, 0);
    }
    entry->pc_ifindex[i] = 0;
  }
  entry->num_pc = 0;
  return OFTAB_OK;
}

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
  const table_view entries = current_view();
  TRACE_DETAIL("tcam_st_idx = %d tcam_end_idx = %d\n", table->tcam_st_idx, table->tcam_end_idx);
  for (oftab_sw_entry_t &entry : entries) {
    TRACE_DETAIL("undex %d used = %d\n", entries.index_of(entry), is_used(entry));
    if (!is_used(entry)) {
      continue;
    }
    TRACE_DETAIL("flow_handle = %x ltl_index = %x\n", entry.seq_no, entry.mcst_idx);
    if (outputs_to(*record, entry)) {
      update_member(entry, member_ifindex, add != 0);
    }
  }
}
