// SPDX-License-Identifier: Apache-2.0
// Packets that the CPU takes: finding the flow among 4095, changing the packet, and the whole way from port to port
// beside that of a flow of the hardware.
#include <benchmark/benchmark.h>

#include "agent/agent.h"
#include "agent/rewriting.h"
#include "bench/measure.h"
#include "bench/table.h"

namespace bench {
namespace {

using agent::Action;
using agent::Field;
using agent::TableEntry;
using host::services::Interfaces;

constexpr size_t kStride = 11;  // from packet to packet, so that all have their turn

uint32_t port(uint32_t slot) {
  return Interfaces::port_ifindex(slot);
}

// A TCP segment of 64 octets for each number.
std::vector<uint8_t> frame_of(uint32_t number) {
  std::vector<uint8_t> frame(64);
  frame[5] = 1;
  frame[6] = 2;
  frame[12] = 0x08;
  frame[14] = 0x45;
  frame[17] = 50;  // the length of the packet
  frame[23] = agent::kTcp;
  frame[32] = static_cast<uint8_t>(number >> 8);
  frame[33] = static_cast<uint8_t>(number);
  return frame;
}

agent::Packet packet_of(uint32_t number) {
  const auto frame = frame_of(number);
  return {port(0), host::asic::parse_frame(frame, frame.size())};
}

// As a learning controller enters it: all that the packet has.
agent::Flow exact_flow(uint32_t number) {
  agent::Flow flow;
  const agent::Packet packet = packet_of(number);
  for (const agent::FieldRow &row : agent::field_rows()) {
    flow.match[row.field] = {row.of_packet(packet) & row.exact, row.exact};
  }
  flow.match = agent::normalised(flow.match);
  return flow;
}

// No two flows compare the same bits.
agent::Flow masked_flow(uint32_t number) {
  agent::Flow flow = exact_flow(number);
  flow.match[Field::DlDst].mask = flow.match[Field::DlSrc].mask = 0;
  flow.match[Field::DlDst].value = flow.match[Field::DlSrc].value = 0;
  flow.match[Field::DlDst].mask = uint64_t{number} << 8;
  flow.priority = number;
  return flow;
}

void find_flow(benchmark::State &state, agent::Flow (*flow_of)(uint32_t number), uint32_t first_packet) {
  std::vector<std::unique_ptr<TableEntry>> entries;
  agent::Classifier classifier;
  std::vector<agent::Packet> packets;
  for (uint32_t number = 1; number <= arg(state, 1); ++number) {
    entries.push_back(std::make_unique<TableEntry>(TableEntry{.flow = flow_of(number)}));
    classifier.insert(*entries.back());
    packets.push_back(packet_of(first_packet + number));
  }
  size_t next = 0;
  benchmark::DoNotOptimize(classifier.find(packets[next]));  // which makes the search
  for ([[maybe_unused]] auto iteration : state) {
    benchmark::DoNotOptimize(classifier.find(packets[next]));
    next = (next + kStride) % packets.size();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(find_flow, exact, exact_flow, 0)->Apply(one_of<OFTAB_FLOW_CAPACITY>);
BENCHMARK_CAPTURE(find_flow, exact_missed, exact_flow, 10000)->Apply(one_of<OFTAB_FLOW_CAPACITY>);
BENCHMARK_CAPTURE(find_flow, many_masks, masked_flow, 0)->Apply(one_of<OFTAB_FLOW_CAPACITY>);

void change_packet(benchmark::State &state, Action::Kind kind) {
  std::vector<uint8_t> frame = frame_of(1);
  uint64_t value = 0;
  for ([[maybe_unused]] auto iteration : state) {
    agent::rewrite(frame, {.kind = kind, .value = ++value & 7});
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(change_packet, vlan_id, Action::Kind::SetVlanVid);
BENCHMARK_CAPTURE(change_packet, mac_address, Action::Kind::SetDlDst);
BENCHMARK_CAPTURE(change_packet, ip_address, Action::Kind::SetNwDst);
BENCHMARK_CAPTURE(change_packet, type_of_service, Action::Kind::SetNwTos);
BENCHMARK_CAPTURE(change_packet, transport_port, Action::Kind::SetTpDst);

class Nowhere : public agent::Wire {
  void transmit(uint32_t, agent::Frame frame) override { benchmark::DoNotOptimize(frame.data()); }
};

// Exact flows from one port to another, of which each has a tree of its own in hardware.
std::vector<agent::FlowMod> passing_flows(uint32_t count, bool on_cpu) {
  std::vector<agent::FlowMod> mods(count);
  for (uint32_t i = 0; i < count; ++i) {
    mods[i].flow = exact_flow(i + 1);
    if (on_cpu) {
      mods[i].flow.actions.push_back({.kind = Action::Kind::SetDlDst, .value = 5});
    }
    mods[i].flow.actions.push_back(agent::output_to(port(1)));
  }
  return mods;
}

std::vector<std::vector<uint8_t>> frames_of(uint32_t count) {
  std::vector<std::vector<uint8_t>> frames;
  for (uint32_t number = 1; number <= count; ++number) {
    frames.push_back(frame_of(number));
  }
  return frames;
}

void pass_packet(benchmark::State &state, bool on_cpu) {
  fill_table(0);
  agent::Agent agent(the_switch());
  Nowhere nowhere;
  agent.packets().connect(&nowhere);
  agent.packets().guard().set_rates({.packets = 1'000'000'000, .packet_ins = 0});
  if (const auto errors = agent.apply(passing_flows(arg(state, 1), on_cpu)); !errors.empty()) {
    state.SkipWithError(errors.begin()->second.reason.c_str());
    return;
  }
  const auto frames = frames_of(arg(state, 1));
  size_t next = 0;
  agent.packets().receive(port(0), frames[next]);  // which makes the search
  for ([[maybe_unused]] auto iteration : state) {
    agent.packets().receive(port(0), frames[next]);
    next = (next + kStride) % frames.size();
    if (next % 64 == 0) {
      agent.advance(std::chrono::milliseconds(1));
    }
  }
  state.SetItemsProcessed(state.iterations());
  agent.packets().connect(nullptr);
  fill_table(0);
}
BENCHMARK_CAPTURE(pass_packet, hardware, false)->Apply(one_of<1000>);
BENCHMARK_CAPTURE(pass_packet, cpu, true)->Apply(one_of<1000>);

}  // namespace
}  // namespace bench
