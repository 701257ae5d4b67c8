// The road of packets between the ports, the hardware and the controllers.
#ifndef AGENT_PACKET_PATH_H
#define AGENT_PACKET_PATH_H

#include <cstdint>
#include <functional>
#include <optional>
#include <variant>
#include <vector>

#include "agent/error.h"
#include "agent/flow_table.h"
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
  using Report = std::function<void(const PacketIn &)>;

  PacketPath(host::Switch &device, const FlowTable &flows, Ports &ports, Report report)
      : device_(device), flows_(flows), ports_(ports), report_(std::move(report)) {}

  // Frames that leave are dropped as long as no wire is connected.
  void connect(Wire *wire) { wire_ = wire; }

  // Frames that come in by a front-panel port, and those that did not get through it.
  void receive(uint32_t ifindex, Frame frame) override;
  void refuse(uint32_t ifindex) override;
  void overrun(uint32_t ifindex, uint64_t frames) override;
  void not_sent(uint32_t ifindex, size_t bytes) override;

  // The hardware copied a packet to the CPU: the controllers get it.
  void punt(uint32_t in_port, Frame frame, const host::asic::Fate &fate);

  // Does what a controller asks for. The reason why not; nothing is sent then.
  std::optional<AgentError> send(const PacketOut &packet);

  // The same for a packet that was kept, by actions of a flow that the hardware serves.
  std::optional<AgentError> release(uint32_t buffer_id, const std::vector<Action> &actions);

 private:
  void look_up(uint32_t in_port, Frame frame);
  void output(const Action &action, uint32_t in_port, Frame frame);
  void flood(uint32_t in_port, Frame frame, bool all);
  void transmit(uint32_t ifindex, Frame frame);
  void forward_normally(uint32_t in_port, const host::asic::PacketHeader &packet, Frame frame);
  uint32_t logical_port(uint32_t ifindex) const;
  void report(PacketIn packet);

  host::Switch &device_;
  const FlowTable &flows_;
  Ports &ports_;
  Report report_;
  PacketBuffers buffers_;
  Wire *wire_ = nullptr;
};

}  // namespace agent

#endif
