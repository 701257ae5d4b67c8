// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/server.h"

#include <algorithm>
#include <asio/ip/address.hpp>
#include <stdexcept>

#include "agent/text.h"

namespace agent::openflow {
namespace {

std::string state_of(const Connection &connection) {
  return connection.session().established() ? "connected" : "greeting";
}

template <typename Items>
auto find(Items &items, const Endpoint &endpoint) {
  return std::ranges::find_if(items, [&](const auto &item) { return item->endpoint() == endpoint; });
}

template <typename Items>
bool stop(Items &items, const Endpoint &endpoint) {
  const auto found = find(items, endpoint);
  if (found == items.end()) {
    return false;
  }
  (*found)->stop();
  items.erase(found);
  return true;
}

}  // namespace

Server::Server(asio::io_context &context, Agent &agent, const Identity &identity, Log log)
    : context_(context), agent_(agent), identity_(identity), log_(std::move(log)) {
  agent_.subscribe(*this);
}

Server::~Server() {
  agent_.unsubscribe(*this);
  for (const auto &acceptor : acceptors_) {
    acceptor->stop();
  }
  for (const auto &controller : controllers_) {
    controller->stop();
  }
}

Endpoint Server::add(const Endpoint &endpoint) {
  if (endpoint.tls && !streams_.has_tls()) {
    throw std::runtime_error(concat(to_text(endpoint), " needs a private key, a certificate and a CA certificate"));
  }
  if (find(acceptors_, endpoint) != acceptors_.end() || find(controllers_, endpoint) != controllers_.end()) {
    throw std::runtime_error(concat(to_text(endpoint), " is there already"));
  }
  if (endpoint.listens) {
    return listen(endpoint);
  }
  seek(endpoint);
  return endpoint;
}

Endpoint Server::listen(const Endpoint &endpoint) {
  const auto acceptor =
      std::make_shared<Acceptor>(context_, endpoint, opener(StreamMaker::Side::Server), log_of(endpoint));
  acceptor->start();
  acceptors_.push_back(acceptor);
  log_(concat(to_text(acceptor->endpoint()), ": listening"));
  if (!endpoint.tls && !asio::ip::make_address(endpoint.address).is_loopback()) {
    log_(concat(to_text(acceptor->endpoint()),
                ": warning: whoever reaches this port controls the switch; pssl: asks for proof"));
  }
  return acceptor->endpoint();
}

void Server::seek(const Endpoint &endpoint) {
  if (controllers_.size() == kMostControllers) {
    throw std::runtime_error(concat("there are ", kMostControllers, " controllers already"));
  }
  controllers_.push_back(
      std::make_shared<Controller>(context_, endpoint, opener(StreamMaker::Side::Client), log_of(endpoint)));
  controllers_.back()->start();
}

bool Server::remove(const Endpoint &endpoint) {
  return stop(acceptors_, endpoint) || stop(controllers_, endpoint) || drop(endpoint);
}

bool Server::drop(const Endpoint &peer) {
  const auto all = connections();
  const auto found = std::ranges::find_if(all, [&](const auto &each) { return each->peer() == peer; });
  if (found == all.end()) {
    return false;
  }
  (*found)->close("disconnected");
  return true;
}

Log Server::log_of(const Endpoint &peer) const {
  return [this, name = to_text(peer)](std::string_view line) { log_(concat(name, ": ", line)); };
}

Open Server::opener(StreamMaker::Side side) {
  return [this, side](asio::ip::tcp::socket socket, const Endpoint &peer, std::function<void()> ended) {
    return open(std::move(socket), peer, side, std::move(ended));
  };
}

std::shared_ptr<Connection> Server::open(asio::ip::tcp::socket socket, const Endpoint &peer, StreamMaker::Side side,
                                         std::function<void()> ended) {
  const Log log = log_of(peer);
  log("connected");
  auto stream = peer.tls ? streams_.tls(std::move(socket), side) : streams_.plain(std::move(socket));
  auto connection =
      std::make_shared<Connection>(context_, std::move(stream), peer, agent_, identity_, log, std::move(ended));
  connection->start();
  return connection;
}

std::vector<std::shared_ptr<Connection>> Server::connections() const {
  std::vector<std::shared_ptr<Connection>> all;
  for (const auto &acceptor : acceptors_) {
    all.insert(all.end(), acceptor->connections().begin(), acceptor->connections().end());
  }
  for (const auto &controller : controllers_) {
    if (controller->connection()) {
      all.push_back(controller->connection());
    }
  }
  return all;
}

template <typename Event>
void Server::tell_all(const Event &event) {
  for (const auto &connection : connections()) {
    connection->session().tell(event);
    connection->flush();
  }
}

void Server::flows_waiting(size_t flows) {
  log_(flows == 0 ? "the hardware has taken all flows"
                  : concat(counted(flows, "flow"), " not taken by the hardware so far: tried again"));
}

bool Server::packet_in(const PacketIn &packet) {
  bool taken = false;
  for (const auto &connection : connections()) {
    taken |= connection->session().tell(packet);
    connection->flush();
  }
  return taken;
}

std::vector<Server::Peer> Server::peers() const {
  std::vector<Peer> peers;
  const auto list = [&](const Connection &connection) {
    peers.push_back({to_text(connection.peer()), state_of(connection), connection.session().dropped_packet_ins()});
  };
  for (const auto &acceptor : acceptors_) {
    peers.push_back({to_text(acceptor->endpoint()), "listening"});
    for (const auto &connection : acceptor->connections()) {
      list(*connection);
    }
  }
  for (const auto &controller : controllers_) {
    if (controller->connection()) {
      list(*controller->connection());
    } else {
      peers.push_back({to_text(controller->endpoint()), "seeking"});
    }
  }
  return peers;
}

}  // namespace agent::openflow
