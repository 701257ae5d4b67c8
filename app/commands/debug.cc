// SPDX-License-Identifier: Apache-2.0
// The library's own debug commands and its direct TCAM writers.
#include <algorithm>
#include <span>
#include <vector>

#include "agent/status.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/terminal/trace_console.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

// What the library's entry point begins with, and stops the whole program over when it fails.
void initialise() {
  if (oftab_init() != OFTAB_OK) {
    throw CommandError("the library could not be initialised");
  }
}

void boot(Session &session, Arguments &arguments) {
  arguments.finish();
  if (oftab_hw_rsrc_g.initialized != 0) {
    throw CommandError("the library is initialised already");
  }
  initialise();
  session.device.boot();
}

// The library runs nothing for another number.
constexpr uint32_t kDebugCommands[] = {101, 102, 103, 104, 105, 107, 108, 109};

uint32_t next_debug_command(Arguments &arguments) {
  const Word word = arguments.next("the number of a debug command");
  const auto number = read_number(word.text);
  if (!number || std::ranges::find(kDebugCommands, *number) == std::end(kDebugCommands)) {
    throw TextError(word.column, concat("debug commands are 101 to 105 and 107 to 109, not ", quoted(word)));
  }
  return static_cast<uint32_t>(*number);
}

void run_debug_command(Session &session, Arguments &arguments) {
  const uint32_t number = next_debug_command(arguments);
  arguments.finish();
  initialise();
  const FullConsole console(session);
  oftab_main(number);
}

// `write` changes records from `first` to `last`: the audit is to know what does not come from the table.
template <typename Write>
int32_t write_directly(Session &session, uint32_t first, uint32_t last, Write write) {
  const auto records = std::span(session.device.asic().tcam().records()).subspan(first, last - first + 1);
  const std::vector<host::asic::Record> before(records.begin(), records.end());
  const int32_t status = write();
  for (size_t i = 0; i < records.size(); ++i) {
    if (records[i] != before[i]) {
      session.audit_exceptions.written[static_cast<uint16_t>(first + i)] = records[i];
    }
  }
  return status;
}

void run_multicast_scenario(Session &session, Arguments &arguments) {
  const auto vlan = static_cast<int>(arguments.next_number(0, INT32_MAX, "a VLAN"));
  arguments.finish();
  const auto scenario = [=] { return oftab_debug_test(vlan); };
  if (const int32_t status = write_directly(session, 0, OFTAB_CATCH_ALL_INDEX, scenario); status != OFTAB_OK) {
    throw CommandError(concat("multicast scenario: ", status_text(Operation::Write, status)));
  }
  *session.out << "the multicast scenario stands at every TCAM index\n";
}

// Writes a range of TCAM indices behind the table's back.
void write_range(Session &session, Arguments &arguments, int32_t (*write)(uint32_t, uint32_t)) {
  const auto first = static_cast<uint32_t>(arguments.next_number(0, OFTAB_CATCH_ALL_INDEX, "a TCAM index"));
  const auto last = static_cast<uint32_t>(arguments.next_number(first, OFTAB_CATCH_ALL_INDEX, "the last TCAM index"));
  arguments.finish();
  const auto range = [=] { return write(first, last); };
  if (const int32_t status = write_directly(session, first, last, range); status != OFTAB_OK) {
    throw CommandError(concat("writing: ", status_text(Operation::Write, status)));
  }
  *session.out << "written\n";
}

void write_catch_all(Session &session, Arguments &arguments) {
  write_range(session, arguments, oftab_install_catch_all);
}

void write_nothing(Session &session, Arguments &arguments) {
  write_range(session, arguments, oftab_clear_catch_all);
}

void write_global(Session &session, Arguments &arguments) {
  write_range(session, arguments, oftab_install_global_entry);
}

constexpr Command kCommands[] = {
    {"boot", "", "initialise the library, if the program was started with --no-boot", boot},
    {"debug", "NUMBER",
     "run one of the library's debug commands, with its trace\n"
     "101 generates an add request; 102, 107 and 108 delete requests; 103 and 109 interface requests; none is\n"
     "submitted. 104 compacts the table, 105 checks it.",
     run_debug_command, true},
    {"debug-test", "VLAN", "write the multicast scenario to the whole TCAM, behind the table's back",
     run_multicast_scenario},
    {"write catch-all", "FIRST LAST", "write deny-all records, behind the table's back", write_catch_all},
    {"write clear", "FIRST LAST", "invalidate records, behind the table's back", write_nothing},
    {"write global", "FIRST LAST", "write the global test record, behind the table's back", write_global},
};

}  // namespace

std::span<const Command> debug_commands() {
  return kCommands;
}

}  // namespace app
