// SPDX-License-Identifier: Apache-2.0
// Port channels: the flows that output to each.
//
// The AVL tree holds one pc_entry per port channel that some flow outputs to, with a bit per flow handle.
#include "oftab/oftab_main/port_channels.h"

#include <cstdlib>

#include "oftab/trace.h"
#include "platform/avl_tree.h"

void *oftab_pc_tree = nullptr;

namespace oftab {
namespace {

// Memory of records that left the tree, each block pointing to the next.
struct spare_record {
  spare_record *next;
};

static_assert(sizeof(spare_record) <= sizeof(pc_entry));

spare_record *spares = nullptr;

void *take_memory() {
  spare_record *taken = spares;
  if (taken == nullptr) {
    return malloc(sizeof(pc_entry));
  }
  spares = taken->next;
  return taken;
}

void put_aside(void *memory) {
  auto *spare = static_cast<spare_record *>(memory);
  spare->next = spares;
  spares = spare;
}

bool has_flows(const pc_entry &record) {
  for (const uint32_t word : record.flow_mask) {
    if (word != 0) {
      return true;
    }
  }
  return false;
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

// There was no memory. A removal loses nothing by it.
int32_t not_recorded(uint32_t pc_ifindex, uint32_t flow_handle, int add) {
  if (add != 0) {
    TRACE_ERROR_IN(update_flowmask, "%s: no memory to track flow %u on port channel %x\n", update_flowmask, flow_handle,
                   pc_ifindex);
  }
  return OFTAB_ERR_INVALID;
}

// Sets or clears the flow's bit in a record, which is in the tree (`known`) or has just been made.
int32_t update_record(pc_entry *record, bool known, uint32_t flow_handle, int add) {
  uint32_t &word = record->flow_mask[flow_handle / 32];
  const uint32_t bit = 1U << flow_handle % 32;
  TRACE_DETAIL_IN(update_flowmask, "flow_mask = %x\n", word);
  word = add != 0 ? word | bit : word & ~bit;
  if (!has_flows(*record)) {
    drop_record(record, known);
    return OFTAB_OK;
  }
  TRACE_DETAIL_IN(update_flowmask, "index %d flow_mask = %x\n", flow_handle / 32, word);
  if (avl_insert(oftab_pc_tree, record) == nullptr && !known) {
    const uint32_t pc_ifindex = record->pc_ifindex;
    put_aside(record);
    return not_recorded(pc_ifindex, flow_handle, add);
  }
  return OFTAB_OK;
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

void free_spare_records() {
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
  if (flow_handle >= OFTAB_FLOW_HANDLES) {  // no flow mask has a bit for it
    if (add != 0) {
      TRACE_WARNING("%s: flow %u is not tracked on port channel %x\n", __func__, flow_handle, pc_ifindex);
    }
    return add != 0 ? OFTAB_ERR_INVALID : OFTAB_OK;
  }
  pc_entry *record = oftab_pc_entry_find(pc_ifindex);
  const bool known = record != nullptr;
  if (!known) {
    TRACE_DETAIL("pc_entry is NULL\n");
    record = make_record(pc_ifindex);
  }
  return record != nullptr ? update_record(record, known, flow_handle, add)
                           : not_recorded(pc_ifindex, flow_handle, add);
}

int32_t oftab_entry_clear_pc_data(oftab_sw_entry_t *entry) {
  for (int32_t i = 0; i < entry->num_pc; ++i) {
    oftab_pc_entry_update_flowmask(entry->pc_ifindex[i], entry->seq_no, 0);
    entry->pc_ifindex[i] = 0;
  }
  entry->num_pc = 0;
  return OFTAB_OK;
}
