// SPDX-License-Identifier: Apache-2.0
// What the ASIC does with a packet: classify, count, act.
#include "host/asic/asic.h"
#include "oftab/hw_entry.h"

namespace host::asic {
namespace {

namespace hw = oftab::hw;
using fields = hw::forward_result;

constexpr uint16_t kLastIndex = TCAM_INDICES - 1;

// `entry_type` of the result layout that has a multicast index.
constexpr uint64_t kForwardLayout = 1;

uint32_t multicast_index(const uint8_t *result) {
  return hw::get(result, fields::entry_type) == kForwardLayout ? hw::ltl_idx(result) : 0;
}

void replicate(Fate &fate, const Trees &trees, uint32_t mcst_idx, uint8_t ingress) {
  fate.verdict = Verdict::Replicate;
  fate.mcst_idx = mcst_idx;
  fate.tree_missing = !trees.exists(mcst_idx);
  fate.sdk_ports = trees.ports(mcst_idx);
  fate.pruned = std::erase(fate.sdk_ports, ingress) != 0;
}

// The result of a match, acted on.
Fate act(const uint8_t *result, const Trees &trees, uint8_t ingress) {
  Fate fate;
  fate.verdict = Verdict::Forward;
  const uint32_t mcst_idx = multicast_index(result);
  if (hw::get(result, fields::drop) != 0) {
    fate.verdict = Verdict::Drop;
  } else if (mcst_idx != 0) {
    replicate(fate, trees, mcst_idx, ingress);
  }
  if (hw::get(result, fields::cp_to_cpu) != 0) {
    fate.cpu_code = static_cast<uint8_t>(hw::get(result, fields::cpu_code));
  }
  return fate;
}

}  // namespace

bool Fate::is_trapped() const {
  return verdict == Verdict::Forward && cpu_code == hw::CPU_CODE_PUNT;
}

Key Asic::key_of(uint16_t l2lif, const PacketHeader &packet) const {
  return packet_key(packet, l2lif, vlans_.domain_of(packet.vlan));
}

Fate Asic::fate_of(uint16_t index, uint8_t sdk_port) const {
  Fate fate = act(tcam_.at(index).result.data(), trees_, sdk_port);
  fate.tcam_index = index;
  return fate;
}

Fate Asic::forward(uint16_t l2lif, uint8_t sdk_port, const PacketHeader &packet) {
  const std::optional<uint16_t> index = tcam_.lookup(key_of(l2lif, packet));
  ++lookups_.packets;
  lookups_.missed += index.value_or(kLastIndex) == kLastIndex ? 1 : 0;
  if (!index) {
    return {};
  }
  counters_.count(hw::get32(tcam_.at(*index).result.data(), fields::adj_stats_ptr), packet.length);
  Fate fate = fate_of(*index, sdk_port);
  lookups_.to_cpu += fate.cpu_code ? 1 : 0;
  return fate;
}

}  // namespace host::asic
