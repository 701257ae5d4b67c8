// SPDX-License-Identifier: Apache-2.0
// The switch's OpenFlow connections: where it listens, and the controllers that it seeks, each until told otherwise.
#ifndef AGENT_OPENFLOW_SERVER_H
#define AGENT_OPENFLOW_SERVER_H

#include <asio/io_context.hpp>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "agent/openflow/acceptor.h"
#include "agent/openflow/controller.h"
#include "agent/openflow/stream.h"

namespace agent::openflow {

class Server : private Listener {
 public:
  static constexpr size_t kMostControllers = 16;

  // Lines of the log begin with the peer.
  Server(asio::io_context &context, Agent &agent, const Identity &identity, Log log);
  ~Server() override;

  // What connections over TLS prove this side with, and the other side by. Throws std::system_error.
  void use(const TlsFiles &files) { streams_.use(files); }

  // Listens, or seeks a controller; a std::runtime_error where that cannot be. Returns the endpoint, with the port that
  // the system chose if it asks for port 0.
  Endpoint add(const Endpoint &endpoint);

  // Gives up what was added, and its connections; or a peer that came in. False when there is no such thing.
  bool remove(const Endpoint &endpoint);

  struct Peer {
    std::string name;                 // of what was added, or of a peer that came in by it
    std::string state;                // "listening", "seeking", "greeting", "connected"
    uint64_t dropped_packet_ins = 0;  // that waited for a peer that did not read
  };
  std::vector<Peer> peers() const;

 private:
  Endpoint listen(const Endpoint &endpoint);
  void seek(const Endpoint &endpoint);
  bool drop(const Endpoint &peer);
  std::shared_ptr<Connection> open(asio::ip::tcp::socket socket, const Endpoint &peer, StreamMaker::Side side,
                                   std::function<void()> ended);
  Open opener(StreamMaker::Side side);
  Log log_of(const Endpoint &peer) const;

  // What happens in the switch, passed on to every peer.
  void flow_removed(const RemovedFlow &flow) override { tell_all(flow); }
  void flows_waiting(size_t flows) override;
  bool packet_in(const PacketIn &packet) override;
  void port_changed(const PortChange &change) override { tell_all(change); }
  template <typename Event>
  void tell_all(const Event &event);
  std::vector<std::shared_ptr<Connection>> connections() const;

  asio::io_context &context_;
  Agent &agent_;
  const Identity identity_;
  Log log_;
  StreamMaker streams_;
  std::list<std::shared_ptr<Acceptor>> acceptors_;
  std::list<std::shared_ptr<Controller>> controllers_;
};

}  // namespace agent::openflow

#endif
