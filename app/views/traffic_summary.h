// SPDX-License-Identifier: Apache-2.0
// What the packets of a capture did, by class of packet, by flow and by port.
#ifndef APP_VIEWS_TRAFFIC_SUMMARY_H
#define APP_VIEWS_TRAFFIC_SUMMARY_H

#include <array>
#include <cstdint>
#include <map>
#include <ostream>

#include "agent/table_view.h"
#include "app/views/fate.h"
#include "app/views/format.h"
#include "host/asic/packet.h"
#include "host/switch.h"

namespace app {

class TrafficSummary {
 public:
  void add(const host::asic::PacketHeader &packet, const host::asic::Fate &fate, bool for_cpu);
  void print(std::ostream &out, Style style, host::Switch &device, const agent::FlowTable &flows) const;

 private:
  enum class Class : uint8_t { Arp, Tcp, Udp, Icmp, OtherIpv4, Ipv6, Other, kCount };

  struct Counts {
    uint64_t packets = 0;
    uint64_t bytes = 0;
    uint64_t tagged = 0;
    std::array<uint64_t, static_cast<size_t>(Outcome::kCount)> outcomes{};
    uint64_t copied = 0;

    Counts &operator+=(const Counts &other);
  };

  static Class class_of(const host::asic::PacketHeader &packet);
  static void add_row(Table &table, const char *name, const Counts &counts, bool with_cpu);
  void print_classes(std::ostream &out, Style style) const;
  void print_flows(std::ostream &out, Style style, std::span<const agent::InstalledFlow> flows) const;
  void print_ports(std::ostream &out, Style style) const;

  std::array<Counts, static_cast<size_t>(Class::kCount)> classes_{};
  std::map<uint16_t, uint64_t> by_index_;  // packets by the TCAM index that they matched
  std::map<uint8_t, uint64_t> by_port_;    // packets by SDK port
};

}  // namespace app

#endif
