// SPDX-License-Identifier: Apache-2.0
#include "agent/flow_sync.h"

#include <algorithm>
#include <utility>

#include "agent/failures.h"
#include "agent/fields.h"
#include "agent/flow_check.h"
#include "agent/hardware.h"
#include "agent/table_view.h"
#include "agent/text.h"

namespace agent {
namespace {

// The front-panel ports that outputs lead to.
std::set<uint32_t> ports_of(const std::vector<uint32_t> &outputs, const host::services::Interfaces &interfaces) {
  std::set<uint32_t> ports;
  for (const uint32_t output : outputs) {
    if (host::services::Interfaces::pc_number(output) && interfaces.exists(output)) {
      const auto members = interfaces.members(output);
      ports.insert(members.begin(), members.end());
    } else {
      ports.insert(output);
    }
  }
  return ports;
}

// Whether a record does what a flow says; which application of the controller it is for does not stand in it.
bool same_actions(const InstalledFlow &installed, const Flow &flow, const host::services::Interfaces &interfaces) {
  const HardwareActions due = placement_of(flow).actions;
  return installed.hardware.kind == due.kind && installed.hardware.copy_to_controller == due.copy_to_controller &&
         ports_of(installed.hardware.outputs, interfaces) == ports_of(due.outputs, interfaces);
}

bool same_identity(const InstalledFlow &installed, const TableEntry *entry) {
  return entry != nullptr && priority_of(entry->flow) == priority_of(installed.flow) &&
         placement_of(entry->flow).match == installed.flow.match;
}

// Whether a record compares the bridge domain that the flow's VLAN had once, and not the one that it has now.
bool has_old_domain(const oftab_sw_entry_t &record, const Flow &flow, const host::asic::Vlans &vlans) {
  constexpr auto domain = oftab::hw::ip_key::bd;  // at the same place in every key format
  const auto vlan = vlan_for_host(flow.match[Field::DlVlan].value);
  return oftab::hw::get(record.hw.mask, domain) != 0 &&
         vlans.bridge_domain(vlan) != static_cast<uint16_t>(oftab::hw::get(record.hw.key, domain));
}

bool is_overtaken(const oftab_sw_entry_t &record, const Flow &flow, host::Switch &device) {
  Absence absent = absence_in(device, flow.match);
  absent.index = flow.absent.index;
  return flow.absent != absent || has_old_domain(record, flow, device.asic().vlans());
}

std::string named(const Flow &flow) {
  return concat("flow ", *flow.seq_no, " (priority ", priority_of(flow), ", ", to_text(flow.match), ")");
}

}  // namespace

std::vector<std::string> differences(host::Switch &device, const FlowTable &table) {
  std::vector<std::string> lines;
  std::set<uint32_t> seen;
  for (const InstalledFlow &installed : installed_flows(device)) {
    const uint32_t seq_no = *installed.flow.seq_no;
    const TableEntry *entry = table.find(seq_no);
    const bool again = !seen.insert(seq_no).second;
    if (again || !same_identity(installed, entry)) {
      lines.push_back(concat("the agent does not know ", named(installed.flow), " at index ", installed.index));
    } else if (!same_actions(installed, entry->flow, device.interfaces())) {
      lines.push_back(concat(named(installed.flow), " has other actions at index ", installed.index, ": ",
                             to_text(installed.hardware), " instead of ", to_text(placement_of(entry->flow).actions)));
    }
  }
  for (const auto &[seq_no, entry] : table.entries()) {
    if (!seen.contains(seq_no)) {
      lines.push_back(concat("the library does not have ", named(entry.flow)));
    }
  }
  return lines;
}

std::vector<uint32_t> overtaken_records(host::Switch &device, const FlowTable &table) {
  std::vector<uint32_t> overtaken;
  for (const oftab_sw_entry_t &record : table_records()) {
    const TableEntry *entry = is_live(record) ? table.find(record.seq_no) : nullptr;
    if (entry != nullptr && is_overtaken(record, entry->flow, device)) {
      overtaken.push_back(record.seq_no);
    }
  }
  return overtaken;
}

std::vector<uint32_t> flows_with_room(const FlowTable &table) {
  std::vector<uint32_t> waiting;
  for (const auto &[seq_no, entry] : table.entries()) {
    if (entry.flow.absent.index) {
      waiting.push_back(seq_no);
    }
  }
  if (!waiting.empty()) {
    waiting.resize(std::min(waiting.size(), free_multicast_indices()));
  }
  return waiting;
}

std::vector<TableEntry> reread(host::Switch &device, FlowTable &table, Time now, const std::set<uint32_t> &no_flows) {
  FlowTable before = std::exchange(table, FlowTable());
  std::ranges::for_each(no_flows, [&](uint32_t seq_no) { table.take(seq_no); });
  for (const InstalledFlow &installed : installed_flows(device)) {
    const uint32_t seq_no = *installed.flow.seq_no;
    const bool again = table.find(seq_no) != nullptr;  // the library's requests reach the first of a number alone
    if (again || no_flows.contains(seq_no)) {
      continue;
    }
    TableEntry entry{.flow = installed.flow, .added = now, .used = now};
    if (same_identity(installed, before.find(seq_no))) {
      entry = before.erase(seq_no);
    }
    if (!same_actions(installed, entry.flow, device.interfaces())) {
      entry.flow.actions = installed.flow.actions;
    }
    table.insert(std::move(entry));
  }
  std::vector<TableEntry> gone;
  before.for_each([&](TableEntry &entry) { gone.push_back(std::move(entry)); });
  return gone;
}

}  // namespace agent
