// SPDX-License-Identifier: Apache-2.0
// Events of layer-2 ports and changes of hardware interface ids.
#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

constexpr hw::field L2LIF = hw::ip_key::l2lif;  // at the same place in every key format

void update_l2lif(oftab_sw_entry_t &entry, uint32_t intf_id) {
  static const char op[] = "oftab_update_l2lif_for_ifindex";
  const uint32_t current_id = hw::get32(entry.hw.key, L2LIF);
  TRACE_DETAIL_IN(op, "Current entry l2lif is %d and incomming int_id is %d", current_id, intf_id);
  if (current_id == intf_id) {
    return;
  }
  TRACE_DETAIL_IN(op, "intf_id doesnot match, trigger reprogrammingof entry at index 0x%d", entry.ifindex);
  hw::set(entry.hw.key, L2LIF, intf_id);
  hw::set(entry.hw.mask, L2LIF, hw::ones(L2LIF));
  TRACE_DETAIL_IN(op, "Program entry with new intf_idx %d", intf_id);
  oftab_program_entry(&entry);
}

}  // namespace

int32_t oftab_l2_port_openflow_mode_changed(uint32_t ifindex) {
  TRACE_DETAIL("%s() Enter. ifindex=0x%x \n", __func__, ifindex);
  TRACE_DETAIL("%s() exit. \n", __func__);
  return 0;
}

void oftab_set_hw_lif_for_l2_port(uint32_t ifindex, uint32_t hw_lif) {
  TRACE_DETAIL("%s() called. ifindex=0x%x hw_lif=0x%x \n", __func__, ifindex, hw_lif);
  const uint8_t location = location_of(ifindex);
  if (location >= OFTAB_PORT_SLOTS) {
    TRACE_WARNING("%s: ifindex 0x%x has no port slot \n", __func__, ifindex);
  } else {
    uint16_t &kept = oftab_hw_rsrc_g.port_hw_lif[location];
    TRACE_DETAIL("hwlif(o):0x%x hwlif(n):0x%x \n", kept, hw_lif);
    kept = static_cast<uint16_t>(hw_lif);
  }
  TRACE_DETAIL("%s() exit. \n", __func__);
}

void oftab_update_l2lif_for_ifindex(uint32_t ifindex, uint32_t intf_id) {
  TRACE_DETAIL("Incomming ifindex is 0x%x and intf_id is 0x%x", ifindex, intf_id);
  for (oftab_sw_entry_t &entry : current_view()) {
    TRACE_DETAIL("Entry if index = 0x%x and tcam idx %d", entry.ifindex, entry.tcam_index);
    if (entry.ifindex == ifindex) {
      update_l2lif(entry, intf_id);
    }
  }
}

void oftab_program_entry(oftab_sw_entry_t *entry) {
  TRACE_ENTER();
  rewrite_entry(__func__, *entry);
  TRACE_EXIT();
}
