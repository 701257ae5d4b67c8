#include "agent/hardware.h"

#include <algorithm>
#include <stdexcept>

#include "agent/actions.h"
#include "agent/fields.h"
#include "agent/interface_names.h"
#include "agent/text.h"

namespace agent {
namespace {

namespace hw = oftab::hw;

using Kind = HardwareActions::Kind;

// Takes the actions of a flow one after the other, up to the first that the hardware cannot do.
class Lowering {
 public:
  std::optional<Refusal> take(const Action &action, size_t position);
  HardwareActions finish() const;

 private:
  std::optional<Refusal> take_output(const Action &action, size_t position);
  std::optional<Refusal> take_controller(const Action &action, size_t position);
  std::optional<Refusal> take_port(uint32_t port, size_t position);
  std::optional<Refusal> set_kind(Kind kind, size_t position);

  HardwareActions actions_;
  std::optional<Kind> kind_;  // of what is done beside the controller
  bool controller_ = false;
};

std::optional<Refusal> Lowering::take(const Action &action, size_t position) {
  switch (action.kind) {
    case Action::Kind::Output:
      return take_output(action, position);
    case Action::Kind::Enqueue:
      return Refusal{Refusal::Kind::Queue, "the hardware has no queues", position};
    default:
      return Refusal{Refusal::Kind::Rewrite, "the hardware cannot change packets", position};
  }
}

std::optional<Refusal> Lowering::take_output(const Action &action, size_t position) {
  switch (action.value) {
    case kPortNormal:
      return set_kind(Kind::Normal, position);
    case kPortController:
      return take_controller(action, position);
    default:
      return take_port(static_cast<uint32_t>(action.value), position);
  }
}

std::optional<Refusal> Lowering::take_controller(const Action &action, size_t position) {
  if (controller_ && actions_.app_id != action.app_id) {
    return Refusal{Refusal::Kind::Combination, "the hardware copies a packet to one controller application only",
                   position};
  }
  controller_ = true;
  actions_.app_id = action.app_id;
  return std::nullopt;
}

std::optional<Refusal> Lowering::take_port(uint32_t port, size_t position) {
  if (is_reserved_port(port)) {
    return Refusal{Refusal::Kind::Port, "the hardware sends to ports and port channels only", position};
  }
  if (std::find(actions_.outputs.begin(), actions_.outputs.end(), port) != actions_.outputs.end()) {
    return Refusal{Refusal::Kind::Combination, interface_name(port) + " is an output already", position};
  }
  actions_.outputs.push_back(port);
  return set_kind(Kind::Output, position);
}

std::optional<Refusal> Lowering::set_kind(Kind kind, size_t position) {
  if (kind_ && *kind_ != kind) {
    return Refusal{Refusal::Kind::Combination, "the hardware either forwards normally or sends to given ports",
                   position};
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

Refusal no_place(const Match &match, Field field) {
  return {Refusal::Kind::Field, concat("the hardware cannot match ", spelling_in(match, field).name), 0, field};
}

}  // namespace

std::variant<HardwareActions, Refusal> lower(const std::vector<Action> &actions) {
  Lowering lowering;
  for (size_t i = 0; i < actions.size(); ++i) {
    if (auto refusal = lowering.take(actions[i], i)) {
      return *std::move(refusal);
    }
  }
  return lowering.finish();
}

HardwareActions lowered(const std::vector<Action> &actions) {
  auto result = lower(actions);
  if (const auto *refusal = std::get_if<Refusal>(&result)) {
    throw std::invalid_argument(refusal->reason);
  }
  return std::get<HardwareActions>(std::move(result));
}

std::vector<Action> raised(const HardwareActions &actions) {
  std::vector<Action> list;
  if (actions.kind == Kind::Normal) {
    list.push_back(output_to(kPortNormal));
  }
  std::transform(actions.outputs.begin(), actions.outputs.end(), std::back_inserter(list), output_to);
  if (actions.kind == Kind::Controller || actions.copy_to_controller) {
    list.push_back(output_to(kPortController));
    list.back().app_id = actions.app_id;
  }
  return list;
}

std::optional<Refusal> unmatchable(const Match &match) {
  for (const FieldRow &row : field_rows()) {
    if (match[row.field].mask != 0 && row.key.in(key_class(match)) == nullptr) {
      return no_place(match, row.field);
    }
  }
  if (match[Field::InPort].mask != 0 && is_reserved_port(match[Field::InPort].value)) {
    return Refusal{Refusal::Kind::Field, "packets come in by ports and port channels only", 0, Field::InPort};
  }
  return std::nullopt;
}

std::optional<Refusal> unserved(const Flow &flow) {
  auto actions = lower(flow.actions);
  if (auto *refusal = std::get_if<Refusal>(&actions)) {
    return std::move(*refusal);
  }
  return unmatchable(flow.match);
}

std::string to_text(const HardwareActions &actions) {
  return to_text(raised(actions));
}

}  // namespace agent
