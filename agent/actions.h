// SPDX-License-Identifier: Apache-2.0
// How the actions of flows are written.
#ifndef AGENT_ACTIONS_H
#define AGENT_ACTIONS_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/flow.h"
#include "agent/text.h"

namespace agent {

// An action that changes packets. Where `read` is null it takes no argument.
struct PacketChange {
  std::string_view name;
  Action::Kind kind;
  uint64_t (*read)(const Word &argument);  // throws a TextError
  std::string (*print)(const Masked &value);
};

std::span<const PacketChange> packet_changes();

// Null when there is none.
const PacketChange *packet_change_named(std::string_view name);

// In flow syntax: "drop", "normal,controller", "output:Eth1/1-3,7,pc2", "mod_vlan_vid:5,output:Eth1/2".
std::string to_text(const std::vector<Action> &actions);

}  // namespace agent

#endif
