// SPDX-License-Identifier: Apache-2.0
// Commands that break things: failing calls and small capacities.
#include <algorithm>

#include "app/commands/command.h"
#include "app/syntax/suggestion.h"

namespace app {

using namespace agent;

namespace {

using host::services::Faults;
using host::services::Repeat;

constexpr uint64_t kMostRoom = host::asic::Trees::kIndices;

void require_call(const Word &name) {
  const std::vector<std::string_view> calls = Faults::names();
  if (std::ranges::find(calls, name.text) == calls.end()) {
    const std::string hint = suggestion(name.text, std::set<std::string_view>(calls.begin(), calls.end()));
    throw TextError(name.column,
                    concat("no call ", quoted(name), " can fail", hint.empty() ? "; 'fault calls' lists them" : hint));
  }
}

void arm(Session &session, Arguments &arguments) {
  const uint64_t nth = arguments.take_number("nth", 1, UINT32_MAX, 1);
  const auto code = static_cast<int32_t>(arguments.take_number("code", 1, INT32_MAX, 1));
  const Repeat repeat = arguments.take_flag("always") ? Repeat::FromThenOn : Repeat::Once;
  const Word name = arguments.next("the call");
  arguments.finish();
  Faults &faults = session.device.faults();
  if (name.text == "any") {
    faults.fail_any(nth, code, repeat);
    return;
  }
  require_call(name);
  faults.fail(name.text, nth, code, repeat);
}

void disarm(Session &session, Arguments &arguments) {
  arguments.finish();
  session.device.faults().disarm();
}

void show_faults(Session &session, Arguments &arguments) {
  arguments.finish();
  const Faults &faults = session.device.faults();
  *session.out << (faults.armed() ? "a fault is armed" : "no fault is armed")
               << "; injected so far: " << faults.injected().size() << '\n';
  for (const host::services::Call call : faults.injected()) {
    *session.out << "  " << host::services::name(call) << '\n';
  }
}

void list_calls(Session &session, Arguments &arguments) {
  arguments.finish();
  Table table({{"Call"}, {"So far", Column::Right}});
  for (const std::string_view name : Faults::names()) {
    table.add({std::string(name), std::to_string(session.device.faults().calls(name))});
  }
  table.print(*session.out, session.style);
}

void set_capacity(Session &session, Arguments &arguments) {
  const Word what = arguments.next("counters, trees or tcam");
  const size_t count = arguments.next_number(0, kMostRoom, "a capacity");
  arguments.finish();
  host::asic::Asic &asic = session.device.asic();
  if (what.text == "counters") {
    asic.counters().set_capacity(count);
  } else if (what.text == "trees") {
    asic.trees().set_capacity(count);
  } else if (what.text == "tcam") {
    asic.tcam().set_capacity(count);
  } else {
    throw TextError(what.column, concat("capacities are those of counters, trees and tcam, not ", quoted(what)));
  }
}

constexpr Command kCommands[] = {
    {"fault", "CALL|any [nth=N] [code=N] [always]",
     "make a call of the library into host or SDK fail\n"
     "The Nth coming call (the next one unless given) fails with the code (1), once or, with 'always', from then on.\n"
     "'fault calls' lists the calls.",
     arm},
    {"fault off", "", "take back every armed fault", disarm},
    {"fault show", "", "show whether a fault is armed and what failed", show_faults},
    {"fault calls", "", "list the calls that can fail and how often they were made", list_calls},
    {"capacity", "counters|trees|tcam N", "set how many counters, trees or valid records the hardware has room for",
     set_capacity},
};

}  // namespace

std::span<const Command> fault_commands() {
  return kCommands;
}

}  // namespace app
