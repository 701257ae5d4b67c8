// SPDX-License-Identifier: Apache-2.0
// The command that shows what happens right now.
#include "app/views/top.h"

#include <sstream>

#include "app/commands/command.h"
#include "app/commands/passing_time.h"
#include "app/terminal/live_view.h"

namespace app {

using namespace agent;

namespace {

constexpr auto kPeriod = std::chrono::seconds(1);

// Where nobody watches: the rates of a second on a switch that serves, of the time since the picture before on one
// whose clock stands still.
void print_once(Session &session) {
  if (serves(session)) {
    std::ostringstream before;
    session.top.print(before, session.style, session.device, session.agent);
    pass_time(session, kPeriod);
  }
  session.top.print(*session.out, session.style, session.device, session.agent);
}

void top(Session &session, Arguments &arguments) {
  arguments.finish();
  const auto print = [&](std::ostream &out) { session.top.print(out, session.style, session.device, session.agent); };
  if (session.remote) {
    print(*session.out);
  } else if (session.draws) {
    show_live(print, [&] { return key_within(session, kPeriod); });
  } else {
    print_once(session);
  }
}

constexpr Command kCommands[] = {
    {"top", "",
     "show what happens right now, anew each second until 'q'\n"
     "Packets and bits a second by port, the busiest flows, misses, packets to the CPU, and how full the hardware is.\n"
     "Once, where the output is no terminal.",
     top, false, true},
};

}  // namespace

std::span<const Command> top_commands() {
  return kCommands;
}

}  // namespace app
