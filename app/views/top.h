// SPDX-License-Identifier: Apache-2.0
// What happens on the switch right now: rates since the picture before, and how full the hardware is.
#ifndef APP_VIEWS_TOP_H
#define APP_VIEWS_TOP_H

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "agent/agent.h"
#include "app/views/format.h"
#include "host/switch.h"

namespace app {

// Pictures in a row. The first shows what was counted since the switch's start, the others what was since the one
// before, or an earlier one when that was less than half a second ago: several watchers do not disturb each other.
class Top {
 public:
  void print(std::ostream &out, Style style, host::Switch &device, agent::Agent &agent);

 private:
  struct Sample {
    agent::Time time{};
    uint64_t lookups = 0;
    uint64_t misses = 0;
    uint64_t to_cpu = 0;
    std::map<uint32_t, agent::PortCounts> ports;        // by ifindex
    std::unordered_map<uint32_t, agent::Counts> flows;  // by sequence number
  };

  static Sample take(host::Switch &device, agent::Agent &agent);
  void advance(Sample now);
  double rate(uint64_t now, uint64_t before) const;
  agent::Counts flow_before(uint32_t seq_no) const;
  void print_packets(std::ostream &out, Style style, const agent::Agent &agent) const;
  std::pair<double, std::vector<std::string>> port_row(uint32_t ifindex, const std::string &end) const;
  void print_ports(std::ostream &out, Style style, host::Switch &device) const;
  void print_flows(std::ostream &out, Style style, const agent::Agent &agent) const;

  Sample before_;
  Sample now_;
};

}  // namespace app

#endif
