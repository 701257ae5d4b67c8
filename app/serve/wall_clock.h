// Lets the switch's time pass as the wall's does.
#ifndef APP_SERVE_WALL_CLOCK_H
#define APP_SERVE_WALL_CLOCK_H

#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>

namespace app {

class WallClock {
 public:
  using Advance = std::function<void(std::chrono::nanoseconds passed)>;

  // `advance` lets time pass. None does before start().
  WallClock(asio::io_context &context, Advance advance);

  // From now on, until the clock is destroyed.
  void start();
  bool runs() const { return runs_; }

 private:
  void wait();

  asio::steady_timer timer_;
  Advance advance_;
  asio::steady_timer::time_point told_;  // up to where time has passed
  bool runs_ = false;
};

}  // namespace app

#endif
