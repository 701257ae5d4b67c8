// SPDX-License-Identifier: Apache-2.0
#include "agent/hardware.h"

#include <algorithm>
#include <utility>

#include "agent/actions.h"
#include "agent/fields.h"
#include "agent/interface_names.h"
#include "agent/text.h"

namespace agent {
namespace {

namespace hw = oftab::hw;

using host::services::Interfaces;
using Kind = HardwareActions::Kind;

// Takes the actions of a flow one after the other, up to the first that the hardware cannot do.
class Lowering {
 public:
  std::optional<CpuReason> take(const Action &action);
  HardwareActions finish() const;

 private:
  std::optional<CpuReason> take_output(const Action &action);
  std::optional<CpuReason> take_controller(const Action &action);
  std::optional<CpuReason> take_port(uint32_t port);
  std::optional<CpuReason> set_kind(Kind kind);

  HardwareActions actions_;
  std::optional<Kind> kind_;  // of what is done beside the controller
  bool controller_ = false;
};

std::optional<CpuReason> Lowering::take(const Action &action) {
  if (changes_packets(action.kind)) {
    return "the hardware cannot change packets";
  }
  if (action.kind == Action::Kind::Output) {
    return take_output(action);
  }
  return "the hardware has no queues";
}

std::optional<CpuReason> Lowering::take_output(const Action &action) {
  switch (action.value) {
    case kPortNormal:
      return set_kind(Kind::Normal);
    case kPortController:
      return take_controller(action);
    default:
      return take_port(static_cast<uint32_t>(action.value));
  }
}

std::optional<CpuReason> Lowering::take_controller(const Action &action) {
  if (controller_) {
    return "the hardware copies a packet to the controller once";
  }
  controller_ = true;
  actions_.app_id = action.app_id;
  return std::nullopt;
}

std::optional<CpuReason> Lowering::take_port(uint32_t port) {
  if (port == kPortIn) {
    return "the hardware sends no packet back out of the port that it came in by";
  }
  if (is_reserved_port(port)) {
    return "the hardware sends to ports and port channels only";
  }
  if (std::ranges::find(actions_.outputs, port) != actions_.outputs.end()) {
    return concat("the hardware sends a packet to ", interface_name(port), " once");
  }
  actions_.outputs.push_back(port);
  return set_kind(Kind::Output);
}

std::optional<CpuReason> Lowering::set_kind(Kind kind) {
  if (kind_ == Kind::Normal || (kind_ && *kind_ != kind)) {
    return "the hardware either forwards normally, once, or sends to given ports";
  }
  kind_ = kind;
  return std::nullopt;
}

HardwareActions Lowering::finish() const {
  HardwareActions actions = actions_;
  actions.kind = kind_.value_or(controller_ ? Kind::Controller : Kind::Drop);
  actions.copy_to_controller = controller_ && kind_.has_value();
  return actions;
}

// The key format that the library chooses for a match.
uint64_t key_class(const Match &match) {
  switch (match[Field::DlType].value) {
    case kIpv4:
      return hw::CLASS_IP;
    case kArp:
      return hw::CLASS_ARP;
    default:
      return hw::CLASS_ETHERNET;
  }
}

constexpr uint64_t kLastVlan = 0xFFF;  // for which the hardware has no bridge domain

std::optional<CpuReason> impossible_port(const Flow &flow) {
  const auto port = static_cast<uint32_t>(flow.match[Field::InPort].value);
  if (is_reserved_port(port)) {
    return "packets come in to the hardware by ports and port channels only";
  }
  const bool interface = Interfaces::port_slot(port) || Interfaces::pc_number(port);
  if (interface && !flow.absent.interface) {
    return std::nullopt;
  }
  return concat(interface ? "" : "port ", interface_name(port), " does not exist");
}

// Of frames that a group sent, which no port takes.
Match match_of_nothing() {
  Match match;
  match[Field::DlSrc] = {kExactMac, kExactMac};
  return match;
}

// Why the hardware cannot compare a field as the flow asks for it; none when it can.
std::optional<CpuReason> incomparable(const FieldRow &row, const Flow &flow) {
  const Masked &field = flow.match[row.field];
  if (field.mask == 0) {
    return std::nullopt;
  }
  if (row.key.in(key_class(flow.match)) == nullptr) {
    return concat("the hardware cannot match ", spelling_in(flow.match, row.field).name);
  }
  if (row.field == Field::InPort && flow.absent.interface_id) {
    return concat(interface_name(static_cast<uint32_t>(field.value)), " has no hardware interface id");
  }
  if (row.field == Field::DlVlan && (field.value == kLastVlan || flow.absent.vlan)) {
    return concat("VLAN ", field.value, " has no bridge domain");
  }
  return std::nullopt;
}

// Why the hardware cannot match; none when it can.
std::optional<CpuReason> unmatchable(const Flow &flow) {
  auto reason = impossible(flow);
  for (const FieldRow &row : field_rows()) {
    if (!reason) {
      reason = incomparable(row, flow);
    }
  }
  return reason;
}

// The narrowest match that the hardware has and that covers the flow's.
Match record_match(const Flow &flow) {
  if (impossible(flow)) {
    return match_of_nothing();
  }
  Match narrowest = flow.match;
  for (const FieldRow &row : field_rows()) {
    if (incomparable(row, flow)) {
      narrowest[row.field] = {};
    }
  }
  return narrowest;
}

}  // namespace

std::optional<CpuReason> impossible(const Flow &flow) {
  if (flow.match[Field::InPort].mask != 0) {
    if (auto reason = impossible_port(flow)) {
      return reason;
    }
  }
  const Masked &vlan = flow.match[Field::DlVlan];
  if (vlan.mask != 0 && vlan.value > kLastVlan && vlan.value != kUntagged) {
    return concat("no packet has dl_vlan ", vlan.value);
  }
  return std::nullopt;
}

std::variant<HardwareActions, CpuReason> lower(const std::vector<Action> &actions) {
  Lowering lowering;
  for (const Action &action : actions) {
    if (auto reason = lowering.take(action)) {
      return *std::move(reason);
    }
  }
  return lowering.finish();
}

// The same for a flow, whose outputs may have no multicast index.
static std::variant<HardwareActions, CpuReason> lower_actions(const Flow &flow) {
  auto lowered = lower(flow.actions);
  const auto *actions = std::get_if<HardwareActions>(&lowered);
  if (flow.absent.index && actions != nullptr && actions->kind == Kind::Output) {
    return "no multicast index is free";
  }
  return lowered;
}

std::vector<Action> raised(const HardwareActions &actions) {
  std::vector<Action> list;
  bool controller = actions.copy_to_controller;
  switch (actions.kind) {
    case Kind::Drop:
      break;
    case Kind::Normal:
      list.push_back(output_to(kPortNormal));
      break;
    case Kind::Output:
      std::ranges::transform(actions.outputs, std::back_inserter(list), output_to);
      break;
    case Kind::Controller:
      controller = true;
      break;
  }
  if (controller) {
    list.push_back(output_to(kPortController));
    list.back().app_id = actions.app_id;
  }
  return list;
}

bool is_on_cpu(const Flow &flow) {
  return unmatchable(flow) || std::holds_alternative<CpuReason>(lower_actions(flow));
}

Placement placement_of(const Flow &flow) {
  Placement placement{.match = record_match(flow), .actions = {}, .cpu = unmatchable(flow)};
  auto actions = lower_actions(flow);
  if (auto *reason = std::get_if<CpuReason>(&actions); reason != nullptr && !placement.cpu) {
    placement.cpu = std::move(*reason);
  }
  if (placement.cpu) {
    placement.actions = {.kind = Kind::Controller, .outputs = {}, .app_id = kCpuApplication};
  } else {
    placement.actions = std::get<HardwareActions>(std::move(actions));
  }
  return placement;
}

std::string to_text(const Placement &placement) {
  return placement.cpu ? "CPU: " + *placement.cpu : "hardware";
}

std::string to_text(const HardwareActions &actions) {
  return to_text(raised(actions));
}

}  // namespace agent
