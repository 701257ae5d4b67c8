// SPDX-License-Identifier: Apache-2.0
// Packets through the simulated ASIC against a full table.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/measure.h"
#include "bench/table.h"
#include "host/asic/packet.h"
#include "oftab/hw_entry.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

using Packets = std::vector<host::asic::PacketHeader>;

constexpr size_t kStride = 11;  // from packet to packet, so that hits spread over the whole table

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

// A packet for each flow of a table that IPv4 packets match.
Packets packets_of(uint32_t table) {
  Packets packets;
  for (const uint32_t seq_no : consecutive(kFirstSeqNo, table)) {
    if (!is_for_arp(seq_no)) {
      packets.push_back(packet_for(seq_no));
    }
  }
  return packets;
}

bool hits_flow(const host::asic::PacketHeader &packet) {
  return the_switch().inject(host::services::Interfaces::port_ifindex(0), packet).tcam_index != OFTAB_CATCH_ALL_INDEX;
}

// Reports packets a second; how many of them hit a flow. `between` runs before each packet.
template <typename Between>
benchmark::IterationCount inject_all(benchmark::State &state, const Packets &packets, Between between) {
  size_t next = 0;
  benchmark::IterationCount hits = 0;
  hits_flow(packets[next]);  // which makes the search
  for ([[maybe_unused]] auto iteration : state) {
    between();
    hits += hits_flow(packets[next]) ? 1 : 0;
    next = (next + kStride) % packets.size();
  }
  state.SetItemsProcessed(state.iterations());
  return hits;
}

void inject_hits(benchmark::State &state) {
  if (inject_all(state, packets_of(arg(state, 1)), [] {}) != state.iterations()) {
    state.SkipWithError("a packet missed its flow");
  }
}

void packets_hit(benchmark::State &state) {
  fill_table(arg(state, 1));
  inject_hits(state);
}
BENCHMARK(packets_hit)->Apply(one_of<OFTAB_FLOW_CAPACITY>);

// Every packet is compared with all flows.
void packets_miss(benchmark::State &state) {
  fill_table(arg(state, 1));
  if (inject_all(state, {packet_for(kFirstSeqNo + arg(state, 1))}, [] {}) != 0) {
    state.SkipWithError("a packet hit a flow");
  }
}
BENCHMARK(packets_miss)->Apply(one_of<OFTAB_FLOW_CAPACITY>);

// Flow-mods and traffic side by side: between two packets one record becomes that of another flow.
void packets_and_changes(benchmark::State &state) {
  fill_table(arg(state, 1));
  uint16_t index = 0;
  inject_all(state, packets_of(arg(state, 1)), [&] {
    const auto other = static_cast<uint16_t>((index + kStride) % arg(state, 1));
    tcam().put(index, tcam().at(other));
    index = other;
  });
}
BENCHMARK(packets_and_changes)->Apply(one_of<OFTAB_FLOW_CAPACITY>);

// No two flows compare the same bits.
void packets_many_masks(benchmark::State &state) {
  const uint32_t flows = arg(state, 1);
  fill_table(flows);
  for (uint16_t index = 0; index < static_cast<uint16_t>(flows); ++index) {
    host::asic::Record record = tcam().at(index);
    oftab::hw::set(record.mask.data(), oftab::hw::ip_key::mac_sa, index);
    tcam().put(index, record);
  }
  inject_hits(state);
}
BENCHMARK(packets_many_masks)->Apply(one_of<OFTAB_FLOW_CAPACITY>);

}  // namespace
}  // namespace bench
