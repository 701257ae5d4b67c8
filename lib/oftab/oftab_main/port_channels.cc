// Port channels: the flows that output to each, and what happens to them when a member port joins or leaves.
//
// The AVL tree holds one pc_entry per port channel that some flow outputs to, with a bit per flow handle.
#include "oftab/oftab_main/port_channels.h"

#include <cstdlib>

#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/oftab_main/multicast_pool.h"
#include "oftab/port_bitmap.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/avl_tree.h"

void *oftab_pc_tree = nullptr;

namespace oftab {
namespace {

// Memory kept aside, each block pointing to the next.
struct spare_record {
  spare_record *next;
};

static_assert(sizeof(spare_record) <= sizeof(pc_entry));

spare_record *spares = nullptr;
bool keeps_spares = false;

bool has_flows(const pc_entry &record) {
  for (const uint32_t word : record.flow_mask) {
    if (word != 0) {
      return true;
    }
  }
  return false;
}

void *take_memory() {
  if (spares == nullptr) {
    return malloc(sizeof(pc_entry));
  }
  spare_record *taken = spares;
  spares = taken->next;
  return taken;
}

void put_aside(void *memory) {
  if (!keeps_spares) {
    free(memory);
    return;
  }
  auto *spare = static_cast<spare_record *>(memory);
  spare->next = spares;
  spares = spare;
}

pc_entry *make_record(uint32_t pc_ifindex) {
  auto *record = static_cast<pc_entry *>(take_memory());
  if (record != nullptr) {
    memset(record, 0, sizeof *record);
    record->pc_ifindex = pc_ifindex;
  }
  return record;
}

// A record without flows goes. One that should be in the tree and is not is not the library's to free.
void drop_record(pc_entry *record, bool in_tree) {
  if (!in_tree || avl_delete(oftab_pc_tree, record) != nullptr) {
    put_aside(record);
  }
}

const char update_flowmask[] = "oftab_pc_entry_update_flowmask";

// A flow mask has no bit for the handle: it can be neither recorded nor removed.
int32_t refuse_handle(uint32_t pc_ifindex, uint32_t flow_handle, bool add) {
  if (!add) {
    return OFTAB_OK;
  }
  TRACE_WARNING_IN(update_flowmask, "%s: flow %u is not tracked on port channel %x\n", update_flowmask, flow_handle,
                   pc_ifindex);
  return OFTAB_ERR_INVALID;
}

// There was no memory. A removal loses nothing by it.
int32_t not_recorded(uint32_t pc_ifindex, uint32_t flow_handle, bool add) {
  if (add) {
    TRACE_ERROR_IN(update_flowmask, "%s: no memory to track flow %u on port channel %x\n", update_flowmask, flow_handle,
                   pc_ifindex);
  }
  return OFTAB_ERR_INVALID;
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

}  // namespace

bool lists_port_channel(const oftab_sw_entry_t &entry, uint32_t pc_ifindex) {
  for (int32_t i = 0; i < entry.num_pc; ++i) {
    if (entry.pc_ifindex[i] == pc_ifindex) {
      return true;
    }
  }
  return false;
}

void record_pc_data(const oftab_sw_entry_t &entry) {
  for (int32_t i = 0; i < entry.num_pc; ++i) {
    oftab_pc_entry_update_flowmask(entry.pc_ifindex[i], entry.seq_no, 1);
  }
}

pc_memory_scope::pc_memory_scope() {
  keeps_spares = true;
}

pc_memory_scope::~pc_memory_scope() {
  keeps_spares = false;
  while (spares != nullptr) {
    free(take_memory());
  }
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
  if (oftab_pc_tree == nullptr) {
    return OFTAB_OK;
  }
  if (flow_handle >= OFTAB_FLOW_HANDLES) {
    return refuse_handle(pc_ifindex, flow_handle, add != 0);
  }
  pc_entry *record = oftab_pc_entry_find(pc_ifindex);
  const bool known = record != nullptr;
  if (!known) {
    TRACE_DETAIL("pc_entry is NULL\n");
    record = make_record(pc_ifindex);
    if (record == nullptr) {
      return not_recorded(pc_ifindex, flow_handle, add != 0);
    }
  }
  uint32_t &word = record->flow_mask[flow_handle / 32];
  const uint32_t bit = 1U << flow_handle % 32;
  TRACE_DETAIL("flow_mask = %x\n", word);
  word = add != 0 ? word | bit : word & ~bit;
  if (!has_flows(*record)) {
    drop_record(record, known);
    return OFTAB_OK;
  }
  TRACE_DETAIL("index %d flow_mask = %x\n", flow_handle / 32, word);
  if (avl_insert(oftab_pc_tree, record) == nullptr && !known) {
    put_aside(record);
    return not_recorded(pc_ifindex, flow_handle, true);
  }
  return OFTAB_OK;
}

int32_t oftab_entry_clear_pc_data(oftab_sw_entry_t *entry) {
  for (int32_t i = 0; i < entry->num_pc; ++i) {
    oftab_pc_entry_update_flowmask(entry->pc_ifindex[i], entry->seq_no, 0);
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
