// SPDX-License-Identifier: Apache-2.0
// The ports that controllers see: front-panel ports and port channels, and what they were told to do with frames.
#ifndef AGENT_PORTS_H
#define AGENT_PORTS_H

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "host/ports/front_panel.h"
#include "host/services/interfaces.h"

namespace agent {

// What a port is told, with OpenFlow's values.
enum PortConfig : uint32_t {
  kPortDown = 1 << 0,
  kNoStp = 1 << 1,
  kNoReceive = 1 << 2,
  kNoReceiveStp = 1 << 3,
  kNoFlood = 1 << 4,
  kNoForward = 1 << 5,
  kNoPacketIn = 1 << 6,
  kAllPortConfig = (1 << 7) - 1
};

struct PortCounts {
  uint64_t rx_packets = 0;
  uint64_t tx_packets = 0;
  uint64_t rx_bytes = 0;
  uint64_t tx_bytes = 0;
  uint64_t rx_dropped = 0;          // that reached neither a port nor a controller
  uint64_t rx_errors = 0;           // too short, too long, or sent by a group address; not among the packets
  uint64_t rx_overruns = 0;         // came faster than they were taken; not among the packets
  uint64_t tx_dropped = 0;          // by the port's configuration, or for want of a link
  uint64_t tx_errors = 0;           // not taken by what the port leads to
  uint64_t cpu_dropped = 0;         // that the CPU was to take, and had no time for
  uint64_t packet_ins_dropped = 0;  // that came in too fast for the controllers
};

// What a port says of its link that leads to nothing real.
inline constexpr host::ports::LinkState kSimulatedLink{
    .up = true, .megabits = 10'000, .medium = host::ports::LinkState::Medium::Fibre};

struct Port {
  uint32_t ifindex = 0;
  std::string name;
  std::array<uint8_t, 6> hw_addr{};
  uint32_t config = 0;  // PortConfig
  host::ports::LinkState link = kSimulatedLink;
  PortCounts counts;
};

struct PortChange {
  enum class Reason : uint8_t { Add, Delete, Modify };  // OpenFlow's numbers, from 0
  Reason reason;
  Port port;
};

class Ports {
 public:
  // The MAC addresses of the ports come from the switch's number.
  Ports(const host::services::Interfaces &interfaces, uint64_t datapath_id)
      : interfaces_(interfaces), datapath_id_(datapath_id) {
    refresh();
  }

  // By ifindex, rising: port channels, then front-panel ports.
  const std::map<uint32_t, Port> &all() const { return ports_; }
  Port *find(uint32_t ifindex);
  const Port *find(uint32_t ifindex) const;

  // Takes note of interfaces that came and went, and says which.
  std::vector<PortChange> refresh();

  // Takes over what the links of the front panel's ports are like, and says what changed. A port channel with members
  // is up as long as one of them is.
  std::vector<PortChange> follow(const host::ports::FrontPanel &panel);

  // The front-panel ports behind a port: itself, or the members of a port channel, none once that is gone.
  std::vector<uint32_t> behind(uint32_t ifindex) const;

  // The port channel that a port is a member of, or else the port.
  uint32_t logical_port(uint32_t ifindex) const;

  // Whether a frame that comes in by the port is taken, and whether frames leave by it, whose link must be up. A member
  // of a port channel obeys what the port channel is told, too.
  bool receives(uint32_t ifindex, std::span<const uint8_t> frame) const;
  bool sends(uint32_t ifindex) const { return has_none(ifindex, kPortDown | kNoForward) && has_link(ifindex); }
  bool floods(uint32_t ifindex) const { return has_none(ifindex, kNoFlood); }
  bool reports(uint32_t ifindex) const { return has_none(ifindex, kNoPacketIn); }

 private:
  Port new_port(uint32_t ifindex) const;
  bool has_none(uint32_t ifindex, uint32_t config) const;
  bool has_link(uint32_t ifindex) const;
  host::ports::LinkState link_of(uint32_t ifindex, const host::ports::FrontPanel &panel) const;

  const host::services::Interfaces &interfaces_;
  const uint64_t datapath_id_;
  std::map<uint32_t, Port> ports_;
};

}  // namespace agent

#endif
