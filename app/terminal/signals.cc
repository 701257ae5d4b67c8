#include "app/terminal/signals.h"

#include <poll.h>

#include <csignal>

namespace app {

namespace {

volatile std::sig_atomic_t interrupt = 0;
volatile std::sig_atomic_t end_signal = 0;
volatile std::sig_atomic_t terminal_changed = 0;

void note(int signal) {
  switch (signal) {
    case SIGINT:
      interrupt = 1;
      break;
    case SIGWINCH:
    case SIGCONT:
      terminal_changed = 1;
      break;
    case SIGPIPE:  // shows as a failed write; ignored instead, it would be ignored in pagers and pipes too
      break;
    default:
      end_signal = signal;
  }
}

constexpr int kCaught[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGWINCH, SIGCONT};

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

}  // namespace

void catch_signals() {
  struct sigaction action {};
  action.sa_handler = note;
  for (const int signal : kCaught) {
    sigaction(signal, &action, nullptr);
  }
}

bool interrupted() {
  return interrupt != 0 || end_signal != 0;
}

void forget_interrupt() {
  interrupt = 0;
}

int termination() {
  return end_signal;
}

bool wait_for_input(int descriptor) {
  const Held held;  // none is missed between the look at the flags and the wait
  pollfd input{descriptor, POLLIN, 0};
  return !interrupted() && terminal_changed == 0 && ppoll(&input, 1, nullptr, &held.before()) > 0;
}

bool wait(uint32_t seconds) {
  const Held held;
  timespec left{static_cast<time_t>(seconds), 0};
  if (!interrupted()) {
    ppoll(nullptr, 0, &left, &held.before());
  }
  return !interrupted();
}

bool take_terminal_change() {
  const bool changed = terminal_changed != 0;
  terminal_changed = 0;
  return changed;
}

}  // namespace app
