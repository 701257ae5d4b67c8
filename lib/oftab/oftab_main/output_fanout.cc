// SPDX-License-Identifier: Apache-2.0
// Output fan-out: an outport entry's ports, and the replication tree behind its multicast index.
#include "oftab/oftab_main/output_fanout.h"

#include "oftab/hw_entry.h"
#include "oftab/message.h"
#include "oftab/oftab_main/flow_memory.h"
#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/oftab_main/multicast_pool.h"
#include "oftab/port_bitmap.h"
#include "oftab/trace.h"

namespace oftab {
namespace {

const char redirect[] = "oftab_process_l2_redirect_action";

void record_port_channel(oftab_sw_entry_t &entry, uint32_t pc_ifindex, uint32_t seq_no) {
  if (entry.num_pc >= OFTAB_PC_PER_ENTRY) {
    TRACE_WARNING_IN(redirect, "%s: flow %u outputs to more than %d port channels, %x is not tracked\n", redirect,
                     seq_no, OFTAB_PC_PER_ENTRY, pc_ifindex);
    return;
  }
  entry.pc_ifindex[entry.num_pc++] = pc_ifindex;
  oftab_pc_entry_update_flowmask(pc_ifindex, seq_no, 1);
}

// Sets the port of one output, or of each member of a port channel, and leaves the last one in *last_port.
void set_output_ports(oftab_sw_entry_t &entry, uint32_t ifindex, uint32_t seq_no, uint8_t *last_port) {
  void *port_channel = find_port_channel(ifindex);
  if (port_channel == nullptr) {
    if (find_sdk_port(redirect, ifindex, last_port)) {
      set_port(entry.out_ports, *last_port);
    }
    return;
  }
  for_each_member_port(redirect, port_channel, [&](uint32_t member, uint8_t sdk_port) {
    set_port(entry.out_ports, sdk_port);
    TRACE_DETAIL_IN(redirect, "PC %x mem if index = %x asic port:%d \n", ifindex, member, sdk_port);
    *last_port = sdk_port;
  });
  record_port_channel(entry, ifindex, seq_no);
}

// Creates the tree of an index. The SDK gets a copy: it may write its argument.
bool create_tree(uint32_t index) {
  uint32_t argument = index;
  pool_index &at = pool_at(index);
  at.refused = libsdk_mcst_tree_create(0, 0, &argument) != 0;
  at.has_tree = at.has_tree || !at.refused;
  return !at.refused;
}

void trace_creation_failed(uint32_t index, const action_caller &caller) {
  if (caller.modifying) {
    TRACE_ERROR_IN(caller.function, "%s:create failed for ltl_index : %d", caller.function, index);
  } else {
    TRACE_ERROR_IN(caller.function, "%s:tree_create_batch failed for ltl_index : %d", caller.function, index);
  }
}

// From here on the entry holds the index.
void name_index(oftab_sw_entry_t &entry, uint32_t index, const action_caller &caller) {
  entry.mcst_idx = index;
  hw::set_ltl_idx(entry.hw.result, index);
  pool_at(index).holder = as_holder(entry);
  if (caller.modifying) {
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

}  // namespace

int32_t set_up_fanout(oftab_sw_entry_t &entry, const oftab_flow_t &flow, const action_caller &caller) {
  entry.result_kind = OFTAB_RESULT_OUTPORT;
  oftab_process_l2_redirect_action(&entry, &flow);
  uint32_t index = 0;
  if (!allocate_index(&index, caller.modifying ? entry.tcam_index : NOT_IN_TABLE)) {
    TRACE_ERROR_IN(caller.function, "Failed to allocate mcst idx!");
    return OFTAB_ERR_FANOUT;
  }
  if (!create_tree(index)) {
    trace_creation_failed(index, caller);
    oftab_mcst_idx_dealloc(index);
    return OFTAB_ERR_FANOUT;
  }
  name_index(entry, index, caller);
  return program_ports(entry, caller.function);
}

void release_fanout(const char *function, const oftab_sw_entry_t &entry) {
  const bool held = holds_fanout(entry);
  const bool in_other_hands = in_pool(entry.mcst_idx) && pool_at(entry.mcst_idx).holder != pool_index::NOBODY && !held;
  if (!in_other_hands) {
    release_index(function, entry.mcst_idx, held);
  }
}

// Tried once: nobody will ask for the tree again.
void release_index(const char *function, uint32_t index, bool held) {
  const int32_t rc = libsdk_mcst_tree_destroy(0, 0, index);
  if (in_pool(index)) {
    pool_index &at = pool_at(index);
    at = {pool_index::NOBODY, current_request(), at.has_tree && rc != 0, false, at.refused || (rc != 0 && held)};
  }
  if (rc != 0 && held) {
    TRACE_WARNING_IN(function, "%s: tree of mcast_id = %d could not be destroyed, sdkrc %d\n", function, index, rc);
  }
  oftab_mcst_idx_dealloc(index);
}

void restore_tree(const char *function, const oftab_sw_entry_t &entry) {
  pool_index &at = pool_at(entry.mcst_idx);
  if (!at.has_tree) {
    create_tree(entry.mcst_idx);
  }
  at.ports_due = !at.has_tree || program_ports(entry, function) != OFTAB_OK;
  if (at.ports_due) {
    TRACE_ERROR_IN(function, "%s: tree of mcast_id = %d could not be put back \n", function, entry.mcst_idx);
  }
}

}  // namespace oftab

using namespace oftab;

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
