// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/connection.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "agent/text.h"

namespace agent::openflow {
namespace {

using namespace std::chrono_literals;

constexpr size_t kReadSize = size_t{512} * 1024;
constexpr auto kSilence = 5s;  // after which a peer is asked for an echo, and after as much again given up

}  // namespace

Connection::Connection(asio::io_context &context, std::unique_ptr<Stream> stream, const Endpoint &peer, Agent &agent,
                       const Identity &identity, Log log, std::function<void()> ended)
    : stream_(std::move(stream)),
      peer_(peer),
      timer_(context),
      log_(std::move(log)),
      ended_(std::move(ended)),
      session_(agent, identity, log_),
      space_(kReadSize) {}

void Connection::start() {
  watch();
  stream_->handshake([self = shared_from_this()](std::error_code problem, size_t) { self->began(problem); });
}

void Connection::began(std::error_code problem) {
  if (problem) {
    close(problem.message());
    return;
  }
  session_.begin();
  flush();
  read();
}

void Connection::read() {
  if (reading_ || closed_ || session_.ended() || session_.holds_back()) {
    return;
  }
  reading_ = true;
  stream_->read(asio::buffer(space_),
                [self = shared_from_this()](std::error_code problem, size_t count) { self->received(problem, count); });
}

void Connection::received(std::error_code problem, size_t count) {
  reading_ = false;
  if (problem) {
    close(problem == asio::error::eof ? "closed by the peer" : problem.message());
    return;
  }
  heard_ = true;
  session_.receive({space_.data(), count});
  flush();
  read();
}

void Connection::flush() {
  if (session_.overrun()) {
    close("too much waits for a peer that does not read");
  }
  if (closed_ || !sending_.empty()) {
    return;
  }
  sending_ = session_.take_output();
  sent_ = 0;
  if (!sending_.empty()) {
    write();
  } else if (session_.ended()) {
    close(session_.end_reason());
  }
}

void Connection::write() {
  stream_->write(asio::buffer(sending_) + sent_,
                 [self = shared_from_this()](std::error_code problem, size_t count) { self->written(problem, count); });
}

void Connection::written(std::error_code problem, size_t count) {
  if (problem) {
    close(problem.message());
    return;
  }
  sent_ += count;
  all_sent_ += count;
  if (sent_ < sending_.size()) {
    write();
    return;
  }
  sending_.clear();
  session_.output_left();
  flush();
  read();
}

void Connection::watch() {
  timer_.expires_after(kSilence);
  timer_.async_wait([self = shared_from_this()](std::error_code problem) {
    if (!problem && !self->closed_) {
      self->check_life();
    }
  });
}

// A peer that reads what waits for it lives, however slowly it does. One for which nothing waits can answer an echo.
bool Connection::takes() {
  const uint64_t underway = stream_->underway();
  const uint64_t taken = all_sent_ - std::min(underway, all_sent_);
  const bool waits = underway != 0 || !sending_.empty();
  return taken > std::exchange(all_taken_, taken) && waits;
}

void Connection::check_life() {
  heard_ = takes() || heard_;
  if (!heard_ && (probed_ || !session_.established())) {
    close("silent for too long");
    return;
  }
  probed_ = !heard_;
  heard_ = false;
  if (probed_) {
    session_.probe();
    flush();
  }
  watch();
}

void Connection::close(std::string_view reason) {
  if (std::exchange(closed_, true)) {
    return;
  }
  const uint64_t unlogged = session_.unlogged();
  log_(unlogged == 0 ? std::string(reason) : concat(reason, "; ", unlogged, " of its refusals are not logged"));
  timer_.cancel();
  stream_->close();
  asio::post(timer_.get_executor(), [self = shared_from_this(), ended = std::move(ended_)] { ended(); });
}

}  // namespace agent::openflow
