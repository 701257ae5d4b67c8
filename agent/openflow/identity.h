// SPDX-License-Identifier: Apache-2.0
// What the switch says of itself to controllers.
#ifndef AGENT_OPENFLOW_IDENTITY_H
#define AGENT_OPENFLOW_IDENTITY_H

#include <cstdint>
#include <string>

namespace agent::openflow {

struct Identity {
  uint64_t datapath_id = 1;
  std::string software = "oftab-switch";  // and its version
};

}  // namespace agent::openflow

#endif
