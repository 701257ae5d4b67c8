// SPDX-License-Identifier: Apache-2.0
// A session over a stream: carries its bytes, watches over the peer's life, and bounds what waits for it.
#ifndef AGENT_OPENFLOW_CONNECTION_H
#define AGENT_OPENFLOW_CONNECTION_H

#include <asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <string_view>

#include "agent/openflow/endpoint.h"
#include "agent/openflow/session.h"
#include "agent/openflow/stream.h"

namespace agent::openflow {

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  // `ended` is called once, from the event loop, when the connection is over.
  Connection(asio::io_context &context, std::unique_ptr<Stream> stream, const Endpoint &peer, Agent &agent,
             const Identity &identity, Log log, std::function<void()> ended);

  // Begins with the handshake of TLS, if there is one, and OpenFlow's.
  void start();

  // Sends what the session has to say; afterwards whatever gathers.
  void flush();

  // Ends the connection at once; `reason` goes to the log.
  void close(std::string_view reason);

  const Endpoint &peer() const { return peer_; }
  Session &session() { return session_; }
  const Session &session() const { return session_; }

 private:
  void began(std::error_code problem);
  void read();
  void received(std::error_code problem, size_t count);
  void write();
  void written(std::error_code problem, size_t count);
  void watch();
  void check_life();
  bool takes();

  std::unique_ptr<Stream> stream_;
  const Endpoint peer_;
  asio::steady_timer timer_;
  Log log_;
  std::function<void()> ended_;
  Session session_;
  std::vector<uint8_t> space_;  // that the next bytes are read into
  Bytes sending_;
  size_t sent_ = 0;         // of `sending_`
  uint64_t all_sent_ = 0;   // since the beginning
  uint64_t all_taken_ = 0;  // of that, what the peer had taken at the last look
  bool reading_ = false;
  bool closed_ = false;
  bool heard_ = true;    // since the last look
  bool probed_ = false;  // an echo request is out
};

// Makes a connection of a socket and starts it; `ended` is called when it is over.
using Open = std::function<std::shared_ptr<Connection>(asio::ip::tcp::socket socket, const Endpoint &peer,
                                                       std::function<void()> ended)>;

}  // namespace agent::openflow

#endif
