// SPDX-License-Identifier: Apache-2.0
#include "app/serve/wall_clock.h"

#include <chrono>
#include <utility>

namespace app {
namespace {

constexpr auto kTick = std::chrono::milliseconds(100);

}  // namespace

WallClock::WallClock(asio::io_context &context, std::function<void()> tick) : timer_(context), tick_(std::move(tick)) {}

void WallClock::start() {
  if (!std::exchange(runs_, true)) {
    told_ = std::chrono::steady_clock::now();
    tick_();
    wait();
  }
}

std::chrono::nanoseconds WallClock::passed() {
  if (!runs_) {
    return {};
  }
  const auto now = std::chrono::steady_clock::now();
  return now - std::exchange(told_, now);
}

void WallClock::wait() {
  timer_.expires_after(kTick);
  timer_.async_wait([this](std::error_code problem) {
    if (!problem) {
      wait();  // first: the clock goes on whatever the tick throws
      tick_();
    }
  });
}

}  // namespace app
