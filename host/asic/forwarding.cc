// What the ASIC does with a packet: classify, count, act.
#include "host/asic/asic.h"
#include "oftab/hw_entry.h"

namespace host::asic {
namespace {

namespace hw = oftab::hw;
using fields = hw::forward_result;

// `entry_type` of the result layout that has a multicast index.
constexpr uint64_t kForwardLayout = 1;

uint32_t multicast_index(const uint8_t *result) {
  return hw::get(result, fields::entry_type) == kForwardLayout ? hw::ltl_idx(result) : 0;
}

void replicate(Fate &fate, const Trees &trees, uint32_t mcst_idx) {
  fate.verdict = Verdict::Replicate;
  fate.mcst_idx = mcst_idx;
  fate.tree_missing = !trees.exists(mcst_idx);
  fate.sdk_ports = trees.ports(mcst_idx);
}

// The result of a match, acted on.
Fate act(const uint8_t *result, const Trees &trees) {
  Fate fate;
  fate.verdict = Verdict::Forward;
  const uint32_t mcst_idx = multicast_index(result);
  if (hw::get(result, fields::drop) != 0) {
    fate.verdict = Verdict::Drop;
  } else if (mcst_idx != 0) {
    replicate(fate, trees, mcst_idx);
  }
  if (hw::get(result, fields::cp_to_cpu) != 0) {
    fate.cpu_code = static_cast<uint8_t>(hw::get(result, fields::cpu_code));
  }
  return fate;
}

}  // namespace

Fate Asic::forward(uint16_t l2lif, const PacketHeader &packet) {
  const std::optional<uint16_t> index = tcam_.lookup(packet_key(packet, l2lif, vlans_.domain_of(packet.vlan)));
  if (!index) {
    ++lookups_.packets;
    ++lookups_.unmatched;
    return {};
  }
  const uint8_t *result = tcam_.at(*index).result.data();
  counters_.count(hw::get32(result, fields::adj_stats_ptr), packet.length);
  Fate fate = act(result, trees_);
  fate.tcam_index = index;
  ++lookups_.packets;
  return fate;
}

}  // namespace host::asic
