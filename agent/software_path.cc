// SPDX-License-Identifier: Apache-2.0
// What the CPU does with packets: those of flows that the hardware cannot serve, and those of controllers.
#include <utility>

#include "agent/hardware.h"
#include "agent/packet_path.h"
#include "agent/rewriting.h"
#include "agent/table_view.h"
#include "oftab/oftab.h"

namespace agent {

// A record that no flow has any more may stand for one that the CPU serves by now.
bool PacketPath::is_for_cpu(const host::asic::Fate &fate) const {
  const bool of_flow = fate.cpu_code && fate.tcam_index && fate.tcam_index != OFTAB_CATCH_ALL_INDEX;
  const oftab_sw_entry_t *record = of_flow ? live_record_at(*fate.tcam_index) : nullptr;
  if (record == nullptr) {
    return false;
  }
  const TableEntry *entry = flows_.find(record->seq_no);
  return entry == nullptr || is_on_cpu(entry->flow);
}

void PacketPath::admit(const Packet &packet, Frame frame) {
  if (guard_.admits_packet(now_)) {
    return serve(packet, frame);
  }
  ++missed_;
  if (Port *port = ports_.find(packet.ifindex)) {
    ++port->counts.cpu_dropped;
  }
}

void PacketPath::punt_aside(const Packet &packet, Frame frame, const host::asic::Fate &fate) {
  Wire *const wire = std::exchange(wire_, nullptr);
  if (is_for_cpu(fate)) {
    serve(packet, frame);
  } else {
    punt(packet.ifindex, frame, fate);
  }
  wire_ = wire;
}

// A packet that a record brought to the CPU may be any flow's, or nobody's.
void PacketPath::serve(const Packet &packet, Frame frame) {
  if (const TableEntry *entry = take(packet)) {
    const std::vector<Action> actions = entry->flow.actions;  // which who is told of the packet may change
    perform(actions, packet.ifindex, frame);
  } else {
    act(packet, frame,
        device_.asic().fate_of(OFTAB_CATCH_ALL_INDEX, host::services::Interfaces::sdk_port(packet.ifindex)));
  }
}

const TableEntry *PacketPath::take(const Packet &packet) {
  TableEntry *entry = flows_.winner(packet);
  if (entry == nullptr) {
    ++missed_;
  } else {
    entry->took(packet.header.length, now_);
  }
  return entry;
}

// In the order of the list: what is set holds for the outputs behind it.
void PacketPath::perform(std::span<const Action> actions, uint32_t in_port, Frame frame) {
  const auto checksum = device_.ports().checksum_is_due() ? TransportChecksum::Due : TransportChecksum::Complete;
  std::vector<uint8_t> changed;
  Reached reached;
  for (const Action &action : actions) {
    if (!changes_packets(action.kind)) {
      output(action, in_port, frame, reached);
      continue;
    }
    if (changed.empty()) {
      changed.assign(frame.begin(), frame.end());
    }
    rewrite(changed, action, checksum);
    frame = changed;
    reached.clear();
  }
}

}  // namespace agent
