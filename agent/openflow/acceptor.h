// SPDX-License-Identifier: Apache-2.0
// An address where the switch listens, and the connections that came in by it.
#ifndef AGENT_OPENFLOW_ACCEPTOR_H
#define AGENT_OPENFLOW_ACCEPTOR_H

#include <list>
#include <memory>

#include "agent/openflow/accept_loop.h"
#include "agent/openflow/connection.h"
#include "agent/openflow/endpoint.h"

namespace agent::openflow {

class Acceptor : public std::enable_shared_from_this<Acceptor> {
 public:
  static constexpr size_t kMostConnections = 64;

  // Throws std::system_error where it cannot listen. The endpoint gets the port that the system chose if it asks for 0.
  Acceptor(asio::io_context &context, const Endpoint &endpoint, Open open, const Log &log);

  void start() { incoming_->start(); }
  void stop();

  const Endpoint &endpoint() const { return endpoint_; }
  const std::list<std::shared_ptr<Connection>> &connections() const { return connections_; }

 private:
  void take(asio::ip::tcp::socket socket);

  Endpoint endpoint_;
  Open open_;
  Log log_;
  std::shared_ptr<AcceptLoop<asio::ip::tcp>> incoming_;
  std::list<std::shared_ptr<Connection>> connections_;
};

}  // namespace agent::openflow

#endif
