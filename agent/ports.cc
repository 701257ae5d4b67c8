// SPDX-License-Identifier: Apache-2.0
#include "agent/ports.h"

#include <algorithm>

#include "agent/field_values.h"
#include "agent/interface_names.h"

namespace agent {
namespace {

using host::services::Interfaces;

// Rising.
std::vector<uint32_t> interfaces_of(const Interfaces &interfaces) {
  std::vector<uint32_t> ifindexes = interfaces.port_channels();
  for (uint32_t slot = 0; slot < Interfaces::kPorts; ++slot) {
    ifindexes.push_back(Interfaces::port_ifindex(slot));
  }
  return ifindexes;
}

// Locally administered, of a block that the switch's number picks; port channels are behind the front-panel ports.
std::array<uint8_t, 6> default_address(uint64_t datapath_id, uint32_t ifindex) {
  constexpr uint64_t kLocal = 0x02;
  constexpr uint64_t kPortChannels = 0x1000;
  const uint64_t block = (datapath_id ^ datapath_id >> 24 ^ datapath_id >> 48) & 0xFFFFFF;
  const auto pc = Interfaces::pc_number(ifindex);
  const uint64_t number = pc ? kPortChannels + *pc : Interfaces::port_slot(ifindex).value_or(0) + 1;
  return mac_octets(kLocal << 40 | block << 16 | number);
}

// To the group address of the spanning tree's bridges.
bool is_spanning_tree(std::span<const uint8_t> frame) {
  constexpr std::array<uint8_t, 6> kBridgeGroup = {0x01, 0x80, 0xc2, 0, 0, 0};
  return frame.size() >= kBridgeGroup.size() && std::ranges::equal(frame.first(kBridgeGroup.size()), kBridgeGroup);
}

}  // namespace

const Port *Ports::find(uint32_t ifindex) const {
  const auto found = ports_.find(ifindex);
  return found == ports_.end() ? nullptr : &found->second;
}

Port *Ports::find(uint32_t ifindex) {
  const auto found = ports_.find(ifindex);
  return found == ports_.end() ? nullptr : &found->second;
}

Port Ports::new_port(uint32_t ifindex) const {
  Port port;
  port.ifindex = ifindex;
  port.name = interface_name(ifindex);
  port.hw_addr = default_address(datapath_id_, ifindex);
  return port;
}

std::vector<PortChange> Ports::refresh() {
  std::vector<PortChange> changes;
  const std::vector<uint32_t> present = interfaces_of(interfaces_);
  for (const uint32_t ifindex : present) {
    if (!ports_.contains(ifindex)) {
      changes.push_back({PortChange::Reason::Add, ports_[ifindex] = new_port(ifindex)});
    }
  }
  std::erase_if(ports_, [&](const auto &each) {
    const bool gone = !std::ranges::binary_search(present, each.first);
    if (gone) {
      changes.push_back({PortChange::Reason::Delete, each.second});
    }
    return gone;
  });
  return changes;
}

// A port channel may be gone before that is noticed.
std::vector<uint32_t> Ports::behind(uint32_t ifindex) const {
  if (!Interfaces::pc_number(ifindex)) {
    return {ifindex};
  }
  return interfaces_.exists(ifindex) ? interfaces_.members(ifindex) : std::vector<uint32_t>{};
}

uint32_t Ports::logical_port(uint32_t ifindex) const {
  const host::services::Interface *interface = interfaces_.find(ifindex);
  return interface == nullptr || interface->pc == nullptr ? ifindex : interface->pc->ifindex;
}

host::ports::LinkState Ports::link_of(uint32_t ifindex, const host::ports::FrontPanel &panel) const {
  if (Interfaces::port_slot(ifindex)) {
    return panel.link(ifindex).value_or(kSimulatedLink);
  }
  const std::vector<uint32_t> members = behind(ifindex);
  host::ports::LinkState link = kSimulatedLink;
  link.up = members.empty() || std::ranges::any_of(members, [this](uint32_t member) { return has_link(member); });
  return link;
}

// An end without an address of its own leaves the port the switch's.
std::vector<PortChange> Ports::follow(const host::ports::FrontPanel &panel) {
  std::vector<PortChange> changes;
  const auto follow_one = [&](Port &port) {
    if (const auto link = link_of(port.ifindex, panel); link != port.link) {
      port.link = link;
      port.hw_addr = link.mac == decltype(link.mac){} ? default_address(datapath_id_, port.ifindex) : link.mac;
      changes.push_back({PortChange::Reason::Modify, port});
    }
  };
  // From the end: front-panel ports come before the port channels that they may be members of.
  for (auto at = ports_.rbegin(); at != ports_.rend(); ++at) {
    follow_one(at->second);
  }
  return changes;
}

bool Ports::receives(uint32_t ifindex, std::span<const uint8_t> frame) const {
  return has_none(ifindex, kPortDown | (is_spanning_tree(frame) ? kNoReceiveStp : kNoReceive));
}

bool Ports::has_none(uint32_t ifindex, uint32_t config) const {
  const Port *port = find(ifindex);
  const Port *channel = find(logical_port(ifindex));
  return port != nullptr && (port->config & config) == 0 && (channel == nullptr || (channel->config & config) == 0);
}

bool Ports::has_link(uint32_t ifindex) const {
  const Port *port = find(ifindex);
  return port != nullptr && port->link.up;
}

}  // namespace agent
