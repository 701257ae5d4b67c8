// Packets through the simulated ASIC against a full table.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/table.h"
#include "host/asic/packet.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

constexpr uint32_t kStride = 7;  // from packet to packet, so that hits spread over the table

// An IPv4 packet that flow `seq_no` matches, if that is one of the IPv4 flows.
host::asic::PacketHeader packet_for(uint32_t seq_no) {
  host::asic::PacketHeader packet;
  memcpy(packet.mac_da.data(), &seq_no, sizeof seq_no);
  packet.ethertype = 0x0800;
  packet.vlan = static_cast<uint16_t>(1 + seq_no % 4094);
  packet.ip_da = 0x0a000000 + seq_no;
  packet.length = 64;
  return packet;
}

// Reports packets a second, and the share of them that a flow matched.
void inject_all(benchmark::State &state, const std::vector<host::asic::PacketHeader> &packets) {
  fill_table(OFTAB_FLOW_CAPACITY);
  size_t next = 0;
  size_t hits = 0;
  for ([[maybe_unused]] auto iteration : state) {
    const host::asic::Fate fate = the_switch().inject(host::services::Interfaces::port_ifindex(0), packets[next]);
    hits += fate.tcam_index != OFTAB_CATCH_ALL_INDEX ? 1 : 0;
    next = (next + kStride) % packets.size();
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["hits"] = static_cast<double>(hits) / static_cast<double>(state.iterations());
}

// The flows in turn; those of ARP do not match.
void packets_hit(benchmark::State &state) {
  std::vector<host::asic::PacketHeader> packets;
  for (const uint32_t seq_no : consecutive(kFirstSeqNo, OFTAB_FLOW_CAPACITY)) {
    packets.push_back(packet_for(seq_no));
  }
  inject_all(state, packets);
}
BENCHMARK(packets_hit);

// Every packet is compared with all flows.
void packets_miss(benchmark::State &state) {
  inject_all(state, {packet_for(kFirstSeqNo + OFTAB_FLOW_CAPACITY)});
}
BENCHMARK(packets_miss);

}  // namespace
}  // namespace bench
