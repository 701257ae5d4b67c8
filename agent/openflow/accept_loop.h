// SPDX-License-Identifier: Apache-2.0
// Takes one connection after the other where a program listens.
#ifndef AGENT_OPENFLOW_ACCEPT_LOOP_H
#define AGENT_OPENFLOW_ACCEPT_LOOP_H

#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "agent/openflow/limited_log.h"

namespace agent::openflow {

// `Protocol`: of Asio. A connection that cannot be accepted, such as for want of file descriptors, ends nothing: the
// log gets the reason once, and it is tried again.
template <typename Protocol>
class AcceptLoop : public std::enable_shared_from_this<AcceptLoop<Protocol>> {
 public:
  using Acceptor = typename Protocol::acceptor;
  using Socket = typename Protocol::socket;

  // `take` is called from the event loop, between start() and stop().
  AcceptLoop(Acceptor acceptor, std::function<void(Socket)> take, Log log)
      : acceptor_(std::move(acceptor)),
        timer_(acceptor_.get_executor()),
        take_(std::move(take)),
        log_(std::move(log)) {}

  void start() {
    acceptor_.async_accept([self = this->shared_from_this()](std::error_code problem, Socket socket) {
      if (self->acceptor_.is_open()) {
        self->accepted(problem, std::move(socket));
      }
    });
  }

  // A pause that is under way ends without another attempt.
  void stop() {
    std::error_code ignored;
    acceptor_.close(ignored);
  }

  const Acceptor &acceptor() const { return acceptor_; }

 private:
  static constexpr auto kPauseAfterFailure = std::chrono::seconds(1);

  void accepted(std::error_code problem, Socket socket) {
    const std::string text = problem ? problem.message() : "";
    if (std::exchange(problem_, text) != text && problem) {
      log_(text);
    }
    if (problem) {
      pause();
    } else {
      start();
      take_(std::move(socket));
    }
  }

  void pause() {
    timer_.expires_after(kPauseAfterFailure);
    timer_.async_wait([self = this->shared_from_this()](std::error_code) {
      if (self->acceptor_.is_open()) {
        self->start();
      }
    });
  }

  Acceptor acceptor_;
  asio::steady_timer timer_;
  std::function<void(Socket)> take_;
  Log log_;
  std::string problem_;  // of the last attempt
};

}  // namespace agent::openflow

#endif
