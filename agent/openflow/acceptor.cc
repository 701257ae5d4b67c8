// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/acceptor.h"

#include <asio/ip/address.hpp>
#include <chrono>
#include <utility>

#include "agent/text.h"

namespace agent::openflow {
namespace {

constexpr auto kPauseAfterFailure = std::chrono::seconds(1);  // such as having no file descriptors

asio::ip::tcp::endpoint address_of(const Endpoint &endpoint) {
  return {asio::ip::make_address(endpoint.address), endpoint.port};
}

Endpoint peer_endpoint(const asio::ip::tcp::socket &socket, bool tls) {
  std::error_code ignored;
  const auto there = socket.remote_endpoint(ignored);
  return {there.address().to_string(), there.port(), tls, false};
}

}  // namespace

Acceptor::Acceptor(asio::io_context &context, const Endpoint &endpoint, Open open, Log log) try
    : endpoint_(endpoint),
      open_(std::move(open)),
      log_(std::move(log)),
      acceptor_(context, address_of(endpoint)),
      timer_(context) {
  endpoint_.port = acceptor_.local_endpoint().port();
} catch (const std::system_error &error) {
  throw std::system_error(error.code(), to_text(endpoint));
}

void Acceptor::stop() {
  timer_.cancel();
  std::error_code ignored;
  acceptor_.close(ignored);
  const auto connections = connections_;
  for (const auto &connection : connections) {
    connection->close("no longer listening");
  }
}

void Acceptor::accept() {
  acceptor_.async_accept([self = shared_from_this()](std::error_code problem, asio::ip::tcp::socket socket) {
    if (problem != asio::error::operation_aborted) {
      self->accepted(problem, std::move(socket));
    }
  });
}

void Acceptor::accepted(std::error_code problem, asio::ip::tcp::socket socket) {
  if (problem) {
    log_(problem.message());
    timer_.expires_after(kPauseAfterFailure);
    timer_.async_wait([self = shared_from_this()](std::error_code cancelled) {
      if (!cancelled) {
        self->accept();
      }
    });
    return;
  }
  const Endpoint peer = peer_endpoint(socket, endpoint_.tls);
  if (connections_.size() == kMostConnections) {
    log_(concat("refused ", to_text(peer), ": there are ", kMostConnections, " connections already"));
  } else {
    const auto place = connections_.emplace(connections_.end());
    *place = open_(std::move(socket), peer, [self = shared_from_this(), place] { self->connections_.erase(place); });
  }
  accept();
}

}  // namespace agent::openflow
