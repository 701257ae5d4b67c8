// SPDX-License-Identifier: Apache-2.0
// A controller that the switch seeks: connects to it, and again whenever the connection is lost.
#ifndef AGENT_OPENFLOW_CONTROLLER_H
#define AGENT_OPENFLOW_CONTROLLER_H

#include <asio/steady_timer.hpp>
#include <chrono>
#include <memory>

#include "agent/openflow/connection.h"
#include "agent/openflow/endpoint.h"

namespace agent::openflow {

class Controller : public std::enable_shared_from_this<Controller> {
 public:
  Controller(asio::io_context &context, const Endpoint &endpoint, Open open, Log log);

  void start();
  void stop();

  const Endpoint &endpoint() const { return endpoint_; }
  const std::shared_ptr<Connection> &connection() const { return connection_; }

 private:
  void connect();
  void connected(std::error_code problem);
  void retry();

  const Endpoint endpoint_;
  Open open_;
  Log log_;
  asio::ip::tcp::socket socket_;
  asio::steady_timer timer_;
  std::chrono::milliseconds pause_;
  std::shared_ptr<Connection> connection_;
  std::string problem_;  // of the last attempt; each is logged once
  bool stopped_ = false;
};

}  // namespace agent::openflow

#endif
