// Output fan-out: the pool of multicast indices, and the replication trees behind them.
#include "oftab/oftab_main/output_fanout.h"

#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/message.h"
#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/oftab_main/tcam_ledger.h"
#include "oftab/port_bitmap.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/bitset.h"

namespace {

constexpr uint32_t POOL_LOWER = 8192;

}  // namespace

void *g_oftab_mcast_idx_bmp = nullptr;
uint32_t g_oftab_mcst_idx_lower = POOL_LOWER;
uint32_t g_oftab_mcst_idx_upper = POOL_LOWER + OFTAB_MCST_IDX_COUNT;
uint32_t g_oftab_mcst_idx_last_allocated = POOL_LOWER;

namespace oftab {
namespace {

// Who holds each index of the pool: the entry with counter holder - 1; 0 for nobody, or for somebody who took the index
// without a fan-out.
uint32_t holder[OFTAB_MCST_IDX_COUNT];

// Indices whose tree the SDK refused to create or to destroy: passed over as long as there are others.
bool refused[OFTAB_MCST_IDX_COUNT];

// Indices that are held, but whose tree could not be put back.
bool incomplete[OFTAB_MCST_IDX_COUNT];
bool any_incomplete = false;

bool in_pool(uint32_t index) {
  return index >= POOL_LOWER && index < POOL_LOWER + OFTAB_MCST_IDX_COUNT;
}

uint32_t &holder_of(uint32_t index) {
  return holder[index - POOL_LOWER];
}

uint32_t as_holder(const oftab_sw_entry_t &entry) {
  return entry.stats_id + 1U;
}

bool names_index(const table_view &table, uint32_t holding, uint32_t index) {
  for (const oftab_sw_entry_t &entry : table) {
    if ((entry.flags & (OFTAB_ENTRY_USED | OFTAB_ENTRY_NEW)) != 0 && entry.mcst_idx == index &&
        as_holder(entry) == holding) {
      return true;
    }
  }
  return false;
}

// Whether the holder of an index is a record of one of the tables, or left its index behind in the TCAM.
bool belongs_to_live_entry(uint32_t index) {
  const uint32_t holding = holder_of(index);
  return holding != 0 && (names_index(current_view(), holding, index) || names_index(shadow_view(), holding, index) ||
                          is_stranded_fanout(index));
}

// The first free index from `bit` on that no record names but the one to be modified, at `own_tcam_index`: a record may
// go on naming an index that was released, and must never reach another flow's ports.
int32_t usable_bit(int32_t bit, uint16_t own_tcam_index) {
  while (bit >= 0 && (refused[bit] || named_by_another(POOL_LOWER + static_cast<uint32_t>(bit), own_tcam_index))) {
    const uint32_t next = static_cast<uint32_t>(bit) + 1;
    bit = next < OFTAB_MCST_IDX_COUNT ? bitset_next_free_bit(g_oftab_mcast_idx_bmp, next) : -1;
  }
  return bit;
}

// From the index allocated last to the end of the pool, then from its beginning.
int32_t search_pool(uint16_t own_tcam_index) {
  const uint32_t from = g_oftab_mcst_idx_last_allocated - POOL_LOWER;
  const int32_t bit = usable_bit(bitset_next_free_bit(g_oftab_mcast_idx_bmp, from), own_tcam_index);
  return bit >= 0 ? bit : usable_bit(bitset_first_free_bit(g_oftab_mcast_idx_bmp), own_tcam_index);
}

int32_t find_usable_bit(uint16_t own_tcam_index) {
  const int32_t bit = search_pool(own_tcam_index);
  if (bit >= 0) {
    return bit;
  }
  memset(refused, 0, sizeof refused);
  return search_pool(own_tcam_index);
}

void create_pool() {
  g_oftab_mcast_idx_bmp = bitset_create(OFTAB_MCST_IDX_COUNT);
  if (g_oftab_mcast_idx_bmp != nullptr) {
    bitset_clear(g_oftab_mcast_idx_bmp);
    memset(holder, 0, sizeof holder);
    memset(refused, 0, sizeof refused);
    memset(incomplete, 0, sizeof incomplete);
    g_oftab_mcst_idx_last_allocated = POOL_LOWER;
  }
}

// Takes an index for the entry that stands at `own_tcam_index`, if it stands in the TCAM. False when there is none
// left.
bool allocate_index(uint32_t *index, uint16_t own_tcam_index) {
  if (g_oftab_mcast_idx_bmp == nullptr) {
    create_pool();
  }
  const int32_t bit = g_oftab_mcast_idx_bmp == nullptr ? -1 : find_usable_bit(own_tcam_index);
  if (bit < 0) {
    TRACE_ERROR_IN("oftab_mcst_idx_alloc", "%s: mcst idx exhausted for openflow \n", "oftab_mcst_idx_alloc");
    return false;
  }
  bitset_set_bit(g_oftab_mcast_idx_bmp, static_cast<uint32_t>(bit));
  g_oftab_mcst_idx_last_allocated = POOL_LOWER + static_cast<uint32_t>(bit);
  *index = g_oftab_mcst_idx_last_allocated;
  TRACE_DETAIL_IN("oftab_mcst_idx_alloc", "g_oftab_mcst_idx_last_allocated %d", *index);
  return true;
}

void record_port_channel(oftab_sw_entry_t &entry, uint32_t pc_ifindex, uint32_t seq_no) {
  if (entry.num_pc >= OFTAB_PC_PER_ENTRY) {
    TRACE_WARNING("%s: flow %u outputs to more than %d port channels, %x is not tracked\n", __func__, seq_no,
                  OFTAB_PC_PER_ENTRY, pc_ifindex);
    return;
  }
  entry.pc_ifindex[entry.num_pc++] = pc_ifindex;
  oftab_pc_entry_update_flowmask(pc_ifindex, seq_no, 1);
}

// Sets the port of one output, or of each member of a port channel, and leaves the last one in *last_port.
void set_output_ports(oftab_sw_entry_t &entry, uint32_t ifindex, uint32_t seq_no, uint8_t *last_port) {
  static const char op[] = "oftab_process_l2_redirect_action";
  void *port_channel = find_port_channel(ifindex);
  if (port_channel == nullptr) {
    if (find_sdk_port(op, ifindex, last_port)) {
      set_port(entry.out_ports, *last_port);
    }
    return;
  }
  for_each_member_port(op, port_channel, [&](uint32_t member, uint8_t sdk_port) {
    set_port(entry.out_ports, sdk_port);
    TRACE_DETAIL_IN(op, "PC %x mem if index = %x asic port:%d \n", ifindex, member, sdk_port);
    *last_port = sdk_port;
  });
  record_port_channel(entry, ifindex, seq_no);
}

bool create_tree(uint32_t index, const action_caller &caller) {
  refused[index - POOL_LOWER] = libsdk_mcst_tree_create(0, 0, &index) != 0;
  if (!refused[index - POOL_LOWER]) {
    return true;
  }
  if (caller.modifying) {
    TRACE_ERROR_IN(caller.function, "%s:create failed for ltl_index : %d", caller.function, index);
  } else {
    TRACE_ERROR_IN(caller.function, "%s:tree_create_batch failed for ltl_index : %d", caller.function, index);
  }
  return false;
}

// From here on the entry holds the index.
void name_index(oftab_sw_entry_t &entry, uint32_t index, const action_caller &caller) {
  entry.mcst_idx = index;
  hw::set_ltl_idx(entry.hw.result, index);
  holder_of(index) = as_holder(entry);
  incomplete[index - POOL_LOWER] = false;
  if (caller.modifying) {
    prepare_index(entry.tcam_index, index);
    TRACE_DETAIL_IN(caller.function, "%s:create success for ltl_index : %d", caller.function, index);
  } else {
    TRACE_DETAIL_IN(caller.function, "%s:tree_create_batch success for ltl_index : %d", caller.function, index);
  }
}

int32_t program_ports(const oftab_sw_entry_t &entry, const char *function) {
  const int32_t rc = libsdk_mcst_tree_group_add(0, 0, entry.mcst_idx, &entry.out_ports);
  if (rc != 0) {
    TRACE_ERROR_IN(function, "%s: Error programming LTL for mcast_id = %d Error= %d \n", function, entry.mcst_idx, rc);
    return OFTAB_ERR_FANOUT;
  }
  return OFTAB_OK;
}

// Creates the entry's tree, unless it has one, and gives it the entry's ports.
bool rebuild_tree(const oftab_sw_entry_t &entry, bool has_tree) {
  uint32_t index = entry.mcst_idx;
  if (!has_tree) {
    libsdk_mcst_tree_create(0, 0, &index);  // refused when an earlier try created it
  }
  return program_ports(entry, __func__) == OFTAB_OK;
}

}  // namespace

int32_t set_up_fanout(oftab_sw_entry_t &entry, const oftab_flow_t &flow, const action_caller &caller) {
  entry.result_kind = OFTAB_RESULT_OUTPORT;
  oftab_process_l2_redirect_action(&entry, &flow);
  uint32_t index = 0;
  if (!allocate_index(&index, caller.modifying ? entry.tcam_index : NOT_IN_TCAM)) {
    TRACE_ERROR_IN(caller.function, "Failed to allocate mcst idx!");
    return OFTAB_ERR_FANOUT;
  }
  if (!create_tree(index, caller)) {
    oftab_mcst_idx_dealloc(index);
    return OFTAB_ERR_FANOUT;
  }
  name_index(entry, index, caller);
  return program_ports(entry, caller.function);
}

bool holds_fanout(const oftab_sw_entry_t &entry) {
  return in_pool(entry.mcst_idx) && holder_of(entry.mcst_idx) == as_holder(entry);
}

void release_fanout(const oftab_sw_entry_t &entry) {
  const uint32_t index = entry.mcst_idx;
  const bool held = holds_fanout(entry);
  if (in_pool(index)) {
    if (holder_of(index) != 0 && !held) {
      return;
    }
    holder_of(index) = 0;
  }
  if (libsdk_mcst_tree_destroy(0, 0, index) != 0 && held) {
    // A second try: nobody will ask for it again.
    refused[index - POOL_LOWER] = libsdk_mcst_tree_destroy(0, 0, index) != 0;
  }
  oftab_mcst_idx_dealloc(index);
}

void put_back_fanout(const oftab_sw_entry_t &entry) {
  const bool has_tree = holds_fanout(entry);  // the new action has the same index: only the ports change
  bitset_set_bit(g_oftab_mcast_idx_bmp, entry.mcst_idx - POOL_LOWER);
  holder_of(entry.mcst_idx) = as_holder(entry);
  // A refusal gets a second try: it would take down a flow that the table still holds.
  if (!rebuild_tree(entry, has_tree) && !rebuild_tree(entry, has_tree)) {
    incomplete[entry.mcst_idx - POOL_LOWER] = true;
    any_incomplete = true;
    TRACE_ERROR("%s: tree of mcast_id = %d could not be put back \n", __func__, entry.mcst_idx);
  }
}

void complete_fanouts() {
  if (!any_incomplete) {
    return;
  }
  any_incomplete = false;
  for (const oftab_sw_entry_t &entry : current_view()) {
    if (is_used(entry) && holds_fanout(entry) && incomplete[entry.mcst_idx - POOL_LOWER]) {
      bool &still = incomplete[entry.mcst_idx - POOL_LOWER];
      still = !rebuild_tree(entry, false);
      any_incomplete = any_incomplete || still;
    }
  }
}

}  // namespace oftab

