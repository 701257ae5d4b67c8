// SPDX-License-Identifier: Apache-2.0
// Lines of flows, read by the program and by the standard client, whose reading is the judge: what it takes is taken
// with the same meaning, or refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>

#include "agent/actions.h"
#include "app/syntax/flow_syntax.h"

namespace {

using host::services::Interfaces;
using Lines = std::vector<std::string>;

constexpr size_t kLines = 3000;

// One of several, none included, for each place of a line. All are OpenFlow 1.0's.
const std::vector<Lines> kPlaces = {
    {"", "priority=100", "priority=0x64", "priority=0144", "priority=7,priority=7", "table=0", "cookie=0x1f"},
    {"", "idle_timeout=5", "hard_timeout=010,idle_timeout=0", "send_flow_rem", "check_overlap",
     "n_packets=3, n_bytes=4", "duration=1.5s"},
    {"", "in_port=1", "in_port=048", "in_port=LOCAL", "in_port=*", "in_port_oxm=3", "in_port=0", "in_port=060",
     "in_port=65280", "in_port=1007"},
    {"", "dl_vlan=5", "dl_vlan=0xffff", "vlan_tci=0", "vlan_vid=0x1005", "dl_vlan=0x10,dl_vlan=16", "dl_vlan_pcp=3",
     "vlan_tci=0x3005", "vlan_tci=0x1005/0xffff", "vlan_tci=0x1fff/0x1fff", "dl_vlan=4095"},
    {"", "dl_src=00:1B:c3:4d:05:ff", "eth_src=00:00:00:00:00:01", "dl_dst=01:80:c2:00:00:0e", "eth_dst=*"},
    {"", "ip", "tcp", "udp", "icmp", "sctp", "arp", "rarp", "ipv6", "mpls", "mplsm", "dl_type=0x88cc", "eth_type=0x800",
     "ip,ip_proto=6", "tcp,ip", "dl_type=2048,nw_proto=0x11"},
    {"", "nw_src=10.1.2.3", "nw_src=10.1.2.3/20", "nw_src=10.1.2.3/010", "ip_src=10.0.0.1",
     "nw_dst=192.168.0.0/255.255.0.0", "ip_dst=*", "arp_spa=10.0.0.1", "arp_op=2"},
    {"", "nw_tos=32", "nw_tos=0xfc", "ip_dscp=10"},
    {"", "tp_src=80", "tp_dst=0x50", "tcp_dst=80", "udp_src=053", "icmp_type=3", "icmp_code=0x1", "sctp_dst=9"},
    {"actions=drop",
     "actions=normal",
     "action=1",
     "actions=output:1,2",
     "actions=output(3)",
     "actions=controller",
     "actions=CONTROLLER:128",
     "actions=controller()",
     "actions=controller(max_len=64)",
     "actions=1,controller",
     "actions=output:NORMAL",
     "actions=flood",
     "actions=in_port",
     "actions=mod_vlan_vid:5,1",
     "actions=strip_vlan,2",
     "actions=mod_nw_tos:32,1",
     "actions=enqueue:1:2",
     "actions=enqueue:IN_PORT:3",
     "actions=output=1,mod_vlan_vid=7,2",
     "actions=output:1 output:2",
     "actions = drop"},
};

std::string random_line(std::mt19937 &random) {
  std::string line;
  for (const Lines &place : kPlaces) {
    const std::string &item = place[random() % place.size()];
    line += item.empty() || line.empty() ? item : (random() % 2 == 0 ? "," : " ") + item;
  }
  return line;
}

std::string output_of(const std::string &command) {
  const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
  std::string output;
  char part[4096];
  while (const size_t count = std::fread(part, 1, sizeof part, pipe.get())) {
    output.append(part, count);
  }
  return output;
}

// What the client understood of a message that it would send, as a line again.
std::string as_line(const std::string &message) {
  std::string line = message.substr(message.find("ADD ") + 4);
  const std::pair<std::string, std::string> spellings[] = {
      {"cookie:", "cookie="}, {"idle:", "idle_timeout="}, {"hard:", "hard_timeout="}};
  for (const auto &[printed, written] : spellings) {
    if (const size_t at = line.find(printed); at != std::string::npos) {
      line.replace(at, printed.size(), written);
    }
  }
  return line;
}

// The client's reading of each line; empty if it refuses one.
Lines judged(const Lines &lines) {
  const std::string path = "dialect_test.flows";
  std::ofstream file(path);
  for (const std::string &line : lines) {
    file << line << '\n';
  }
  file.close();
  std::istringstream output(output_of("ovs-ofctl -O OpenFlow10 parse-flows " + path + " 2>/dev/null"));
  Lines readings;
  for (std::string line; std::getline(output, line);) {
    if (line.find("FLOW_MOD") != std::string::npos) {
      readings.push_back(as_line(line));
    }
  }
  return readings;
}

// A flow in full, or why it is refused.
struct Reading {
  bool taken;
  std::string text;
};

Reading reading_of(const std::string &line, const Interfaces &interfaces) {
  try {
    const agent::Flow flow = app::parse_flow(line, 0, app::FlowRole::Complete, interfaces);
    return {true,
            agent::concat(agent::priority_of(flow), " ", flow.cookie, " ", flow.idle_timeout, " ", flow.hard_timeout,
                          " ", flow.flags, " ", agent::to_text(flow.match), " ", agent::to_text(flow.actions))};
  } catch (const agent::TextError &error) {
    return {false, error.what()};
  }
}

// Where the client drops a field without the one that it needs, or lets the last of two stand, the program says so.
bool refused_as_unclear(const Reading &reading) {
  const auto says = [&](const char *what) { return reading.text.find(what) != std::string::npos; };
  return !reading.taken && (says(" needs ") || says(" contradicts "));
}

TEST(DialectTest, LinesMeanWhatTheStandardClientReads) {
  if (output_of("ovs-ofctl --version 2>/dev/null").empty()) {
    GTEST_SKIP() << "ovs-ofctl is not installed";
  }
  std::mt19937 random(20);
  Lines lines(kLines);
  std::ranges::generate(lines, [&] { return random_line(random); });
  const Lines readings = judged(lines);
  ASSERT_EQ(readings.size(), lines.size()) << "the client refuses " << lines[readings.size()];
  const Interfaces interfaces;
  size_t taken = 0;
  for (size_t i = 0; i < lines.size(); ++i) {
    SCOPED_TRACE(lines[i] + " is " + readings[i]);
    const Reading ours = reading_of(lines[i], interfaces);
    const Reading judge = reading_of(readings[i], interfaces);
    EXPECT_TRUE(ours.taken == judge.taken || refused_as_unclear(ours)) << ours.text;
    EXPECT_TRUE(!ours.taken || ours.text == judge.text) << ours.text << " is not " << judge.text;
    taken += ours.taken ? 1 : 0;
  }
  EXPECT_GT(taken, kLines / 20);
}

}  // namespace
