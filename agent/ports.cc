#include "agent/ports.h"

#include <utility>

#include "agent/interface_names.h"

namespace agent {
namespace {

using host::services::Interfaces;

std::vector<uint32_t> interfaces_of(const Interfaces &interfaces) {
  std::vector<uint32_t> ifindexes = interfaces.port_channels();
  for (uint32_t slot = 0; slot < Interfaces::kPorts; ++slot) {
    ifindexes.push_back(Interfaces::port_ifindex(slot));
  }
  return ifindexes;
}

// Locally administered, and other for each interface.
std::array<uint8_t, 6> default_address(uint32_t ifindex) {
  const auto pc = Interfaces::pc_number(ifindex);
  const uint32_t number = pc ? *pc : Interfaces::port_slot(ifindex).value_or(0) + 1;
  return {
      0x02, 0, 0, static_cast<uint8_t>(pc ? 1 : 0), static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
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

std::vector<PortChange> Ports::refresh() {
  std::vector<PortChange> changes;
  std::map<uint32_t, Port> before = std::exchange(ports_, {});
  for (const uint32_t ifindex : interfaces_of(interfaces_)) {
    if (auto known = before.extract(ifindex)) {
      ports_.insert(std::move(known));
    } else {
      Port &port = ports_[ifindex];
      port.ifindex = ifindex;
      port.name = interface_name(ifindex);
      port.hw_addr = default_address(ifindex);
      changes.push_back({PortChange::Reason::Add, port});
    }
  }
  for (auto &[ifindex, gone] : before) {
    changes.push_back({PortChange::Reason::Delete, std::move(gone)});
  }
  return changes;
}

std::optional<PortChange> Ports::follow(uint32_t ifindex, const host::ports::LinkState &link) {
  Port *port = find(ifindex);
  const uint32_t state = link.up ? 0U : uint32_t{kLinkDown};
  if (port == nullptr || (port->state == state && port->hw_addr == link.mac)) {
    return std::nullopt;
  }
  port->state = state;
  port->hw_addr = link.mac;
  return PortChange{PortChange::Reason::Modify, *port};
}

bool Ports::has_none(uint32_t ifindex, uint32_t config) const {
  const Port *port = find(ifindex);
  return port != nullptr && (port->config & config) == 0;
}

bool Ports::has_link(uint32_t ifindex) const {
  const Port *port = find(ifindex);
  return port != nullptr && (port->state & kLinkDown) == 0;
}

}  // namespace agent
