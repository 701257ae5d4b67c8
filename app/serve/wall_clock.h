// SPDX-License-Identifier: Apache-2.0
// The wall's time, for a switch that serves.
#ifndef APP_SERVE_WALL_CLOCK_H
#define APP_SERVE_WALL_CLOCK_H

#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>

namespace app {

class WallClock {
 public:
  // `tick` is called by start() and ten times a second from then on, until the clock is destroyed.
  WallClock(asio::io_context &context, std::function<void()> tick);

  void start();
  bool runs() const { return runs_; }

  // How much time has passed since this was asked last; none before start().
  std::chrono::nanoseconds passed();

 private:
  void wait();

  asio::steady_timer timer_;
  std::function<void()> tick_;
  asio::steady_timer::time_point told_;  // up to where time has passed
  bool runs_ = false;
};

}  // namespace app

#endif
