// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/signals.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace app {

namespace {

volatile std::sig_atomic_t interrupts = 0;
volatile std::sig_atomic_t end_signal = 0;
volatile std::sig_atomic_t terminal_changed = 0;

void note(int signal) {
  switch (signal) {
    case SIGINT:
      interrupts = interrupts + 1;
      break;
    case SIGWINCH:
    case SIGCONT:
      terminal_changed = 1;
      break;
    case SIGPIPE:  // shows as a failed write; ignored instead, it would be ignored in pagers and pipes too
    case SIGCHLD:  // ends a wait
      break;
    default:
      end_signal = signal;
  }
}

constexpr int kCaught[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGCHLD, SIGWINCH, SIGCONT};

// Holds the caught signals back while it lives.
class Held {
 public:
  Held() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : kCaught) {
      sigaddset(&held, signal);
    }
    sigprocmask(SIG_BLOCK, &held, &before_);
  }
  ~Held() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  Held(const Held &) = delete;
  Held &operator=(const Held &) = delete;

  const sigset_t &before() const { return before_; }

 private:
  sigset_t before_;
};

timespec timespec_of(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  return {static_cast<time_t>(seconds.count()), static_cast<long>(std::chrono::nanoseconds(time - seconds).count())};
}

std::function<bool()> elsewhere;

// Asking costs a system call, and many a loop wants to know all the time.
void look_elsewhere() {
  using Clock = std::chrono::steady_clock;
  constexpr auto seldom = std::chrono::milliseconds(10);
  static Clock::time_point next;
  if (elsewhere && Clock::now() >= next) {
    if (interrupts == 0 && elsewhere()) {
      interrupts = 1;
    }
    next = Clock::now() + seldom;
  }
}

// Ends a program that takes output, and what it started: all of the group of processes, when that is this one's own.
// To be called while SIGTERM is held back.
void end(pid_t program) {
  if (getpgrp() != getpid()) {
    kill(program, SIGTERM);
    return;
  }
  kill(0, SIGTERM);
  sigset_t own;
  sigemptyset(&own);
  sigaddset(&own, SIGTERM);
  const timespec at_once{};
  sigtimedwait(&own, nullptr, &at_once);
}

}  // namespace

void catch_signals() {
  struct sigaction action {};
  action.sa_handler = note;
  for (const int signal : kCaught) {
    sigaction(signal, &action, nullptr);
  }
}

InterruptSource::InterruptSource(std::function<bool()> asks) {
  elsewhere = std::move(asks);
}

InterruptSource::~InterruptSource() {
  elsewhere = nullptr;
}

bool interrupted(int more_than) {
  look_elsewhere();
  return interrupts > more_than || end_signal != 0;
}

void forget_interrupt() {
  interrupts = 0;
}

int termination() {
  return end_signal;
}

bool wait_for_input(int descriptor) {
  const Held held;  // none is missed between the look at the flags and the wait
  pollfd input{descriptor, POLLIN, 0};
  return !interrupted() && terminal_changed == 0 && ppoll(&input, 1, nullptr, &held.before()) > 0;
}

bool wait(std::chrono::milliseconds time) {
  const Held held;
  const timespec left = timespec_of(time);
  if (!interrupted()) {
    ppoll(nullptr, 0, &left, &held.before());
  }
  return !interrupted();
}

bool input_within(int descriptor, std::chrono::milliseconds time) {
  const Held held;
  const timespec left = timespec_of(time);
  pollfd input{descriptor, POLLIN, 0};
  return !interrupted() && ppoll(&input, 1, &left, &held.before()) > 0;
}

bool wait_for(int descriptor, short events, int interrupts_before) {
  const Held held;
  pollfd awaited{descriptor, events, 0};
  while (!interrupted(interrupts_before) && ppoll(&awaited, 1, nullptr, &held.before()) <= 0) {
  }
  return !interrupted(interrupts_before);
}

// One that does not end goes when it is asked again.
int wait_for_program(pid_t program) {
  const Held held;
  int status = 0;
  for (bool asked = false; waitpid(program, &status, WNOHANG) == 0;) {
    if (asked) {
      kill(program, SIGKILL);
    } else if (interrupted()) {
      asked = true;
      end(program);
    }
    ppoll(nullptr, 0, nullptr, &held.before());
  }
  return status;
}

bool take_terminal_change() {
  const bool changed = terminal_changed != 0;
  terminal_changed = 0;
  return changed;
}

}  // namespace app
