// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/controller.h"

#include <asio/ip/address.hpp>
#include <utility>

#include "agent/text.h"

namespace agent::openflow {
namespace {

using namespace std::chrono_literals;

constexpr auto kFirstPause = 500ms;
constexpr std::chrono::milliseconds kLongestPause = 8s;
constexpr auto kPatience = 8s;  // with one attempt

}  // namespace

Controller::Controller(asio::io_context &context, const Endpoint &endpoint, Open open, Log log)
    : endpoint_(endpoint),
      open_(std::move(open)),
      log_(std::move(log)),
      socket_(context),
      timer_(context),
      pause_(kFirstPause) {}

void Controller::start() {
  connect();
}

void Controller::stop() {
  stopped_ = true;
  timer_.cancel();
  std::error_code ignored;
  socket_.close(ignored);
  if (connection_) {
    connection_->close("given up");
  }
}

void Controller::connect() {
  const asio::ip::tcp::endpoint there(asio::ip::make_address(endpoint_.address), endpoint_.port);
  socket_.async_connect(there, [self = shared_from_this()](std::error_code problem) { self->connected(problem); });
  timer_.expires_after(kPatience);
  timer_.async_wait([self = shared_from_this()](std::error_code cancelled) {
    if (!cancelled) {
      std::error_code ignored;
      self->socket_.close(ignored);  // which ends the attempt
    }
  });
}

void Controller::connected(std::error_code problem) {
  timer_.cancel();
  if (stopped_) {
    return;
  }
  if (problem) {
    std::error_code ignored;
    socket_.close(ignored);  // one that has failed connects no more
    if (std::string text = problem.message(); text != problem_) {
      problem_ = std::move(text);
      log_(problem_);
    }
    retry();
    return;
  }
  problem_.clear();
  connection_ = open_(std::move(socket_), endpoint_, [self = shared_from_this()] { self->retry(); });
}

// Begins again from the shortest pause once there has been a session.
void Controller::retry() {
  if (const auto connection = std::exchange(connection_, nullptr); connection && connection->session().established()) {
    pause_ = kFirstPause;
  }
  if (stopped_) {
    return;
  }
  timer_.expires_after(pause_);
  pause_ = std::min(2 * pause_, kLongestPause);
  timer_.async_wait([self = shared_from_this()](std::error_code cancelled) {
    if (!cancelled && !self->stopped_) {
      self->connect();
    }
  });
}

}  // namespace agent::openflow
