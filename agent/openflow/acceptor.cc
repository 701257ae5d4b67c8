// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/acceptor.h"

#include <asio/ip/address.hpp>
#include <utility>

#include "agent/text.h"

namespace agent::openflow {
namespace {

using asio::ip::tcp;

tcp::endpoint address_of(const Endpoint &endpoint) {
  return {asio::ip::make_address(endpoint.address), endpoint.port};
}

Endpoint peer_endpoint(const tcp::socket &socket, bool tls) {
  std::error_code ignored;
  const auto there = socket.remote_endpoint(ignored);
  return {there.address().to_string(), there.port(), tls, false};
}

}  // namespace

Acceptor::Acceptor(asio::io_context &context, const Endpoint &endpoint, Open open, const Log &log) try
    : endpoint_(endpoint),
      open_(std::move(open)),
      log_(log),
      incoming_(std::make_shared<AcceptLoop<tcp>>(
          tcp::acceptor(context, address_of(endpoint)), [this](tcp::socket socket) { take(std::move(socket)); }, log)) {
  endpoint_.port = incoming_->acceptor().local_endpoint().port();
} catch (const std::system_error &error) {
  throw std::system_error(error.code(), to_text(endpoint));
}

void Acceptor::stop() {
  incoming_->stop();
  const auto connections = connections_;
  for (const auto &connection : connections) {
    connection->close("no longer listening");
  }
}

void Acceptor::take(tcp::socket socket) {
  const Endpoint peer = peer_endpoint(socket, endpoint_.tls);
  if (connections_.size() == kMostConnections) {
    log_(concat("refused ", to_text(peer), ": there are ", kMostConnections, " connections already"));
    return;
  }
  const auto place = connections_.emplace(connections_.end());
  *place = open_(std::move(socket), peer, [self = shared_from_this(), place] { self->connections_.erase(place); });
}

}  // namespace agent::openflow
