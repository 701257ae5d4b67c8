// SPDX-License-Identifier: Apache-2.0
// The simulated clock and the C operations that see it: timers, and the C library's pause.
#include "host/services/clock.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "host/parts.h"
#include "platform/timers.h"

namespace host::services {

std::string Clock::text() const {
  const time_t seconds = time_of_day_ ? time(nullptr) : static_cast<time_t>(now_);
  tm calendar{};
  if (time_of_day_) {
    localtime_r(&seconds, &calendar);
  } else {
    gmtime_r(&seconds, &calendar);
  }
  char text[32];
  strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", &calendar);
  return text;
}

void Clock::advance(uint32_t seconds) {
  const uint64_t until = now_ + seconds;
  while (Timer *timer = next_due(until)) {
    now_ = std::max(now_, timer->due);
    deliver(*timer);
  }
  now_ = std::max(now_, until);
}

void Clock::expire() {
  for (Timer &timer : timers_) {
    if (timer.active) {
      deliver(timer);
    }
  }
}

void Clock::pause(uint32_t seconds) {
  now_ += seconds;
}

Timer *Clock::create(const uint32_t *arg) {
  return &timers_.emplace_back(Timer{arg});
}

bool Clock::start(Timer &timer, uint32_t seconds) {
  timer.active = seconds > 0;
  timer.due = now_ + seconds;
  return timer.active;
}

void Clock::deliver(Timer &timer) {
  timer.active = false;
  if (deliver_) {
    deliver_(timer.arg);
  }
}

Timer *Clock::next_due(uint64_t until) {
  Timer *next = nullptr;
  for (Timer &timer : timers_) {
    if (timer.active && timer.due <= until && (next == nullptr || timer.due < next->due)) {
      next = &timer;
    }
  }
  return next;
}

}  // namespace host::services

using host::services::Call;
using host::services::Timer;

void *tg_create_timer(void *context, uint32_t flags, void *timer_arg, uint32_t one) {
  host::Parts &parts = host::live();
  if (parts.faults.enter(Call::tg_create_timer) != 0) {
    return nullptr;
  }
  if (context != parts.clock.context() || flags != 0 || timer_arg == nullptr || one != 1) {
    parts.violations.add("tg_create_timer: bad argument");
    return nullptr;
  }
  return parts.clock.create(static_cast<const uint32_t *>(timer_arg));
}

int32_t tg_start_timer(void *timer, const void *interval) {
  host::Parts &parts = host::live();
  if (const int32_t code = parts.faults.enter(Call::tg_start_timer); code != 0) {
    return code == 1 ? 0 : code;
  }
  if (timer == nullptr || interval == nullptr) {
    parts.violations.add("tg_start_timer: null argument");
    return 0;
  }
  const auto *const words = static_cast<const uint32_t *>(interval);
  if (words[1] != 0) {
    parts.violations.add("tg_start_timer: a part of a second, which this clock does not have");
  }
  return parts.clock.start(*static_cast<Timer *>(timer), words[0]) ? 1 : 0;
}

void tg_stop_timer(void *timer) {
  host::Parts &parts = host::live();
  parts.faults.count(Call::tg_stop_timer);
  if (timer == nullptr) {
    parts.violations.add("tg_stop_timer: null timer");
    return;
  }
  static_cast<Timer *>(timer)->active = false;
}

int32_t tg_is_timer_active(void *timer) {
  host::live().faults.count(Call::tg_is_timer_active);
  return timer != nullptr && static_cast<Timer *>(timer)->active ? 1 : 0;
}

// Takes the place of the C library's operation: whoever pauses in this process does so on the simulated clock.
extern "C" unsigned int sleep(unsigned int seconds) {
  host::live().clock.pause(seconds);
  return 0;
}
