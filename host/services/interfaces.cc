// SPDX-License-Identifier: Apache-2.0
#include "host/services/interfaces.h"

#include <cstdio>
#include <stdexcept>
#include <string>

namespace host::services {
namespace {

std::string hex(uint32_t ifindex) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", ifindex);
  return text;
}

[[noreturn]] void refuse(uint32_t ifindex, const std::string &why) {
  throw std::invalid_argument("interface " + hex(ifindex) + " " + why);
}

}  // namespace

Interfaces::Interfaces() {
  for (uint32_t slot = 0; slot < kPorts; ++slot) {
    Interface &port = add(port_ifindex(slot));
    port.asic_port = static_cast<uint8_t>(slot);
    port.intf_id = static_cast<uint16_t>(0x100 + slot);
  }
}

std::optional<uint32_t> Interfaces::port_slot(uint32_t ifindex) {
  const uint32_t slot = (ifindex - port_ifindex(0)) >> 12;
  return slot < kPorts && ifindex == port_ifindex(slot) ? std::optional(slot) : std::nullopt;
}

std::optional<uint32_t> Interfaces::pc_number(uint32_t ifindex) {
  const uint32_t number = ifindex - pc_ifindex(0);
  return number >= 1 && number <= kLastPortChannel ? std::optional(number) : std::nullopt;
}

void Interfaces::create_pc(uint32_t pc_ifindex) {
  const std::optional<uint32_t> number = pc_number(pc_ifindex);
  if (!number) {
    refuse(pc_ifindex, "is no port channel from 1 to 4095");
  }
  if (exists(pc_ifindex)) {
    refuse(pc_ifindex, "exists already");
  }
  Interface &pc = add(pc_ifindex);
  pc.is_pc = true;
  if (const uint32_t id = 0x400 + *number; id < kInterfaceIds) {
    pc.intf_id = static_cast<uint16_t>(id);
  }
}

void Interfaces::delete_pc(uint32_t pc_ifindex) {
  if (!get_pc(pc_ifindex).members.empty()) {
    refuse(pc_ifindex, "has members");
  }
  interfaces_.erase(pc_ifindex);
}

void Interfaces::join(uint32_t member_ifindex, uint32_t pc_ifindex) {
  Interface &member = get_port(member_ifindex);
  Interface &pc = get_pc(pc_ifindex);
  if (member.pc != nullptr) {
    refuse(member_ifindex, "is a member of port channel " + hex(member.pc->ifindex));
  }
  pc.members.push_back(&member);
  member.pc = &pc;
}

void Interfaces::leave(uint32_t member_ifindex, uint32_t pc_ifindex) {
  Interface &member = get_port(member_ifindex);
  Interface &pc = get_pc(pc_ifindex);
  if (member.pc != &pc) {
    refuse(member_ifindex, "is no member of port channel " + hex(pc_ifindex));
  }
  std::erase(pc.members, &member);
  member.pc = nullptr;
}

std::vector<uint32_t> Interfaces::port_channels() const {
  std::vector<uint32_t> found;
  for (const auto &[ifindex, each] : interfaces_) {
    if (each->is_pc) {
      found.push_back(ifindex);
    }
  }
  return found;
}

std::vector<uint32_t> Interfaces::members(uint32_t pc_ifindex) const {
  std::vector<uint32_t> found;
  for (const Interface *member : get_pc(pc_ifindex).members) {
    found.push_back(member->ifindex);
  }
  return found;
}

std::optional<uint32_t> Interfaces::pc_of(uint32_t member_ifindex) const {
  const Interface *pc = get_port(member_ifindex).pc;
  return pc == nullptr ? std::nullopt : std::optional(pc->ifindex);
}

std::optional<uint16_t> Interfaces::intf_id(uint32_t ifindex) const {
  return get(ifindex).intf_id;
}

void Interfaces::set_intf_id(uint32_t ifindex, std::optional<uint16_t> intf_id) {
  if (intf_id && *intf_id >= kInterfaceIds) {
    refuse(ifindex, "needs a hardware interface id below 0x1000, not " + hex(*intf_id));
  }
  get(ifindex).intf_id = intf_id;
}

uint8_t Interfaces::sdk_port(uint32_t ifindex) {
  const auto slot = port_slot(ifindex);
  return slot ? static_cast<uint8_t>(*slot + 1) : 0;
}

void Interfaces::set_asic_port(uint32_t ifindex, std::optional<uint8_t> port) {
  get_port(ifindex).asic_port = port;
}

uint8_t Interfaces::openflow_state(uint32_t ifindex) const {
  return get(ifindex).openflow_state;
}

void Interfaces::set_openflow_state(uint32_t ifindex, uint8_t state) {
  get(ifindex).openflow_state = state;
}

Interface *Interfaces::find(uint32_t ifindex) const {
  const auto found = interfaces_.find(ifindex);
  return found == interfaces_.end() ? nullptr : found->second.get();
}

Interface &Interfaces::add(uint32_t ifindex) {
  auto &place = interfaces_[ifindex];
  place = std::make_unique<Interface>();
  place->ifindex = ifindex;
  return *place;
}

Interface &Interfaces::get(uint32_t ifindex) const {
  Interface *found = find(ifindex);
  if (found == nullptr) {
    refuse(ifindex, "does not exist");
  }
  return *found;
}

Interface &Interfaces::get_port(uint32_t ifindex) const {
  Interface &found = get(ifindex);
  if (found.is_pc) {
    refuse(ifindex, "is no front-panel port");
  }
  return found;
}

Interface &Interfaces::get_pc(uint32_t ifindex) const {
  Interface &found = get(ifindex);
  if (!found.is_pc) {
    refuse(ifindex, "is no port channel");
  }
  return found;
}

}  // namespace host::services
