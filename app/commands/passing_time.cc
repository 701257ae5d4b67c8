// SPDX-License-Identifier: Apache-2.0
#include "app/commands/passing_time.h"

#include <poll.h>
#include <unistd.h>

#include "app/serve/service.h"
#include "app/terminal/signals.h"

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

// Lets the clock of a switch that does not serve go on by what `wait` takes.
template <typename Wait>
bool timed(Session &session, Wait wait) {
  const Clock::time_point start = Clock::now();
  const bool result = wait();
  session.agent.advance(Clock::now() - start);
  return result;
}

}  // namespace

bool serves(const Session &session) {
  return session.service != nullptr && session.service->runs();
}

bool pass_time(Session &session, std::chrono::milliseconds time) {
  if (serves(session)) {
    return session.service->serve_for(time);
  }
  return timed(session, [&] { return wait(time); });
}

bool key_within(Session &session, std::chrono::milliseconds time) {
  if (serves(session)) {
    return session.service->input_within(STDIN_FILENO, time);
  }
  return timed(session, [&] { return input_within(STDIN_FILENO, time); });
}

bool wait_for_line(Session &session, int descriptor) {
  if (!serves(session) || session.remote) {
    return wait_for(descriptor, POLLIN);
  }
  session.service->follow_commands();
  while (!interrupted() && !session.service->input_within(descriptor, std::chrono::seconds(1))) {
  }
  return !interrupted();
}

}  // namespace app
