// SPDX-License-Identifier: Apache-2.0
// Packets through the simulated ASIC against a full table.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/table.h"
#include "host/asic/packet.h"
#include "oftab/hw_entry.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

using Packets = std::vector<host::asic::PacketHeader>;

constexpr uint32_t kStride = 7;  // from packet to packet, so that hits spread over the table

host::asic::Tcam &tcam() {
  return the_switch().asic().tcam();
}

// An IPv4 packet that flow `seq_no` matches, if that is one of the IPv4 flows.
host::asic::PacketHeader packet_for(uint32_t seq_no) {
  host::asic::PacketHeader packet;
  std::memcpy(packet.mac_da.data(), &seq_no, sizeof seq_no);
  packet.ethertype = 0x0800;
  packet.vlan = static_cast<uint16_t>(1 + seq_no % 4094);
  packet.ip_da = 0x0a000000 + seq_no;
  packet.length = 64;
  return packet;
}

// A packet for each flow in turn; those of ARP do not match.
Packets packets_for_all() {
  Packets packets;
  for (const uint32_t seq_no : consecutive(kFirstSeqNo, OFTAB_FLOW_CAPACITY)) {
    packets.push_back(packet_for(seq_no));
  }
  return packets;
}

// Reports packets a second, and the share of them that a flow matched. `between` runs before each packet.
template <typename Between>
void inject_all(benchmark::State &state, const Packets &packets, Between between) {
  size_t next = 0;
  size_t hits = 0;
  for ([[maybe_unused]] auto iteration : state) {
    between();
    const host::asic::Fate fate = the_switch().inject(host::services::Interfaces::port_ifindex(0), packets[next]);
    hits += fate.tcam_index != OFTAB_CATCH_ALL_INDEX ? 1 : 0;
    next = (next + kStride) % packets.size();
  }
  state.SetItemsProcessed(state.iterations());
  state.counters["hits"] = static_cast<double>(hits) / static_cast<double>(state.iterations());
}

void packets_hit(benchmark::State &state) {
  fill_table(OFTAB_FLOW_CAPACITY);
  inject_all(state, packets_for_all(), [] {});
}
BENCHMARK(packets_hit);

// Every packet is compared with all flows.
void packets_miss(benchmark::State &state) {
  fill_table(OFTAB_FLOW_CAPACITY);
  inject_all(state, {packet_for(kFirstSeqNo + OFTAB_FLOW_CAPACITY)}, [] {});
}
BENCHMARK(packets_miss);

// Flow-mods and traffic side by side: between two packets one record becomes that of another flow.
void packets_and_changes(benchmark::State &state) {
  fill_table(OFTAB_FLOW_CAPACITY);
  uint16_t index = 0;
  inject_all(state, packets_for_all(), [&index] {
    const auto other = static_cast<uint16_t>((index + kStride) % OFTAB_FLOW_CAPACITY);
    tcam().put(index, tcam().at(other));
    index = other;
  });
}
BENCHMARK(packets_and_changes);

// No two flows compare the same bits.
void packets_many_masks(benchmark::State &state) {
  fill_table(OFTAB_FLOW_CAPACITY);
  for (uint16_t index = 0; index < OFTAB_FLOW_CAPACITY; ++index) {
    host::asic::Record record = tcam().at(index);
    oftab::hw::set(record.mask.data(), oftab::hw::ip_key::mac_sa, index);
    tcam().put(index, record);
  }
  inject_all(state, packets_for_all(), [] {});
}
BENCHMARK(packets_many_masks);

}  // namespace
}  // namespace bench
