// SPDX-License-Identifier: Apache-2.0
// Commands about counters and the clock that they are collected by.
#include <algorithm>
#include <limits>
#include <span>

#include "agent/actions.h"
#include "agent/requests.h"
#include "agent/responses.h"
#include "agent/status.h"
#include "agent/table_view.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/flow_changes.h"
#include "app/terminal/signals.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

StatisticsResponse successful(StatisticsResponse response) {
  if (response.status != OFTAB_OK) {
    throw CommandError(concat("statistics: ", status_text(Operation::Statistics, response.status)));
  }
  return response;
}

StatisticsResponse ask(Session &session, uint32_t op, std::span<const uint32_t> seq_nos = {}) {
  return successful(submit_statistics(session.device, statistics_request(op, seq_nos)));
}

void print(Session &session, const StatisticsResponse &response) {
  Table table({{"Seq", Column::Right}, {"Packets", Column::Right}, {"Bytes", Column::Right}, {"Status"}});
  for (const StatisticsResponse::Entry &entry : response.entries) {
    table.add({std::to_string(entry.seq_no), std::to_string(entry.packets), std::to_string(entry.bytes),
               status_text(Operation::Statistics, entry.status)});
  }
  table.print(*session.out, session.style);
}

void list_statistics(Session &session, Arguments &arguments) {
  std::vector<uint32_t> seq_nos;
  do {
    seq_nos.push_back(
        static_cast<uint32_t>(arguments.next_number(0, std::numeric_limits<uint32_t>::max(), "a sequence number")));
  } while (!arguments.empty());
  print(session, ask(session, OFTAB_STATS_LISTED, seq_nos));
}

void all_statistics(Session &session, Arguments &arguments) {
  arguments.finish();
  print(session, ask(session, OFTAB_STATS_ALL));
}

void clear_statistics(Session &session, Arguments &arguments) {
  arguments.finish();
  *session.out << "counters of " << counted(successful(session.agent.clear_counts()).count, "flow") << " cleared\n";
}

void add_row(Table &table, const InstalledFlow &each) {
  table.add({std::to_string(each.packets), std::to_string(each.bytes), std::to_string(*each.flow.seq_no),
             std::to_string(each.index), to_text(each.flow.actions), to_text(each.flow.match)});
}

// Below the flows: the catch-all entry, and the sum of all.
void add_totals(Table &table, std::span<const InstalledFlow> flows, const Session &session) {
  const oftab_sw_entry_t &catch_all = oftab_hw_rsrc_g.catch_all_entry;
  uint64_t packets = catch_all.pkt_cnt;
  uint64_t bytes = catch_all.byte_cnt;
  for (const InstalledFlow &each : flows) {
    packets += each.packets;
    bytes += each.bytes;
  }
  table.add_rule();
  table.add({std::to_string(catch_all.pkt_cnt), std::to_string(catch_all.byte_cnt), "-",
             std::to_string(OFTAB_CATCH_ALL_INDEX), to_text(actions_of(catch_all, session.device.interfaces())),
             "no flow (the catch-all entry)"});
  table.add({std::to_string(packets), std::to_string(bytes), "-", "-", "", "total"});
}

void show_counters(Session &session, Arguments &arguments) {
  const size_t top = arguments.take_number("top", 1, OFTAB_FLOW_CAPACITY, OFTAB_FLOW_CAPACITY);
  arguments.finish();
  std::vector<InstalledFlow> flows = installed_flows(session.device, session.agent.flows());
  const size_t all = flows.size();
  std::erase_if(flows, [](const InstalledFlow &each) { return each.packets == 0; });
  std::ranges::stable_sort(flows, [](const InstalledFlow &a, const InstalledFlow &b) { return a.packets > b.packets; });
  Table table({{"Packets", Column::Right},
               {"Bytes", Column::Right},
               {"Seq", Column::Right},
               {"Index", Column::Right},
               {"Actions"},
               {"Match"}});
  for (const InstalledFlow &each : std::span(flows).first(std::min(top, flows.size()))) {
    add_row(table, each);
  }
  add_totals(table, flows, session);
  table.print(*session.out, session.style);
  *session.out << flows.size() << " of " << counted(all, "flow") << " counted packets; the clock stands at "
               << session.device.clock().now() << " s, collections come every 10 s\n";
}

// N, Ns or Nm.
uint32_t seconds_in(const Word &word) {
  constexpr uint64_t longest = 1000000;
  const bool minutes = word.text.ends_with('m');
  const bool unit = minutes || word.text.ends_with('s');
  const uint64_t number = read_number(word.text.substr(0, word.text.size() - (unit ? 1 : 0))).value_or(0);
  if (number == 0 || number > longest) {
    throw TextError(word.column, concat("a time is 1 to ", longest, " seconds or minutes, written 10, 10s or 2m, not ",
                                        quoted(word)));
  }
  return static_cast<uint32_t>(number * (minutes ? 60 : 1));
}

constexpr uint32_t kStep = 600;  // seconds between looks at the operator's wishes

void advance(Session &session, Arguments &arguments) {
  const uint32_t seconds = seconds_in(arguments.next("the time"));
  arguments.finish();
  const uint64_t failures_before = session.device.tracing().failure_count();
  for (uint32_t done = 0; done < seconds;) {
    if (interrupted()) {
      throw Interrupted(concat("the clock stands at ", session.device.clock().now(), " s"));
    }
    const uint32_t step = std::min(seconds - done, kStep);
    session.agent.advance(std::chrono::seconds(step));
    done += step;
  }
  require_erased(session, failures_before);
  *session.out << "the clock stands at " << session.device.clock().now() << " s\n";
}

constexpr Command kCommands[] = {
    {"counters", "[top=N]",
     "show what flows have counted, the busiest first\n"
     "These are the library's totals, as of its last collection: 'advance 10s' brings the next one.",
     show_counters, true},
    {"stats list", "SEQ...", "ask the library for the counters of some flows", list_statistics},
    {"stats all", "", "ask the library for the counters of all flows", all_statistics, true},
    {"stats clear", "", "clear the counters of all flows", clear_statistics},
    {"advance", "TIME", "let time pass (10, 10s, 2m): every 10 s the library collects its counters", advance},
};

}  // namespace

std::span<const Command> statistics_commands() {
  return kCommands;
}

}  // namespace app
