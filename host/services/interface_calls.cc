// SPDX-License-Identifier: Apache-2.0
// The interface manager's C operations.
#include <algorithm>
#include <cstring>
#include <string>

#include "host/parts.h"
#include "platform/interface_manager.h"

namespace {

using host::services::Call;
using host::services::FailingCall;
using host::services::Interface;
using host::services::InterfaceObject;
using host::services::UnfailingCall;

using Kind = InterfaceObject::Kind;

// The interface behind an opaque object of the expected kind; null, and a violation, for anything else.
Interface *owner_of(UnfailingCall call, void *object, Kind kind) {
  host::Parts &parts = host::live();
  parts.faults.count(call);
  const auto *const known = static_cast<const InterfaceObject *>(object);
  if (known == nullptr || known->kind != kind) {
    parts.violations.add(std::string(name(call.call)) +
                         (known == nullptr ? ": null object" : ": object of another kind"));
    return nullptr;
  }
  return known->owner;
}

// The interface of an ifindex, for an operation that reports `code` when it does not have what was asked for.
struct Lookup {
  Interface *interface;
  int32_t code;
};

Lookup look_up(FailingCall call, uint32_t ifindex) {
  host::Parts &parts = host::live();
  if (const int32_t code = parts.faults.enter(call); code != 0) {
    return {nullptr, code};
  }
  Interface *found = parts.interfaces.find(ifindex);
  return {found, found == nullptr ? -1 : 0};
}

uint8_t openflow_state(uint32_t ifindex) {
  const Interface *found = host::live().interfaces.find(ifindex);
  return found == nullptr ? uint8_t{0} : found->openflow_state;
}

}  // namespace

void *HDM_HDIM_FIND_LIF(uint32_t ifindex) {
  Interface *found = look_up(Call::HDM_HDIM_FIND_LIF, ifindex).interface;
  return found == nullptr ? nullptr : &found->lif;
}

void *HDM_HDIM_LIF_IF(void *lif) {
  Interface *owner = owner_of(Call::HDM_HDIM_LIF_IF, lif, Kind::Lif);
  return owner == nullptr ? nullptr : &owner->intf;
}

int HDM_HDIM_IF_IS_PC(void *interface) {
  const Interface *owner = owner_of(Call::HDM_HDIM_IF_IS_PC, interface, Kind::Intf);
  return owner != nullptr && owner->is_pc ? 1 : 0;
}

void *HDM_HDIM_IF_PC(void *interface) {
  Interface *owner = owner_of(Call::HDM_HDIM_IF_PC, interface, Kind::Intf);
  if (owner != nullptr && !owner->is_pc) {
    host::live().violations.add("HDM_HDIM_IF_PC: not a port channel");
  }
  return owner != nullptr && owner->is_pc ? &owner->port_channel : nullptr;
}

void *HDM_HDIM_PC_GET_NEXT_PIF(void *pc, void *previous) {
  const Interface *owner = owner_of(Call::HDM_HDIM_PC_GET_NEXT_PIF, pc, Kind::PortChannel);
  if (owner == nullptr) {
    return nullptr;
  }
  auto next = owner->members.begin();
  if (previous != nullptr) {
    next = std::ranges::find_if(owner->members, [=](const Interface *member) { return &member->pif == previous; });
    if (next == owner->members.end()) {
      host::live().violations.add("HDM_HDIM_PC_GET_NEXT_PIF: previous is no member");
      return nullptr;
    }
    ++next;
  }
  return next == owner->members.end() ? nullptr : &(*next)->pif;
}

uint32_t HDM_HDIM_PIF_INDEX(void *pif) {
  const Interface *owner = owner_of(Call::HDM_HDIM_PIF_INDEX, pif, Kind::Pif);
  return owner == nullptr ? 0 : owner->ifindex;
}

int32_t if_index_get_port(uint32_t ifindex, uint8_t *port) {
  const auto [found, code] = look_up(Call::if_index_get_port, ifindex);
  if (found == nullptr) {
    return code;
  }
  if (!found->asic_port) {
    return -1;
  }
  *port = *found->asic_port;
  return 0;
}

int32_t im_get_ifindex_openflow_state_list(void *records, uint32_t count) {
  if (const int32_t code = host::live().faults.enter(Call::im_get_ifindex_openflow_state_list); code != 0) {
    return code;
  }
  auto *record = static_cast<uint8_t *>(records);
  for (uint32_t i = 0; i < count; ++i, record += OPENFLOW_STATE_RECORD_SIZE) {
    uint32_t ifindex = 0;
    std::memcpy(&ifindex, record, sizeof ifindex);
    record[OPENFLOW_STATE_OFFSET] = openflow_state(ifindex);
  }
  return 0;
}

uint16_t hdmpd_qtr_get_intf_id_for_ifindex(uint32_t ifindex) {
  const Interface *found = look_up(Call::hdmpd_qtr_get_intf_id_for_ifindex, ifindex).interface;
  return found == nullptr ? uint16_t{INTF_ID_UNKNOWN} : found->intf_id.value_or(INTF_ID_UNKNOWN);
}
