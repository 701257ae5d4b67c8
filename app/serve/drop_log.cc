// SPDX-License-Identifier: Apache-2.0
#include "app/serve/drop_log.h"

#include "agent/text.h"
#include "app/serve/service.h"

namespace app {

void DropLog::look(const agent::Ports &ports, agent::Time now) {
  if (now < next_) {
    return;
  }
  for (const auto &[ifindex, port] : ports.all()) {
    Drops &told = told_[ifindex];
    const uint64_t packets = port.counts.cpu_dropped - told.packets;
    const uint64_t packet_ins = port.counts.packet_ins_dropped - told.packet_ins;
    if (packets + packet_ins != 0) {
      log_line(agent::concat(port.name, ": too many packets for the CPU: ", packets, " and ", packet_ins,
                             " packet-ins dropped"));
      told = {port.counts.cpu_dropped, port.counts.packet_ins_dropped};
      next_ = now + std::chrono::seconds(10);
    }
  }
}

}  // namespace app
