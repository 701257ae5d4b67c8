// SPDX-License-Identifier: Apache-2.0
// The front panel: the ends that ports lead to, frames in and out of them, and what ordinary layer-2 forwarding has
// learnt of the stations behind them.
//
// One event loop drives it, in one thread: it waits until `descriptor` is readable, then calls `receive`, and
// `follow_links` some times a second. What becomes of a received frame is decided by who receives it.
#ifndef HOST_PORTS_FRONT_PANEL_H
#define HOST_PORTS_FRONT_PANEL_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/asic/vlans.h"
#include "host/ports/batch.h"
#include "host/ports/bridge.h"
#include "host/ports/descriptor.h"
#include "host/ports/link_events.h"
#include "host/ports/port_end.h"
#include "host/services/clock.h"

namespace host::ports {

// Who takes the frames that come in by ports, and counts those that get no further.
class Receiver {
 public:
  Receiver() = default;
  virtual ~Receiver() = default;
  Receiver(const Receiver &) = delete;
  Receiver &operator=(const Receiver &) = delete;

  // A whole frame came in by a port; the bytes are valid during the call.
  virtual void receive(uint32_t ifindex, Frame frame) = 0;
  // One came in that is too short, too long, or sent by a group address.
  virtual void refuse(uint32_t ifindex) = 0;
  // Some came in faster than they were taken.
  virtual void overrun(uint32_t ifindex, uint64_t frames) = 0;
  // One that was to be sent by a port was not taken by its end, or found none there any more.
  virtual void not_sent(uint32_t ifindex, size_t bytes) = 0;
};

struct AttachedPort {
  std::unique_ptr<PortEnd> end;
  LinkState state;            // as of the last `follow_links`; a missing interface's MAC address is the one that it had
  std::vector<Packet> queue;  // to be sent before the batch is done with that they are in
  bool received = false;      // since the last `follow_links`
};

// The end that a text names: "tap:NAME" makes a TAP, anything else is an existing network interface. Throws
// std::runtime_error, naming it and saying why, when that is not possible.
std::unique_ptr<PortEnd> make_end(const std::string &text);

class FrontPanel {
 public:
  FrontPanel(const asic::Vlans &vlans, const services::Clock &clock);

  // Frames are neither taken nor sent as long as there is no receiver.
  void connect(Receiver *receiver) { receiver_ = receiver; }

  // Gives a front-panel port an end. Throws std::invalid_argument when it is no front-panel port or has an end already.
  void attach(uint32_t ifindex, std::unique_ptr<PortEnd> end);
  // Throws std::invalid_argument when the port has no end.
  void detach(uint32_t ifindex);
  const std::map<uint32_t, AttachedPort> &ports() const { return ports_; }  // by ifindex

  // The link of a front-panel port, as of the last `follow_links`. Without an end it is down, but on a panel to which
  // nothing was ever attached: there, none is known.
  std::optional<LinkState> link(uint32_t ifindex) const;

  // Readable when a port has frames; the same for as long as the panel lives.
  int descriptor() const { return poll_.number(); }

  // Hands a batch of waiting frames of each port over, in order, and sends what is to become of them. Does not wait.
  void receive();

  // Sends a frame by a port. While one is handed over it is that frame, perhaps with other fields or another tag: with
  // a checksum or segments to be done if it came in with them. Passed on where it lies, it leaves when its batch has
  // been handed over. On a panel to which nothing was ever attached, it ends there.
  void transmit(uint32_t ifindex, Frame frame);

  // Whether the TCP or UDP checksum of the frame that is handed over is still to be done where it leaves.
  bool checksum_is_due() const;

  // Ordinary forwarding of a packet that came in by a port or port channel (another number: by none of them): takes
  // note of its sender, and says where its receiver is. There is no loop protection.
  struct Route {
    enum class To : uint8_t { Nobody, Port, All };  // Nobody: addresses that bridges keep for themselves
    To to = To::Nobody;
    uint32_t ifindex = 0;  // Port: a port or port channel, as it was learnt
  };
  Route route(uint32_t in_port, const asic::PacketHeader &packet);

  // Looks at links and interfaces where something happened to them, and tells of overruns.
  void follow_links();

 private:
  void watch(uint32_t ifindex, const PortEnd &end) const;
  void receive_from(uint32_t ifindex);
  Offload offload_of(Frame frame) const;
  void count_overruns(uint32_t ifindex, AttachedPort &port);
  void send_queue(uint32_t ifindex, AttachedPort &port);
  void send_queues();
  void follow_link(uint32_t ifindex, AttachedPort &port);

  const asic::Vlans &vlans_;
  const services::Clock &clock_;
  Receiver *receiver_ = nullptr;
  Descriptor poll_;
  std::map<uint32_t, AttachedPort> ports_;
  bool was_used_ = false;
  Bridge bridge_;
  Batch batch_;
  const Packet *current_ = nullptr;  // of the batch, the one that is being handed over
  std::optional<LinkEvents> link_events_;
};

}  // namespace host::ports

#endif
