// The front panel: the ends that ports lead to, frames in and out of them, and ordinary layer-2 forwarding between
// them.
//
// One event loop drives it, in one thread: it waits until `descriptor` is readable, then calls `receive`, and
// `follow_links` some times a second. What becomes of a received frame is decided by who takes it: by way of the ASIC
// to ports (`transmit`), to where ordinary forwarding takes it (`forward_normally`), to the CPU, or nowhere.
#ifndef HOST_PORTS_FRONT_PANEL_H
#define HOST_PORTS_FRONT_PANEL_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/asic/vlans.h"
#include "host/ports/bridge.h"
#include "host/ports/descriptor.h"
#include "host/ports/port_end.h"
#include "host/services/clock.h"
#include "host/services/interfaces.h"

namespace host::ports {

struct Counts {
  uint64_t rx_packets = 0;
  uint64_t rx_bytes = 0;
  uint64_t rx_errors = 0;  // frames too short or too long, or sent by a group address
  uint64_t tx_packets = 0;
  uint64_t tx_bytes = 0;
  uint64_t tx_dropped = 0;  // the link was down
  uint64_t tx_errors = 0;   // the end did not take them
};

struct AttachedPort {
  std::unique_ptr<PortEnd> end;
  LinkState state;  // as of the last `follow_links`
  Counts counts;
};

// The end that a text names: "tap:NAME" makes a TAP, anything else is an existing network interface. Throws
// std::system_error, naming it, when that is not possible.
std::unique_ptr<PortEnd> make_end(const std::string &text);

class FrontPanel {
 public:
  // Takes a whole frame that came in by a port; the bytes are valid during the call.
  using Take = std::function<void(uint32_t ifindex, Frame frame)>;

  FrontPanel(const services::Interfaces &interfaces, const asic::Vlans &vlans, const services::Clock &clock);

  // Gives a front-panel port an end. Throws std::invalid_argument when it is no front-panel port or has an end already,
  // or when another port has this end.
  void attach(uint32_t ifindex, std::unique_ptr<PortEnd> end);
  // Throws std::invalid_argument when the port has no end.
  void detach(uint32_t ifindex);
  const std::map<uint32_t, AttachedPort> &ports() const { return ports_; }  // by ifindex

  // Readable when a port has frames; the same for as long as the panel lives.
  int descriptor() const { return poll_.number(); }

  // Hands a batch of waiting frames over, those of each port in order. Does not wait. How many there were.
  size_t receive(const Take &take);

  // Sends a frame by a port. One that came in with a checksum or segments to be done leaves with them, if it is passed
  // on where it lies. Ports without end send nothing.
  void transmit(uint32_t ifindex, Frame frame);

  // Sends a frame to where ordinary layer-2 forwarding takes it, never back out of the port that it came in by. A port
  // channel is one port: the first of its members whose link is up sends. Addresses that bridges keep for themselves
  // (01:80:c2:00:00:00 to 0f) are not forwarded.
  void forward_normally(uint32_t in_port, Frame frame);

  // Looks at links and interfaces: the ports whose state changed.
  std::vector<uint32_t> follow_links();

 private:
  void watch(uint32_t ifindex, const PortEnd &end) const;
  size_t receive_from(uint32_t ifindex, const Take &take);
  uint32_t logical_port(uint32_t ifindex) const;
  bool sends(uint32_t ifindex) const;
  uint32_t sender(uint32_t logical) const;
  void flood(uint32_t in_logical, Frame frame);

  const services::Interfaces &interfaces_;
  const asic::Vlans &vlans_;
  const services::Clock &clock_;
  Descriptor poll_;
  std::map<uint32_t, AttachedPort> ports_;
  Bridge bridge_;
  Received current_;  // the frame that is being handed over
};

}  // namespace host::ports

#endif