using namespace oftab;

int32_t oftab_mcst_idx_alloc(uint32_t *index) {
  return allocate_index(index, NOT_IN_TCAM) ? 1 : 0;
}

int32_t oftab_mcst_idx_dealloc(uint32_t index) {
  if (g_oftab_mcast_idx_bmp == nullptr) {
    TRACE_ERROR("g_oftab_mcast_idx_bmp is not created yet");
    return 0;
  }
  TRACE_DETAIL("mcst idx dealloc for %d", index);
  if (!in_pool(index) || belongs_to_live_entry(index)) {
    return 0;
  }
  holder_of(index) = 0;
  bitset_clear_bit(g_oftab_mcast_idx_bmp, index - POOL_LOWER);
  return 1;
}

int32_t oftab_process_l2_redirect_action(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  clear_ports(entry->out_ports);
  uint8_t sdk_port = 0;
  for (uint32_t i = 0; i < flow->num_oif; ++i) {
    const uint32_t ifindex = output_ifindex(flow, i);
    set_output_ports(*entry, ifindex, flow->seq_no, &sdk_port);
    TRACE_DETAIL(" %d/%d ,ifindex:0x%x asic port:%d \n", i, flow->num_oif, ifindex, sdk_port);
  }
  TRACE_DETAIL("egress port port_bitmap = \n");
  for (unsigned port = next_port(entry->out_ports, 0); port < PORT_WALK_END;
       port = next_port(entry->out_ports, port + 1)) {
    TRACE_DETAIL("%d \n", port);
  }
  return 0;
}
