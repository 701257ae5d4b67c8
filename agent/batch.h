// SPDX-License-Identifier: Apache-2.0
// Flows into the library in as few requests as keep their order by priority, and what became of each of them.
//
// After every call, a flow that was to be added stands in the library's table exactly when its status is 0, and one
// that was to be deleted when it is not, whatever failed on the way; unless the library lost all its flows, for which
// FlowsLost is thrown (batch_requests.h).
#ifndef AGENT_BATCH_H
#define AGENT_BATCH_H

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "agent/flow.h"
#include "host/switch.h"

namespace agent {

using Statuses = std::vector<int32_t>;  // OFTAB_OK or the library's code, one for each flow

inline std::vector<const Flow *> pointers_to(std::span<const Flow> flows) {
  std::vector<const Flow *> pointers(flows.size());
  std::ranges::transform(flows, pointers.begin(), [](const Flow &flow) { return &flow; });
  return pointers;
}

struct Added {
  Statuses statuses;
  std::vector<uint32_t> strays;  // sequence numbers of records that helped to place the flows and are still there
};

// The flows come in any order, with sequence numbers of their own. Strays are left only where the library refuses to
// delete them; they match no frame.
Added add_batch(host::Switch &device, std::span<const Flow *const> flows);

// Gives flows that stand in the library's table the actions that they have here. A flow that is refused has lost its
// output ports, if it had any.
Statuses modify_batch(host::Switch &device, std::span<const Flow *const> flows);

Statuses delete_batch(host::Switch &device, std::span<const uint32_t> seq_nos);

// Lets the library erase what a failed request left in the hardware, which it does when the next one begins. The
// operations above do that themselves.
void clean_up(host::Switch &device);

}  // namespace agent

#endif
