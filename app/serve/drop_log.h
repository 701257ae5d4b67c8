// SPDX-License-Identifier: Apache-2.0
// Tells the service's log of packets that the CPU had no time for, at once and then every ten seconds.
#ifndef APP_SERVE_DROP_LOG_H
#define APP_SERVE_DROP_LOG_H

#include <cstdint>
#include <map>

#include "agent/flow_table.h"
#include "agent/ports.h"

namespace app {

class DropLog {
 public:
  void look(const agent::Ports &ports, agent::Time now);

 private:
  struct Drops {
    uint64_t packets = 0;
    uint64_t packet_ins = 0;
  };

  std::map<uint32_t, Drops> told_;  // by ifindex
  agent::Time next_{};
};

}  // namespace app

#endif
