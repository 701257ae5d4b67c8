// SPDX-License-Identifier: Apache-2.0
#include "agent/actions.h"

#include <algorithm>
#include <iterator>

#include "agent/field_values.h"
#include "agent/interface_names.h"

namespace agent {
namespace {

using Kind = Action::Kind;

constexpr Action kPlainController = {.value = kPortController};

uint64_t read_vlan_id(const Word &argument) {
  return number_in(argument, 0, 4095, "a VLAN id");
}

uint64_t read_priority(const Word &argument) {
  return number_in(argument, 0, 7, "a VLAN priority");
}

uint64_t read_port(const Word &argument) {
  return number_in(argument, 0, 0xFFFF, "a transport port");
}

uint64_t read_type_of_service(const Word &argument) {
  const uint64_t tos = number_in(argument, 0, 255, "a type of service");
  if ((tos & ~kExactTos) != 0) {
    throw TextError(argument.column, concat("flows set the upper six bits of a type of service, and ", quoted(argument),
                                            " has others set"));
  }
  return tos;
}

// The first name of a kind is the one that is printed.
constexpr PacketChange kChanges[] = {
    {"mod_vlan_vid", Kind::SetVlanVid, read_vlan_id, number_text},
    {"set_vlan_vid", Kind::SetVlanVid, read_vlan_id, number_text},
    {"mod_vlan_pcp", Kind::SetVlanPcp, read_priority, number_text},
    {"set_vlan_pcp", Kind::SetVlanPcp, read_priority, number_text},
    {"strip_vlan", Kind::StripVlan, nullptr, nullptr},
    {"pop_vlan", Kind::StripVlan, nullptr, nullptr},
    {"mod_dl_src", Kind::SetDlSrc, mac_named, masked_mac_text},
    {"mod_dl_dst", Kind::SetDlDst, mac_named, masked_mac_text},
    {"mod_nw_src", Kind::SetNwSrc, ip_named, masked_ip_text},
    {"mod_nw_dst", Kind::SetNwDst, ip_named, masked_ip_text},
    {"mod_nw_tos", Kind::SetNwTos, read_type_of_service, number_text},
    {"mod_tp_src", Kind::SetTpSrc, read_port, number_text},
    {"mod_tp_dst", Kind::SetTpDst, read_port, number_text},
};

consteval bool every_change_has_a_row() {
  for (size_t i = 0; i < static_cast<size_t>(Kind::kCount); ++i) {
    const auto kind = static_cast<Kind>(i);
    if (changes_packets(kind) && std::ranges::find(kChanges, kind, &PacketChange::kind) == std::end(kChanges)) {
      return false;
    }
  }
  return true;
}
static_assert(every_change_has_a_row());

bool is_port_output(const Action &action) {
  return action.kind == Kind::Output && !is_reserved_port(action.value);
}

std::string controller_text(const Action &action) {
  const bool whole = action.max_len == kPlainController.max_len;
  if (action.app_id == kPlainController.app_id) {
    return whole ? "controller" : concat("controller:", action.max_len);
  }
  return concat("controller(app=", action.app_id, whole ? "" : concat(",max_len=", action.max_len), ")");
}

std::string change_text(const Action &action) {
  const auto *const change = std::ranges::find(kChanges, action.kind, &PacketChange::kind);
  const std::string name(change->name);
  return change->print == nullptr ? name : concat(name, ":", change->print({action.value, ~uint64_t{0}}));
}

std::string one_text(const Action &action) {
  const auto port = static_cast<uint32_t>(action.value);
  switch (action.kind) {
    case Kind::Enqueue:
      return concat("enqueue:", interface_name(port), ":", action.queue);
    case Kind::Output:
      return port == kPortController ? controller_text(action) : port == kPortNormal ? "normal" : interface_name(port);
    case Kind::SetVlanVid:
    case Kind::SetVlanPcp:
    case Kind::StripVlan:
    case Kind::SetDlSrc:
    case Kind::SetDlDst:
    case Kind::SetNwSrc:
    case Kind::SetNwDst:
    case Kind::SetNwTos:
    case Kind::SetTpSrc:
    case Kind::SetTpDst:
    case Kind::kCount:
      break;
  }
  return change_text(action);
}

// Outputs to ports that stand together are drawn together.
std::string ports_text(std::vector<Action>::const_iterator first, std::vector<Action>::const_iterator last) {
  std::vector<uint32_t> ports;
  std::ranges::transform(first, last, std::back_inserter(ports),
                         [](const Action &action) { return static_cast<uint32_t>(action.value); });
  return "output:" + interface_names(ports);
}

}  // namespace

std::span<const PacketChange> packet_changes() {
  return kChanges;
}

const PacketChange *packet_change_named(std::string_view name) {
  const auto *const found =
      std::ranges::find_if(kChanges, [&](const PacketChange &each) { return same_ignoring_case(each.name, name); });
  return found == std::end(kChanges) ? nullptr : found;
}

std::string to_text(const std::vector<Action> &actions) {
  std::string text;
  for (auto at = actions.begin(); at != actions.end();) {
    const auto end = std::ranges::find_if_not(at, actions.end(), is_port_output);
    text += concat(text.empty() ? "" : ",", end == at ? one_text(*at) : ports_text(at, end));
    at = end == at ? at + 1 : end;
  }
  return text.empty() ? "drop" : text;
}

}  // namespace agent
