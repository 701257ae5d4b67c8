// SPDX-License-Identifier: Apache-2.0
// One OpenFlow peer, controller or client: bytes in, bytes out, no sockets.
//
// A session answers what it receives in order. Flow-mods that were received together go to the agent together; any
// other message, and a flow-mod that is refused, comes after those before it. Memory is bounded: a peer that does not
// take its answers gets no more of them until it does, and packet-ins are dropped meanwhile.
#ifndef AGENT_OPENFLOW_SESSION_H
#define AGENT_OPENFLOW_SESSION_H

#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/openflow/identity.h"
#include "agent/openflow/limited_log.h"
#include "agent/openflow/message.h"

namespace agent::openflow {

class Session {
 public:
  Session(Agent &agent, const Identity &identity, Log log) : agent_(agent), identity_(identity), log_(std::move(log)) {}

  // Says hello.
  void begin();

  // Takes in bytes, which can end anywhere, and answers the messages that are whole.
  void receive(ByteView bytes);

  // What is to be sent next; it counts as waiting until output_left() says that the peer has taken it.
  Bytes take_output();
  void output_left();

  // So much waits to be sent that nothing more should be received, or that the peer should be given up.
  bool holds_back() const;
  bool overrun() const;

  // Both sides have said hello.
  bool established() const { return established_; }

  // Refusals that did not go to the log, as there were too many.
  uint64_t unlogged() const { return log_.left_out(); }

  // The session is over once the output has left.
  bool ended() const { return !end_reason_.empty(); }
  const std::string &end_reason() const { return end_reason_; }

  // Asks for an echo.
  void probe();

  // What happens in the switch. Packet-ins that find too much waiting are dropped and counted: whether one was taken.
  bool tell(const PacketIn &packet);
  void tell(const RemovedFlow &flow);
  void tell(const PortChange &change);
  uint64_t dropped_packet_ins() const { return dropped_packet_ins_; }

 private:
  // The xid of messages that answer none: no request should have it, so that nobody takes them for the answer.
  static constexpr uint32_t kUnasked = 0;

  // How a type of message is received: the sizes that its body can have, and what is done with it.
  struct Kind {
    size_t least;
    size_t most;
    void (Session::*handle)(const Message &message);
  };
  static const Kind *kind_of(uint8_t type);

  // session.cc: the stream, and errors
  size_t work(ByteView bytes);
  size_t answer_all(ByteView bytes);
  void work_on_kept();
  void answer(const Message &message);
  void check(const Message &message) const;
  void handle(const Message &message);
  void refuse(const Message &message, const ProtocolError &error);
  void end(std::string reason);
  size_t waiting() const { return out_.size() + leaving_; }
  Composer compose(MessageType type, uint32_t xid) { return {out_, type, xid}; }

  // session_connection.cc: greetings, echoes, what the switch is and how it is set
  void hello(const Message &message);
  void error(const Message &message);
  void echo_request(const Message &message);
  void echo_reply(const Message &message);
  void vendor(const Message &message);
  void features_request(const Message &message);
  void get_config_request(const Message &message);
  void set_config(const Message &message);
  void barrier_request(const Message &message);

  // session_flows.cc
  void flow_mod(const Message &message);
  void finish_run();

  // session_packets.cc
  void packet_out(const Message &message);

  // session_ports.cc: ports, and the queues that they do not have
  void port_mod(const Message &message);
  void queue_get_config_request(const Message &message);
  void require_port_of_queues(uint16_t number) const;

  // session_statistics.cc
  struct StatisticsKind;
  void stats_request(const Message &message);
  void desc_stats(const Message &message, ByteView request);
  void flow_stats(const Message &message, ByteView request);
  void aggregate_stats(const Message &message, ByteView request);
  void table_stats(const Message &message, ByteView request);
  void port_stats(const Message &message, ByteView request);
  void queue_stats(const Message &message, ByteView request);

  Agent &agent_;
  const Identity &identity_;
  LimitedLog log_;  // of refusals
  Bytes in_;        // kept of what was received, from the first message that is not handled yet
  Bytes out_;       // to be sent
  size_t leaving_ = 0;
  bool established_ = false;
  std::string end_reason_;
  uint16_t miss_send_len_ = 128;
  uint64_t dropped_packet_ins_ = 0;

  std::vector<Message> run_;  // of the flow-mods that the agent has begun to apply
};

}  // namespace agent::openflow

#endif
