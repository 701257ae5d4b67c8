// SPDX-License-Identifier: Apache-2.0
// What the library's status codes mean.
#ifndef AGENT_STATUS_H
#define AGENT_STATUS_H

#include <cstdint>
#include <string>

namespace agent {

// What the library was asked to do: a status has the meanings that the operation gives it.
enum class Operation : unsigned {
  Add = 1,
  Modify = 2,
  FlowMod = Add | Modify,  // one or the other
  CatchAll = 4,
  Interfaces = 8,
  Statistics = 16,
  Compaction = 32,
  Write = 64,  // the direct writers and the multicast scenario
};

// "-5 (more flows than free places)".
std::string status_text(Operation operation, int32_t status);

}  // namespace agent

#endif
