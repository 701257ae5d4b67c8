// What the hardware can do: the one place that decides whether a flow can stand in the TCAM.
#ifndef AGENT_HARDWARE_H
#define AGENT_HARDWARE_H

#include <cstddef>
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

// Why the hardware cannot serve a flow.
struct Refusal {
  enum class Kind : uint8_t {
    Field,       // it cannot match the field
    Rewrite,     // it cannot change packets
    Queue,       // it has no queues
    Port,        // it cannot send to this port
    Combination  // it cannot do these actions together
  };
  Kind kind;
  std::string reason;           // for people: "the hardware cannot match dl_vlan_pcp"
  size_t action = 0;            // the position of the one that is to blame
  Field field = Field::kCount;  // for Kind::Field, that field
};

// The actions in the hardware's terms.
std::variant<HardwareActions, Refusal> lower(const std::vector<Action> &actions);

// The actions of a flow that the hardware is known to serve; a std::invalid_argument with the reason otherwise.
HardwareActions lowered(const std::vector<Action> &actions);

// The same actions as a flow has them.
std::vector<Action> raised(const HardwareActions &actions);

// Why the hardware cannot match this; none when it can.
std::optional<Refusal> unmatchable(const Match &match);

// Why the hardware cannot serve this flow; none when it can.
std::optional<Refusal> unserved(const Flow &flow);

// In flow syntax.
std::string to_text(const HardwareActions &actions);

}  // namespace agent

#endif
