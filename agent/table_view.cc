// SPDX-License-Identifier: Apache-2.0
#include "agent/table_view.h"

#include <algorithm>

#include "agent/batch_placement.h"
#include "agent/fields.h"
#include "agent/interface_names.h"
#include "oftab/hw_entry.h"

namespace agent {
namespace {

namespace hw = oftab::hw;

Match match_of(const oftab_sw_entry_t &record, const host::asic::Vlans &vlans) {
  const uint64_t key_class = hw::get(record.hw.key, hw::ip_key::class_);
  Match match;
  for (const FieldRow &row : field_rows()) {
    if (const hw::field *where = row.key.in(key_class)) {
      match[row.field] = row.installed(record, *where, vlans);
    }
  }
  return match;
}

// Port channels by name; ports unless a listed port channel brought them.
std::vector<uint32_t> outputs_of(const oftab_sw_entry_t &record, const host::services::Interfaces &interfaces) {
  std::vector<uint32_t> outputs;
  const std::span<const uint32_t> port_channels(record.pc_ifindex, static_cast<size_t>(record.num_pc));
  for (const uint8_t sdk_port : host::asic::ports_of(record.out_ports)) {
    const uint32_t ifindex = sdk_port_ifindex(sdk_port);
    const auto pc = interfaces.pc_of(ifindex);
    if (!pc || std::ranges::find(port_channels, *pc) == port_channels.end()) {
      outputs.push_back(ifindex);
    }
  }
  outputs.insert(outputs.end(), port_channels.begin(), port_channels.end());
  return outputs;
}

Flow flow_of(const oftab_sw_entry_t &record, host::Switch &device, const HardwareActions &actions) {
  Flow flow;
  flow.seq_no = record.seq_no;
  flow.priority = given_priority(record.priority);
  flow.match = match_of(record, device.asic().vlans());
  flow.actions = raised(actions);
  return flow;
}

}  // namespace

std::span<const oftab_sw_entry_t> table_records() {
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  if (table == nullptr || table->tcam_entry == nullptr) {
    return {};
  }
  return {table->tcam_entry, table->entries_allocated};
}

bool follows(uint32_t seq_no, uint32_t pc_ifindex) {
  const pc_entry *entry = seq_no < OFTAB_FLOW_HANDLES ? oftab_pc_entry_find(pc_ifindex) : nullptr;
  return entry != nullptr && (entry->flow_mask[seq_no / 32] >> seq_no % 32 & 1) != 0;
}

// A copy beside the action carries another CPU code than the controller alone.
HardwareActions actions_of(const oftab_sw_entry_t &record, const host::services::Interfaces &interfaces) {
  const auto bit = [&](hw::field where) { return hw::get(record.hw.result, where); };
  const bool to_cpu = bit(hw::forward_result::cp_to_cpu) != 0;
  const bool has_fanout = record.result_kind == OFTAB_RESULT_OUTPORT ||
                          (record.result_kind == OFTAB_RESULT_CONTROLLER && hw::ltl_idx(record.hw.result) != 0);
  HardwareActions actions;
  actions.kind = HardwareActions::Kind::Normal;
  actions.copy_to_controller = to_cpu && (has_fanout || bit(hw::forward_result::cpu_code) == hw::CPU_CODE_COPY);
  if (has_fanout) {
    actions.kind = HardwareActions::Kind::Output;
    actions.outputs = outputs_of(record, interfaces);
  } else if (bit(hw::forward_result::drop) != 0) {
    actions.kind = HardwareActions::Kind::Drop;
  } else if (to_cpu && !actions.copy_to_controller) {
    actions.kind = HardwareActions::Kind::Controller;
  }
  return actions;
}

InstalledFlow installed_flow(host::Switch &device, const oftab_sw_entry_t &record) {
  const HardwareActions actions = actions_of(record, device.interfaces());
  return {record.tcam_index, flow_of(record, device, actions), actions, record.pkt_cnt, record.byte_cnt};
}

std::vector<InstalledFlow> installed_flows(host::Switch &device) {
  std::vector<InstalledFlow> flows;
  for (const oftab_sw_entry_t &record : table_records()) {
    if (is_live(record)) {
      flows.push_back(installed_flow(device, record));
    }
  }
  return flows;
}

std::vector<InstalledFlow> installed_flows(host::Switch &device, const FlowTable &table) {
  std::vector<InstalledFlow> flows = installed_flows(device);
  for (InstalledFlow &each : flows) {
    if (const TableEntry *entry = table.find(*each.flow.seq_no)) {
      const Counts counts = entry->counts_of({each.packets, each.bytes});
      each.flow = entry->flow;
      each.packets = counts.packets;
      each.bytes = counts.bytes;
    }
  }
  return flows;
}

const oftab_sw_entry_t *live_record_at(uint16_t tcam_index) {
  const auto records = table_records();
  if (records.empty() || tcam_index < oftab_hw_rsrc_g.current_table->tcam_st_idx) {
    return nullptr;
  }
  const size_t position = tcam_index - oftab_hw_rsrc_g.current_table->tcam_st_idx;
  return position < records.size() && is_live(records[position]) ? &records[position] : nullptr;
}

}  // namespace agent
