// SPDX-License-Identifier: Apache-2.0
// Commands that answer why: why a packet goes where it goes, which flows never match, which are not used.
#include <algorithm>

#include "agent/flow.h"
#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "app/commands/command.h"
#include "app/commands/command_error.h"
#include "app/commands/packets.h"
#include "app/syntax/capture.h"
#include "app/syntax/packet_syntax.h"
#include "app/terminal/signals.h"
#include "app/views/explanation.h"
#include "app/views/fate.h"

namespace app {

using namespace agent;

namespace {

Explanation explanation_of_captured(Session &session, Arguments &arguments) {
  const std::string path = next_file(session, arguments);
  const Word port = arguments.take_option("in_port").value_or(Word{"1", 1});
  const Word wanted = arguments.next("a packet of the capture");
  arguments.finish();
  const size_t number = number_in(wanted, 1, SIZE_MAX, "a packet of the capture");
  const std::vector<CapturedPacket> packets = captured_packets(path, number);
  if (packets.empty()) {
    throw CommandError(path + " has no packets");
  }
  number_in(wanted, 1, packets.size(), "a packet of the capture");
  return {session.device, interface_named(port, session.device.interfaces()), packets[number - 1].header};
}

Explanation read_explanation(Session &session, Arguments &arguments) {
  require_packet(arguments);
  if (!is_description(arguments.first().text)) {
    return explanation_of_captured(session, arguments);
  }
  const auto packet = parse_packet(arguments.line(), arguments.start(), session.device.interfaces());
  return {session.device, packet.ifindex, packet.header};
}

// What the CPU does with a packet that the hardware brings to it.
void print_cpu(Session &session, const Explanation &explanation) {
  if (const auto fate = explanation.fate(); fate && session.agent.packets().is_for_cpu(*fate)) {
    *session.out << "  " << cpu_text(session.agent.flows(), explanation.packet()) << '\n';
  }
}

void explain(Session &session, Arguments &arguments) {
  const Explanation explanation = read_explanation(session, arguments);
  explanation.print_all(*session.out, session.style);
  print_cpu(session, explanation);
}

void explain_all(Session &session, Arguments &arguments) {
  const Explanation explanation = read_explanation(session, arguments);
  explanation.print_classes(*session.out, session.style);
  print_cpu(session, explanation);
}

// The first of the flows before `flow` that takes all its packets; null if none does.
const InstalledFlow *cover_of(std::span<const InstalledFlow> before, const InstalledFlow &flow) {
  const auto cover = std::ranges::find_if(
      before, [&flow](const InstalledFlow &each) { return covers(each.flow.match, flow.flow.match); });
  return cover == before.end() ? nullptr : &*cover;
}

void list_shadowed(Session &session, Arguments &arguments) {
  arguments.finish();
  const std::vector<InstalledFlow> flows = installed_flows(session.device, session.agent.flows());
  Table table(
      {{"Index", Column::Right}, {"Seq", Column::Right}, {"Match"}, {"Covered by", Column::Right}, {"Its match"}});
  size_t shadowed = 0;
  for (size_t i = 0; i < flows.size() && !interrupted(); ++i) {
    if (const InstalledFlow *cover = cover_of(std::span(flows).first(i), flows[i])) {
      ++shadowed;
      table.add({std::to_string(flows[i].index), std::to_string(*flows[i].flow.seq_no), to_text(flows[i].flow.match),
                 std::to_string(*cover->flow.seq_no), to_text(cover->flow.match)});
    }
  }
  if (interrupted()) {
    throw Interrupted("nothing was listed");
  }
  if (shadowed != 0) {
    table.print(*session.out, session.style);
  }
  *session.out << counted(shadowed, "flow") << " can never match\n";
}

void list_unused(Session &session, Arguments &arguments) {
  arguments.finish();
  std::vector<InstalledFlow> flows = installed_flows(session.device, session.agent.flows());
  std::erase_if(flows, [](const InstalledFlow &each) { return each.packets != 0; });
  Table table({{"Index", Column::Right}, {"Seq", Column::Right}, {"Priority", Column::Right}, {"Match"}});
  for (const InstalledFlow &each : flows) {
    table.add({std::to_string(each.index), std::to_string(*each.flow.seq_no), std::to_string(priority_of(each.flow)),
               to_text(each.flow.match)});
  }
  if (!flows.empty()) {
    table.print(*session.out, session.style);
  }
  *session.out << counted(flows.size(), "flow") << " without packets, as of the last collection\n";
}

constexpr Command kCommands[] = {
    {"explain", "CAPTURE N [in_port=PORT] | DESCRIPTION",
     "say why a packet, of a capture or described, goes where it goes\n"
     "Each record that it is compared with, in order, with the first field in which they differ: the packet's value,\n"
     "then the value and mask that the record wants. Then what the record that matches does. Nothing is counted.",
     explain, true},
    {"explain all", "CAPTURE N [in_port=PORT] | DESCRIPTION",
     "the same with one line for all records that differ in the same field first", explain_all, true},
    {"shadowed", "", "list the flows that can never match, with the flow that covers each", list_shadowed, true},
    {"unused", "", "list the flows that have counted no packets", list_unused, true},
};

}  // namespace

std::span<const Command> answer_commands() {
  return kCommands;
}

}  // namespace app
