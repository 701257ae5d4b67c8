// SPDX-License-Identifier: Apache-2.0
// The simulated clock, the timers that run on it, and the pauses that the library takes.
//
// Time passes only when somebody says so: nothing here waits.
#ifndef HOST_SERVICES_CLOCK_H
#define HOST_SERVICES_CLOCK_H

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace host::services {

// A one-shot timer.
struct Timer {
  const uint32_t *arg;  // four words, owned by the timer's creator
  bool active = false;
  uint64_t due = 0;
};

class Clock {
 public:
  // Seconds since the start.
  uint64_t now() const { return now_; }
  // The same as a calendar text, counted from the beginning of 1970: "Thu Jan  1 00:00:10 1970"; or the local time of
  // day, if that is asked for.
  std::string text() const;
  void show_time_of_day(bool on) { time_of_day_ = on; }

  // Lets time pass. Timers that come due on the way expire in the order of their times, each at its time; those that
  // came due during a pause expire first.
  void advance(uint32_t seconds);

  // Lets the active timers expire at once, before their time.
  void expire();

  // Lets time pass while the library is running: nothing expires before the next advance.
  void pause(uint32_t seconds);

  // Called for each expiry, with the timer's four words, the timer no longer active.
  void on_expiry(std::function<void(const uint32_t *arg)> deliver) { deliver_ = std::move(deliver); }

  // The timer service. `context` must be the one that the host gave to the library.
  void *context() { return this; }
  Timer *create(const uint32_t *arg);
  bool start(Timer &timer, uint32_t seconds);  // false for an interval of 0

 private:
  Timer *next_due(uint64_t until);
  void deliver(Timer &timer);

  uint64_t now_ = 0;
  bool time_of_day_ = false;
  std::deque<Timer> timers_;  // a deque: timers stay where they are
  std::function<void(const uint32_t *)> deliver_;
};

}  // namespace host::services

#endif
