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
  Delete = 4,
  Purge = 8,
  CatchAll = 16,
  Interfaces = 32,
  Statistics = 64,
  Compaction = 128,
  Write = 256,  // the direct writers and the multicast scenario
};

// "-5 (more flows than free places)".
std::string status_text(Operation operation, int32_t status);

}  // namespace agent

#endif
