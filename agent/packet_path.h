// SPDX-License-Identifier: Apache-2.0
// The road of packets between the ports, the hardware and the controllers.
#ifndef AGENT_PACKET_PATH_H
#define AGENT_PACKET_PATH_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <variant>
#include <vector>

#include "agent/error.h"
#include "agent/fields.h"
#include "agent/flow_table.h"
#include "agent/guard.h"
#include "agent/packet_buffers.h"
#include "agent/ports.h"
#include "host/switch.h"

namespace agent {

// A packet for the controllers.
struct PacketIn {
  enum class Reason : uint8_t { NoMatch, Action };  // OpenFlow's numbers, from 0
  uint32_t in_port = 0;                             // ifindex, or a reserved port
  Reason reason = Reason::NoMatch;
  uint16_t max_len = 0xFFFF;  // Action: bytes that the action sends
  uint32_t buffer_id = 0;
  Frame frame;  // all of it

  // How many bytes of the packet a controller gets whose switch sends `miss_send_len` of those that no flow matched.
  size_t length_to_send(uint16_t miss_send_len) const;
};

// A packet from a controller: one that was kept, or a whole one.
struct PacketOut {
  uint32_t in_port = kPortNone;  // ifindex, or a reserved port
  std::vector<Action> actions;
  std::variant<uint32_t, std::vector<uint8_t>> packet;  // number of a buffer, or a frame
};

// Where frames go that leave the switch.
class Wire {
 public:
  Wire() = default;
  virtual ~Wire() = default;
  Wire(const Wire &) = delete;
  Wire &operator=(const Wire &) = delete;

  // Out of a front-panel port.
  virtual void transmit(uint32_t ifindex, Frame frame) = 0;
};

class PacketPath : public host::ports::Receiver {
 public:
  using Report = std::function<bool(const PacketIn &)>;  // whether a controller got it

  // `now` is the agent's time, as it passes.
  PacketPath(host::Switch &device, FlowTable &flows, Ports &ports, const Time &now, Report report)
      : device_(device), flows_(flows), ports_(ports), now_(now), report_(std::move(report)) {}

  // Frames that leave are dropped as long as no wire is connected.
  void connect(Wire *wire) { wire_ = wire; }

  // Frames that come in by a front-panel port, and those that did not get through it. One that neither reaches a port,
  // to be sent or dropped there, nor a controller is dropped where it came in.
  void receive(uint32_t ifindex, Frame frame) override;
  void refuse(uint32_t ifindex) override;
  void overrun(uint32_t ifindex, uint64_t frames) override;
  void not_sent(uint32_t ifindex, size_t bytes) override;

  // A packet that was put into the hardware, not by a port: what of it the hardware brought to the CPU goes to its flow
  // or to the controllers, and leaves by no port.
  void punt_aside(const Packet &packet, Frame frame, const host::asic::Fate &fate);

  // Whether the hardware brought a packet to the CPU so that its flow is found there.
  bool is_for_cpu(const host::asic::Fate &fate) const;

  // The CPU takes such a packet: its flow, which counts it; null when it meets none.
  const TableEntry *take(const Packet &packet);

  // How many packets a second reach the CPU. What is dropped is counted by its port.
  Guard &guard() { return guard_; }

  // Packets that the CPU alone looked up, and those that met no flow of the table where the hardware had one for them:
  // there was none, or they were dropped before it was sought.
  uint64_t looked_up() const { return looked_up_; }
  uint64_t missed() const { return missed_; }

  // Does what a controller asks for. The reason why not; nothing is sent then.
  std::optional<AgentError> send(const PacketOut &packet);

  // The same for a packet that was kept, by actions of a flow.
  std::optional<AgentError> release(uint32_t buffer_id, const std::vector<Action> &actions);

 private:
  // The front-panel ports that a packet has left by, and the port or port channel that each was reached by first.
  using Reached = std::map<uint32_t, uint32_t>;

  void look_up(uint32_t in_port, Frame frame);
  void admit(const Packet &packet, Frame frame);
  void serve(const Packet &packet, Frame frame);
  void act(const Packet &packet, Frame frame, const host::asic::Fate &fate);
  void punt(uint32_t in_port, Frame frame, const host::asic::Fate &fate);
  void perform(std::span<const Action> actions, uint32_t in_port, Frame frame);
  void output(const Action &action, uint32_t in_port, Frame frame, Reached &reached);
  void flood(uint32_t in_port, Frame frame, bool all);
  void transmit(uint32_t ifindex, Frame frame);
  void replicate(uint32_t ifindex, uint32_t in_port, Frame frame, Reached &reached);
  void leave_by(uint32_t ifindex, Frame frame);
  void forward_normally(uint32_t in_port, const host::asic::PacketHeader &packet, Frame frame);
  void report(PacketIn packet);
  template <typename Change>
  void count(uint32_t ifindex, Change change);

  host::Switch &device_;
  FlowTable &flows_;
  Ports &ports_;
  const Time &now_;
  Report report_;
  Guard guard_;
  uint64_t looked_up_ = 0;
  uint64_t missed_ = 0;
  uint64_t arrivals_ = 0;  // frames at the ports that they were to leave by, and at controllers
  PacketBuffers buffers_;
  Wire *wire_ = nullptr;
};

}  // namespace agent

#endif
