// The ports that controllers see: front-panel ports and port channels, and what they were told to do with frames.
#ifndef AGENT_PORTS_H
#define AGENT_PORTS_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/ports/port_end.h"
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

// What a port is in, with OpenFlow's value.
enum PortState : uint32_t { kLinkDown = 1 << 0 };

struct PortCounts {
  uint64_t rx_packets = 0;
  uint64_t tx_packets = 0;
  uint64_t rx_bytes = 0;
  uint64_t tx_bytes = 0;
  uint64_t rx_dropped = 0;
  uint64_t tx_dropped = 0;
};

struct Port {
  uint32_t ifindex = 0;
  std::string name;
  std::array<uint8_t, 6> hw_addr{};
  uint32_t config = 0;  // PortConfig
  uint32_t state = 0;   // PortState
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

  // Takes over what a port's link is like: the change, if it is one.
  std::optional<PortChange> follow(uint32_t ifindex, const host::ports::LinkState &link);

  // Whether a frame that comes in by the port is taken, and whether frames leave by it, whose link must be up. Members
  // of a port channel are told for themselves.
  bool receives(uint32_t ifindex, std::span<const uint8_t> frame) const;
  bool sends(uint32_t ifindex) const { return has_none(ifindex, kPortDown | kNoForward) && has_link(ifindex); }
  bool floods(uint32_t ifindex) const { return has_none(ifindex, kNoFlood); }
  bool reports(uint32_t ifindex) const { return has_none(ifindex, kNoPacketIn); }

 private:
  bool has_none(uint32_t ifindex, uint32_t config) const;
  bool has_link(uint32_t ifindex) const;

  const host::services::Interfaces &interfaces_;
  const uint64_t datapath_id_;
  std::map<uint32_t, Port> ports_;
};

}  // namespace agent

#endif
