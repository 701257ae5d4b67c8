// SPDX-License-Identifier: Apache-2.0
// Commands that send packets into the switch.
#include <algorithm>
#include <filesystem>
#include <iomanip>

#include "agent/fields.h"
#include "agent/interface_names.h"
#include "app/commands/command.h"
#include "app/commands/packets.h"
#include "app/syntax/capture.h"
#include "app/syntax/packet_syntax.h"
#include "app/terminal/signals.h"
#include "app/views/fate.h"
#include "app/views/traffic_summary.h"

namespace app {

using namespace agent;

namespace {

void print_fate(Session &session, const Packet &packet, const host::asic::Fate &fate) {
  const bool for_cpu = session.agent.packets().is_for_cpu(fate);
  *session.out << to_text(packet.header) << ": matched " << match_text(fate) << ": "
               << (for_cpu ? cpu_text(session.agent.flows(), packet) : destination_text(fate)) << '\n';
}

// Into an interface; what the hardware copies to the CPU is reported to the controllers.
host::asic::Fate enter(Session &session, uint32_t ifindex, const CapturedPacket &packet) {
  host::asic::Fate fate = session.device.inject(ifindex, packet.header);
  if (fate.cpu_code) {
    session.agent.packets().punt_aside({ifindex, packet.header}, packet.frame, fate);
  }
  return fate;
}

void send_described(Session &session, const Arguments &arguments) {
  const Packet packet = parse_packet(arguments.line(), arguments.start(), session.device.interfaces());
  const host::asic::Fate fate =
      enter(session, packet.ifindex, {packet.header, host::asic::compose_frame(packet.header)});
  print_fate(session, packet, fate);
}

// How many of the packets entered before Ctrl-C.
size_t send_all(Session &session, uint32_t ifindex, const std::vector<CapturedPacket> &packets, bool verbose,
                TrafficSummary &summary) {
  size_t number = 0;
  for (const CapturedPacket &packet : packets) {
    if (interrupted()) {
      break;
    }
    const host::asic::Fate fate = enter(session, ifindex, packet);
    summary.add(packet.header, fate, session.agent.packets().is_for_cpu(fate));
    ++number;
    if (verbose) {
      *session.out << std::setw(6) << number << "  ";
      print_fate(session, {ifindex, packet.header}, fate);
    }
  }
  return number;
}

void warn_of_cut(Session &session, const std::vector<CapturedPacket> &packets) {
  const auto cut = std::ranges::count_if(packets, [](const auto &each) { return each.header.cut; });
  if (cut != 0) {
    *session.out << session.style.bad(concat(cut, " of ", counted(packets.size(), "packet"),
                                             " are cut short in the capture and lack fields that flows compare: "
                                             "those are taken as 0"))
                 << '\n';
  }
}

void send_capture(Session &session, Arguments &arguments) {
  const std::string path = next_file(session, arguments);
  const Word port = arguments.take_option("in_port").value_or(Word{"1", 1});
  const bool verbose = arguments.take_flag("-v");
  arguments.finish();
  const uint32_t ifindex = interface_named(port, session.device.interfaces());
  const std::vector<CapturedPacket> packets = captured_packets(path);
  TrafficSummary summary;
  const size_t sent = send_all(session, ifindex, packets, verbose, summary);
  *session.out << '\n'
               << session.style.heading(
                      concat(counted(sent, "packet"), " of ", escaped(path), " into ", interface_name(ifindex)))
               << '\n';
  warn_of_cut(session, packets);
  summary.print(*session.out, session.style, session.device, session.agent.flows());
  if (sent < packets.size()) {
    throw Interrupted(concat(sent, " of ", counted(packets.size(), "packet"), " were sent"));
  }
}

void send(Session &session, Arguments &arguments) {
  if (!arguments.empty() && is_description(arguments.first().text)) {
    send_described(session, arguments);
  } else {
    require_packet(arguments);
    send_capture(session, arguments);
  }
}

constexpr Command kCommands[] = {
    {"packet", "CAPTURE [in_port=PORT] [-v] | DESCRIPTION",
     "send the packets of a pcap file, or one described packet\n"
     "A capture enters on port 1 unless in_port says otherwise; -v shows every packet.\n"
     "Controllers get what the hardware copies to the CPU.\n"
     "DESCRIPTION has the fields of a flow and len=N: in_port=3,dl_vlan=110,tcp,nw_dst=10.0.0.1,tp_dst=80,len=1500",
     send, true},
};

}  // namespace

bool is_description(std::string_view word) {
  const std::string_view first = word.substr(0, word.find(','));
  return first.find('=') != std::string_view::npos || shorthand_named(first) != nullptr;
}

void require_packet(const Arguments &arguments) {
  if (arguments.empty()) {
    throw TextError(arguments.line().size() + 1, "a capture, or the description of a packet, is missing");
  }
}

std::vector<CapturedPacket> captured_packets(const std::string &path, size_t most) {
  if (path != "-" && !std::filesystem::exists(path)) {
    throw CommandError(path +
                       ": No such file or directory; a packet is one of a capture, or described by its fields: "
                       "in_port=3,tcp,nw_dst=10.0.0.1");
  }
  return read_capture(path, most);
}

std::span<const Command> packet_commands() {
  return kCommands;
}

}  // namespace app
