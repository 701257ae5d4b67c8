// SPDX-License-Identifier: Apache-2.0
// Commands about tracing: which outputs take trace messages, and what they took.
#include <algorithm>

#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/terminal/trace_console.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using host::services::Levels;
using host::services::TraceRecord;
using host::services::Tracing;

Levels levels_of(const Word &word) {
  if (word.text == "errors") {
    return host::services::kErrors;
  }
  if (word.text == "warnings") {
    return static_cast<Levels>(host::services::kErrors | host::services::kWarnings);
  }
  if (word.text == "all") {
    return host::services::kAllLevels;
  }
  throw TextError(word.column, concat("levels are errors, warnings or all, not ", quoted(word)));
}

// How an output is switched on and off, and shown.
struct TraceOutput {
  std::string_view name;
  void (*set)(Session &session, bool on, Arguments &arguments);
  std::vector<std::string> (*lines)(Session &session);  // null: cannot be shown
};

Levels requested_levels(bool on, Arguments &arguments) {
  return on ? levels_of(arguments.next_if_any().value_or(Word{"all", 1})) : host::services::kNoLevel;
}

void set_ring(Session &session, bool on, Arguments &) {
  session.device.tracing().set_ring(on);
}

void set_failures(Session &, bool on, Arguments &) {
  if (!on) {
    throw CommandError("the failures are always traced");
  }
}

void set_calls(Session &session, bool on, Arguments &) {
  session.device.call_log().set_on(on);
}

void set_history(Session &session, bool on, Arguments &arguments) {
  session.device.tracing().set_history(requested_levels(on, arguments));
}

void set_console_output(Session &session, bool on, Arguments &arguments) {
  set_console(session, requested_levels(on, arguments));
}

void set_file(Session &session, bool on, Arguments &arguments) {
  if (on) {
    session.device.tracing().open_file(std::string(arguments.next("the file").text));
  } else {
    session.device.tracing().close_file();
  }
}

std::string without_newline(std::string text) {
  while (text.ends_with('\n')) {
    text.pop_back();
  }
  return text;
}

template <typename Records>
std::vector<std::string> record_lines(const Records &records) {
  std::vector<std::string> lines;
  lines.reserve(records.size());
  for (const TraceRecord &record : records) {
    lines.push_back(concat(record.file, ":", record.line, " ", record.function, ": ", without_newline(record.text)));
  }
  return lines;
}

std::vector<std::string> ring_lines(Session &session) {
  return record_lines(session.device.tracing().ring());
}

std::vector<std::string> failure_lines(Session &session) {
  return record_lines(session.device.tracing().failures());
}

std::vector<std::string> history_lines(Session &session) {
  std::vector<std::string> lines;
  for (const host::services::HistoryEvent &event : session.device.tracing().history()) {
    lines.push_back(concat(host::services::level_name(event.level), ": ", without_newline(event.text)));
  }
  return lines;
}

std::vector<std::string> call_lines(Session &session) {
  return session.device.call_log().lines();
}

constexpr TraceOutput kOutputs[] = {
    {"ring", set_ring, ring_lines},           {"failures", set_failures, failure_lines},
    {"history", set_history, history_lines},  {"calls", set_calls, call_lines},
    {"console", set_console_output, nullptr}, {"file", set_file, nullptr},
};

const TraceOutput &output_named(const Word &word) {
  const auto output = std::ranges::find_if(kOutputs, [&](const TraceOutput &each) { return each.name == word.text; });
  if (output == std::end(kOutputs)) {
    throw TextError(word.column,
                    concat("outputs are ring, failures, history, calls, console and file, not ", quoted(word)));
  }
  return *output;
}

void switch_output(Session &session, Arguments &arguments, bool on) {
  const TraceOutput &output = output_named(arguments.next("the output"));
  output.set(session, on, arguments);
  arguments.finish();
}

void trace_on(Session &session, Arguments &arguments) {
  switch_output(session, arguments, true);
}

void trace_off(Session &session, Arguments &arguments) {
  switch_output(session, arguments, false);
}

void trace_show(Session &session, Arguments &arguments) {
  const size_t last = arguments.take_number("last", 1, Tracing::kDefaultCapacity, Tracing::kDefaultCapacity);
  const Word name = arguments.next_if_any().value_or(Word{"ring", 1});
  arguments.finish();
  const TraceOutput &output = output_named(name);
  if (output.lines == nullptr) {
    throw TextError(name.column, quoted(name) + " keeps nothing to show");
  }
  const std::vector<std::string> lines = output.lines(session);
  for (size_t i = lines.size() - std::min(last, lines.size()); i < lines.size() && session.out->good(); ++i) {
    *session.out << lines[i] << '\n';
  }
}

void trace_clear(Session &session, Arguments &arguments) {
  arguments.finish();
  session.device.tracing().clear();
  session.device.call_log().clear();
}

void dump_table(Session &session, Arguments &arguments) {
  arguments.finish();
  const FullConsole console(session);
  oftab_dump_sw_tcam_tbl(oftab_hw_rsrc_g.current_table, 0);
}

void dump_records(Session &session, Arguments &arguments) {
  arguments.finish();
  const FullConsole console(session);
  oftab_dump_tcam_tbl();
}

void dump_shows(Session &session, Arguments &arguments) {
  arguments.finish();
  const FullConsole console(session);
  oftab_show_openflow_sw_table(nullptr);
  oftab_show_openflow_policy(nullptr);
}

constexpr Command kCommands[] = {
    {"trace on", "ring|failures|calls | history|console [errors|warnings|all] | file FILE",
     "switch a trace output on\n"
     "calls are those of the SDK; failures are always on. history and console take errors, warnings (and errors) or\n"
     "all levels. file appends to FILE, with the time of day; past 64 MiB it goes on anew, FILE.1 keeping what was.",
     trace_on},
    {"trace off", "ring|history|calls|console|file", "switch a trace output off", trace_off},
    {"trace show", "[ring|failures|history|calls] [last=N]", "show what a trace output took", trace_show, true},
    {"trace clear", "", "empty the trace outputs", trace_clear},
    {"dump table", "", "trace the current table, to the terminal too", dump_table, true},
    {"dump records", "", "trace the stored hardware records, to the terminal too", dump_records, true},
    {"dump shows", "", "trace what 'show sw-table' and 'show policy' show, to the terminal too", dump_shows, true},
};

}  // namespace

std::span<const Command> trace_commands() {
  return kCommands;
}

}  // namespace app
