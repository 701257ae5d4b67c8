// SPDX-License-Identifier: Apache-2.0
#include "agent/flow_check.h"

#include "agent/fields.h"
#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "agent/status.h"
#include "agent/text.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

using Kind = AgentError::Kind;

// Outputs that exist, applications that exist.
std::optional<AgentError> refused(const Action &action, size_t position, const host::services::Interfaces &interfaces) {
  const auto port = static_cast<uint32_t>(action.value);
  const bool sends = !changes_packets(action.kind);
  if (sends && !is_reserved_port(port) && !interfaces.exists(port)) {
    return AgentError{Kind::Port, concat("there is no interface ", interface_name(port)), position};
  }
  if (sends && (port == kPortTable || port == kPortNone)) {
    return AgentError{Kind::Port, concat("flows do not send packets to ", interface_name(port)), position};
  }
  if (is_output_to(action, kPortController) && (action.app_id == 0 || action.app_id >= kCpuApplication)) {
    return AgentError{Kind::Application,
                      concat("controller applications are 1 to ", kCpuApplication - 1, ", not ", action.app_id),
                      position};
  }
  return std::nullopt;
}

std::optional<AgentError> refused(const std::vector<Action> &actions, const host::services::Interfaces &interfaces) {
  for (size_t i = 0; i < actions.size(); ++i) {
    if (auto error = refused(actions[i], i, interfaces)) {
      return error;
    }
  }
  return std::nullopt;
}

Kind kind_of(int32_t status) {
  switch (status) {
    case OFTAB_ERR_CAPACITY:
      return Kind::TableFull;
    case OFTAB_ERR_COUNTER:
      return Kind::NoCounter;
    case OFTAB_ERR_FANOUT:
      return Kind::NoFanout;
    case OFTAB_ERR_INVALID:
      return Kind::NoMemory;  // nothing else that the code stands for gets past the checks
    default:
      return Kind::Hardware;
  }
}

}  // namespace

std::optional<AgentError> refused_flags(const Flow &flow) {
  if ((flow.flags & kEmergency) == 0) {
    return std::nullopt;
  }
  const bool times_out = flow.idle_timeout != 0 || flow.hard_timeout != 0;
  return times_out ? AgentError{Kind::EmergencyTimeout, "emergency flows have no timeouts"}
                   : AgentError{Kind::Emergency, "there are no emergency flows"};
}

std::optional<AgentError> refused(host::Switch &device, const Flow &flow) {
  auto error = refused(flow.actions, device.interfaces());
  return error ? error : refused_flags(flow);
}

Absence absence_in(host::Switch &device, const Match &match) {
  Absence absent;
  if (const Masked &in_port = match[Field::InPort]; in_port.mask != 0) {
    const auto port = static_cast<uint32_t>(in_port.value);
    absent.interface = !device.interfaces().exists(port);
    absent.interface_id = !absent.interface && !device.interfaces().intf_id(port);
  }
  if (const Masked &vlan = match[Field::DlVlan]; vlan.mask != 0) {
    absent.vlan = !device.asic().vlans().bridge_domain(vlan_for_host(vlan.value));
  }
  return absent;
}

AgentError failed(int32_t status) {
  return {kind_of(status), status_text(Operation::FlowMod, status)};
}

}  // namespace agent
