// SPDX-License-Identifier: Apache-2.0
#include "tests/support/random_flows.h"

namespace test {
namespace {

constexpr uint32_t kEthertypes[] = {0x0800, 0x0800, 0x0806, 0x88cc, 0x0880};
constexpr uint16_t kVlans[] = {0, 5, 6, 0x105};
constexpr uint16_t kVlanMatches[] = {0, 5, 6, 0x105, 0x1000, 0xffff};
constexpr uint32_t kAddresses[] = {0x0a000001, 0x0a000002, 0x0a000101, 0xc0a80001};
constexpr uint16_t kProtocols[] = {1, 6, 17};
constexpr uint16_t kTos[] = {0, 0xb8, 0x20};
constexpr uint16_t kL4Ports[] = {0, 53, 80, 443, 0x8050};
constexpr Mac kMacs[] = {{2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 0, 2}, {2, 0, 0, 1, 0, 1}, {0x80, 0, 0, 0, 0, 0x81}};

// Not compared, compared in part, or compared whole.
template <typename T>
T random_mask(Dice &dice) {
  const auto whole = static_cast<T>(~T{0});
  return dice.one_in(2) ? T{0} : dice.one_in(3) ? static_cast<T>(whole << dice.below(8 * sizeof(T))) : whole;
}

Mac random_mac_mask(Dice &dice) {
  Mac mask{};
  if (dice.one_in(3)) {
    mask.fill(0xff);
    mask[dice.below(6)] = random_mask<uint8_t>(dice);
  }
  return mask;
}

// Any of these values under any mask.
template <typename T, size_t Count>
void choose(Dice &dice, const T (&from)[Count], auto &value, auto &mask) {
  if (dice.one_in(3)) {
    value = dice.pick(from);
    mask = random_mask<std::remove_reference_t<decltype(mask)>>(dice);
  }
}

void choose_interface(Dice &dice, Flow &flow) {
  if (dice.one_in(3)) {
    flow.value.ifindex = port(dice.below(kWorldPorts));
    flow.mask.ifindex = dice.one_in(3) ? 0xffff0000U : 0xffffffffU;
  }
}

// Once in a while a flow that cannot be converted.
void spoil(Dice &dice, Flow &flow) {
  if (dice.one_in(20)) {
    flow.value.vlan = 4095;
  }
  if (dice.one_in(20)) {
    flow.value.ifindex = 0x1b000000;
    flow.mask.ifindex = 0xffffffffU;
  }
}

}  // namespace

Action random_action(Dice &dice) {
  if (dice.one_in(16)) {
    return dice.one_in(2) ? controller(0) : Action{.type = 3, .outputs = {port(1)}};
  }
  Action action{.type = dice.pick(std::initializer_list<uint32_t>{0, 1, 2, 2, 2, 4}), .app_id = 1 + dice.below(8)};
  for (uint32_t left = dice.below(4); left > 0; --left) {
    const bool single = dice.one_in(2);
    action.outputs.push_back(single ? port(dice.below(kWorldPorts)) : port_channel(1 + dice.below(kWorldPortChannels)));
  }
  action.flags = dice.one_in(4) ? 0x10 : 0;
  if (action.flags != 0 && dice.one_in(12)) {
    action.app_id = 9;
  }
  return action;
}

Flow random_flow(Dice &dice) {
  Flow flow{.action = random_action(dice)};
  Match &value = flow.value;
  Match &mask = flow.mask;
  value.ethertype = dice.pick(kEthertypes);
  mask.ethertype = dice.one_in(4) ? random_mask<uint32_t>(dice) : 0xffff;
  value.mac_sa = dice.pick(kMacs);
  mask.mac_sa = random_mac_mask(dice);
  value.mac_da = dice.pick(kMacs);
  mask.mac_da = random_mac_mask(dice);
  choose(dice, kVlanMatches, value.vlan, mask.vlan);
  choose(dice, kAddresses, value.ip_sa, mask.ip_sa);
  choose(dice, kAddresses, value.ip_da, mask.ip_da);
  choose(dice, kTos, value.tos, mask.tos);
  choose(dice, kProtocols, value.protocol, mask.protocol);
  choose(dice, kL4Ports, value.sport, mask.sport);
  choose(dice, kL4Ports, value.dport, mask.dport);
  choose_interface(dice, flow);
  spoil(dice, flow);
  return flow;
}

Packet random_packet(Dice &dice) {
  Packet packet{.ingress = port(dice.below(kWorldPorts)), .header = {}};
  host::asic::PacketHeader &header = packet.header;
  header.mac_sa = dice.pick(kMacs);
  header.mac_da = dice.pick(kMacs);
  header.ethertype = static_cast<uint16_t>(dice.pick(kEthertypes));
  if (const uint16_t vlan = dice.pick(kVlans); vlan != 0 || dice.one_in(2)) {
    header.vlan = vlan;
  }
  if (header.ethertype == 0x0800) {
    header.ip_sa = dice.pick(kAddresses);
    header.ip_da = dice.pick(kAddresses);
    header.tos = static_cast<uint8_t>(dice.pick(kTos));
    header.proto = static_cast<uint8_t>(dice.pick(kProtocols));
    header.src_port = dice.pick(kL4Ports);
    header.dst_port = dice.pick(kL4Ports);
  }
  header.length = 64 + dice.below(1400);
  return packet;
}

}  // namespace test
