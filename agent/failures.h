// SPDX-License-Identifier: Apache-2.0
// What the library traced about a failure, in an operator's words.
#ifndef AGENT_FAILURES_H
#define AGENT_FAILURES_H

#include <string>

#include "host/switch.h"

namespace agent {

// "no bridge domain for VLAN 110"; for a failure without words of its own, what was traced.
std::string failure_text(const host::services::TraceRecord &failure, host::Switch &device);

// The first failure that was traced since there were `count`, but for harmless ones; null if there is none.
const host::services::TraceRecord *failure_since(uint64_t count, host::Switch &device);

// "3 of 4096": used of capacity.
std::string usage_text(size_t used, size_t capacity);

// The multicast indices that flows hold, all that the library gives out, and those that are left.
size_t used_multicast_indices();
size_t multicast_indices();
size_t free_multicast_indices();

}  // namespace agent

#endif
