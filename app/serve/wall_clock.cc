#include "app/serve/wall_clock.h"

#include <chrono>
#include <utility>

namespace app {
namespace {

constexpr auto kTick = std::chrono::milliseconds(100);

}  // namespace

WallClock::WallClock(asio::io_context &context, Advance advance) : timer_(context), advance_(std::move(advance)) {}

void WallClock::start() {
  if (!std::exchange(runs_, true)) {
    told_ = std::chrono::steady_clock::now();
    wait();
  }
}

void WallClock::wait() {
  timer_.expires_after(kTick);
  timer_.async_wait([this](std::error_code problem) {
    if (problem) {
      return;
    }
    const auto now = std::chrono::steady_clock::now();
    advance_(now - std::exchange(told_, now));
    wait();
  });
}

}  // namespace app
