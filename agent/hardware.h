// SPDX-License-Identifier: Apache-2.0
// What the hardware can do: the one place that decides who serves a flow, the hardware or the CPU, and why.
//
// A flow that the hardware can match and do is served there alone. For any other, the TCAM has a record at the flow's
// place in the order that matches all of the flow's packets, and perhaps more, and brings them to the CPU. There the
// agent finds the flow of each among all flows, and does its actions.
#ifndef AGENT_HARDWARE_H
#define AGENT_HARDWARE_H

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "agent/flow.h"

namespace agent {

// What the library can be asked to do with the packets of a flow.
struct HardwareActions {
  enum class Kind : uint8_t { Drop, Normal, Output, Controller };
  Kind kind = Kind::Drop;
  std::vector<uint32_t> outputs;    // ifindexes, for Output
  bool copy_to_controller = false;  // beside Normal or Output
  uint32_t app_id = 1;              // of the controller, where it is asked for
  bool operator==(const HardwareActions &) const = default;
};

// The applications that flows can name are below it: it is the one that takes the packets of the CPU's flows.
constexpr uint32_t kCpuApplication = 8;

// Why the hardware cannot do something, for people: "the hardware cannot match dl_vlan_pcp".
using CpuReason = std::string;

// Who serves a flow, and what stands in the TCAM for it.
struct Placement {
  Match match;                   // the flow's, or the narrowest that the hardware has and that covers it
  HardwareActions actions;       // the flow's, or the controller
  std::optional<CpuReason> cpu;  // why the CPU serves the flow; none: the hardware does

  bool on_cpu() const { return cpu.has_value(); }
};

// Why no packet that comes in can match a flow; controllers may send some that do.
std::optional<CpuReason> impossible(const Flow &flow);

// Matches are normalised, and it is known what is absent.
Placement placement_of(const Flow &flow);

// A part of that, in less time.
bool is_on_cpu(const Flow &flow);

// "hardware", "CPU: the hardware cannot change packets".
std::string to_text(const Placement &placement);

// The actions in the hardware's terms, or why it has none for them.
std::variant<HardwareActions, CpuReason> lower(const std::vector<Action> &actions);

// The same actions as a flow has them.
std::vector<Action> raised(const HardwareActions &actions);

// In flow syntax.
std::string to_text(const HardwareActions &actions);

}  // namespace agent

#endif
