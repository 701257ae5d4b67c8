// SPDX-License-Identifier: Apache-2.0
// What lines of text become: flows the message that the library receives, everything unusable a complaint at its
// column.
#include "app/syntax/flow_syntax.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "agent/requests.h"
#include "app/syntax/packet_syntax.h"
#include "tests/support/messages.h"

namespace {

using app::FlowRole;
using host::services::Interfaces;
using test::controller;
using test::copied;
using test::deny;
using test::output;

constexpr test::Mac kAllOnes = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};

// Ports 1 to 48 and pc2.
const Interfaces &interfaces() {
  static Interfaces all;
  if (!all.exists(test::port_channel(2))) {
    all.create_pc(test::port_channel(2));
  }
  return all;
}

struct FlowLine {
  std::string line;
  test::Flow flow;
};

const FlowLine kFlowLines[] = {
    {"actions=normal", {.seq_no = 0, .priority = 32768}},
    {"seq=7 , priority=0x64,\tactions=drop # in_port=1", {.seq_no = 7, .action = deny()}},
    {"seq=4294967295,priority=65535,in_port=48,actions=output:2,output:Eth1/1",
     {.seq_no = 0xffffffff,
      .priority = 65535,
      .value = {.ifindex = 0x1a02f000},
      .mask = {.ifindex = 0xffffffff},
      .action = output({0x1a001000, 0x1a000000})}},
    {"priority=100,seq=1,in_port=pc2,actions=controller,output:port-channel2",
     {.value = {.ifindex = 0x16000002}, .mask = {.ifindex = 0xffffffff}, .action = copied(output({0x16000002}))}},
    {"seq=1,priority=100,dl_src=00:1B:c3:4d:05:ff,dl_dst=01:80:c2:00:00:0e/ff:ff:ff:00:00:00,actions=normal,controller",
     {.value = {.mac_sa = {0x00, 0x1b, 0xc3, 0x4d, 0x05, 0xff}, .mac_da = {0x01, 0x80, 0xc2, 0, 0, 0}},
      .mask = {.mac_sa = kAllOnes, .mac_da = {0xff, 0xff, 0xff, 0, 0, 0}},
      .action = copied({})}},
    {"seq=1,priority=100,dl_type=0x88cc,dl_vlan=4094,actions=controller(app=7)",
     {.value = {.ethertype = 0x88cc, .vlan = 4094},
      .mask = {.ethertype = 0xffff, .vlan = 0xffff},
      .action = controller(7)}},
    {"seq=1,priority=100,vlan_tci=0,actions=drop",
     {.value = {.vlan = 0xffff}, .mask = {.vlan = 0xffff}, .action = deny()}},
    {"seq=1,priority=100,arp,vlan_vid=0x1001/0x1fff,actions=drop,controller(max_len=128,app=2)",
     {.value = {.ethertype = 0x0806, .vlan = 1},
      .mask = {.ethertype = 0xffff, .vlan = 0xffff},
      .action = controller(2)}},
    {"seq=1,priority=100,ip,nw_src=10.1.2.255/20,nw_dst=1.2.3.4/255.0.0.255,nw_proto=89,nw_tos=252,actions=drop",
     {.value = {.ethertype = 0x0800, .ip_sa = 0x0a010000, .ip_da = 0x01000004, .tos = 0xfc, .protocol = 89},
      .mask = {.ethertype = 0xffff, .ip_sa = 0xfffff000, .ip_da = 0xff0000ff, .tos = 0xfc, .protocol = 0xff},
      .action = deny()}},
    {"seq=1,priority=100,tcp,nw_src=10.0.0.1/0,nw_dst=10.0.0.1,tp_src=0x1234/0xff00,tp_dst=80,actions=drop",
     {.value = {.ethertype = 0x0800, .ip_da = 0x0a000001, .protocol = 6, .sport = 0x1200, .dport = 80},
      .mask = {.ethertype = 0xffff, .ip_da = 0xffffffff, .protocol = 0xff, .sport = 0xff00, .dport = 0xffff},
      .action = deny()}},
    {"seq=1,priority=100,icmp,icmp_type=3,icmp_code=1/0x0f,actions=drop",
     {.value = {.ethertype = 0x0800, .protocol = 1, .sport = 3, .dport = 1},
      .mask = {.ethertype = 0xffff, .protocol = 0xff, .sport = 0xffff, .dport = 0x000f},
      .action = deny()}},
};

// A flow's context is its sequence number, and a flow that asks for no controller names application 1.
test::Bytes message_of(test::Flow flow) {
  flow.action.app_id = std::max(flow.action.app_id, 1U);
  test::Bytes message = test::add({flow});
  std::copy_n(message.begin() + 8 + offsetof(oftab_flow_t, seq_no), 4,
              message.begin() + 8 + offsetof(oftab_flow_t, context));
  return message;
}

TEST(FlowSyntaxTest, FlowLinesBecomeMessages) {
  for (const FlowLine &row : kFlowLines) {
    SCOPED_TRACE(row.line);
    const agent::Flow flow = app::parse_flow(row.line, 0, FlowRole::Complete, interfaces());
    EXPECT_EQ(test::hex(agent::flow_request(OFTAB_ENTRY_ADD, flow)), test::hex(message_of(row.flow)));
  }
}

struct BadLine {
  std::string line;
  size_t column;
  std::string message;
};

void expect_refused(const std::vector<BadLine> &rows, const std::function<void(const std::string &)> &parse) {
  for (const BadLine &row : rows) {
    SCOPED_TRACE(row.line);
    try {
      parse(row.line);
      ADD_FAILURE() << "taken";
    } catch (const agent::TextError &error) {
      EXPECT_EQ(error.column(), row.column);
      EXPECT_EQ(error.what(), row.message);
    }
  }
}

