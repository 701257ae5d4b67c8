// SPDX-License-Identifier: Apache-2.0
#include "app/views/usage.h"

#include "agent/failures.h"

namespace app {

std::vector<Usage> hardware_usage(host::Switch &device) {
  const host::asic::Asic &asic = device.asic();
  return {
      {"TCAM records", asic.tcam().valid_indices().size(), asic.tcam().capacity()},
      {"Hardware counters", asic.counters().ids().size(), asic.counters().capacity()},
      {"Replication trees", asic.trees().indices().size(), asic.trees().capacity()},
      {"Multicast indices", agent::used_multicast_indices(), agent::multicast_indices()},
  };
}

}  // namespace app