TEST(FlowSyntaxTest, BadFlowLinesAreRefusedAtTheirColumn) {
  const std::vector<BadLine> rows = {
      {"tcp # actions=drop", 4, "actions are missing: actions=drop, normal, output:PORT or controller"},
      {"actions", 1, "'actions' needs a value"},
      {"actions=drop,tp_dst=80", 14, "actions come last in a flow"},
      {"actions=drop,output:1", 9, "a flow that drops packets sends them nowhere but to the controller"},
      {"actions=drop,mod_vlan_vid:1", 9, "a flow that drops packets sends them nowhere but to the controller"},
      {"actions=output:Eth1/49", 21, "a port is a number from 1 to 48, not '49'"},
      {"actions=output:pc3", 16, "pc3 does not exist"},
      {"actions=output:-1", 16, "a port is a number from 1 to 48, not '-1'"},
      {"actions=1,ouput:2", 11, "OpenFlow 1.0 has no action 'ouput'; did you mean 'output'?"},
      {"actions=mod_nw_tos:6", 20, "flows set the upper six bits of a type of service, and '6' has others set"},
      {"ip,nw_tos=3,actions=1", 11, "flows compare the upper six bits of nw_tos, and '3' has others set"},
      {"priorty=1,actions=drop", 1, "unknown field 'priorty'; did you mean 'priority'?"},
      {"actions=output:pc4096", 18, "a port channel is a number from 1 to 4095, not '4096'"},
      {"actions=controller(app=0)", 24, "an application is a number from 1 to 7, not '0'"},
      {"actions=controller(id=3)", 20, "OpenFlow 1.0 has no 'id' for the controller"},
      {"actions=controller(pause)", 20, "OpenFlow 1.0 has no 'pause' for the controller"},
      {"actions=1,flood:2", 17, "'flood' takes no argument"},
      {"icmp,icmp_type=8/0xfff,actions=drop", 18, "an ICMP type or code's mask is a number from 0 to 255, not '0xfff'"},
      {"vlan_tci=5,actions=drop", 10,
       "OpenFlow 1.0 matches a whole tag, 0x1000 and above, its id with mask 0x1fff, or none at all, 0"},
      {"actions=output(1", 15, "the closing parenthesis is missing"},
      {"actions=1,resubmit(,1)", 11, "OpenFlow 1.0 has no action 'resubmit'"},
      {"priority=1,priority=2,actions=drop", 12, "'priority' is given twice, with different values"},
      {"in_port,actions=drop", 1, "'in_port' needs a value"},
      {"tcp,udp,actions=drop", 5, "'udp' contradicts 'tcp' at column 1"},
      {"dl_src=00:11:22:33:44,actions=drop", 8, "a MAC address has the form 00:11:22:33:44:55, not '00:11:22:33:44'"},
      {"dl_vlan=65536,actions=drop", 9, "dl_vlan is a number from 0 to 65535, not '65536'"},
      {"in_port=65536,actions=drop", 9, "a port is a number from 0 to 65535, not '65536'"},
      {"ip,nw_src=10.0.0.256,actions=drop", 11, "an IPv4 address has the form 10.0.0.1, not '10.0.0.256'"},
      {"ip,nw_dst=10.0.0.0/33,actions=drop", 20, "a prefix length is a number from 0 to 32, not '33'"},
      {"nw_proto=6,actions=drop", 1, "'nw_proto' needs IPv4 or ARP: ip, tcp, udp, icmp, arp or dl_type=0x0800"},
      {"tcp,icmp_type=1,actions=drop", 5, "'icmp_type' needs icmp"},
      {"icmp,tp_dst=256,actions=drop", 6, "an ICMP type or code is a number from 0 to 255"},
      {"ip,nw_ttl=1,actions=drop", 4, "OpenFlow 1.0 cannot match 'nw_ttl'"},
      {"xreg0=1,actions=drop", 1, "OpenFlow 1.0 cannot match 'xreg0'"},
      {"regal=1,actions=drop", 1, "unknown field 'regal'"},
      {"vlan_vid=0x1000/0x1000,actions=drop", 17,
       "the hardware matches the whole of a VLAN id: vlan_vid's mask is 0x1fff"},
      {"table=1,actions=drop", 7, "the switch has one table, 0, not 1"},
      {"  tcp,\tcolour=red,actions=drop", 8, "unknown field 'colour'"},
  };
  expect_refused(rows, [](const std::string &line) { app::parse_flow(line, 0, FlowRole::Complete, interfaces()); });
}

TEST(FlowSyntaxTest, BadPacketDescriptionsAreRefusedAtTheirColumn) {
  const std::vector<BadLine> rows = {
      {"in_port=1,len=13", 15, "a length is a number from 14 to 65535, not '13'"},
      {"in_port=60", 9, "a port is a number from 1 to 48, not '60'"},
      {"in_port=1009", 9, "pc9 does not exist"},
      {"dl_vlan=4660", 9, "dl_vlan is a number from 0 to 4095, not '4660'"},
      {"tcp,nw_dst=10.0.0.0/8", 12, "a packet has one value in each field: no mask"},
      {"arp,in_port=controller", 13, "a packet comes in on a port or a port channel, not 'controller'"},
      {"tcp,actions=drop", 5, "unknown field 'actions'"},
  };
  expect_refused(rows, [](const std::string &line) { app::parse_packet(line, 0, interfaces()); });
}

}  // namespace
