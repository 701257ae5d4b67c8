// SPDX-License-Identifier: Apache-2.0
// OpenFlow sessions, byte by byte: what a peer sends, and what it gets for it.
#include <algorithm>

#include "agent/text.h"
#include "tests/support/ears.h"
#include "tests/support/rig.h"

namespace agent::openflow {
namespace {

// Octets written in hexadecimal; spaces do not count. "xN" behind a pair repeats it.
Bytes octets(const std::string &text) {
  Bytes bytes;
  for (size_t at = 0; at < text.size();) {
    if (text[at] == ' ') {
      ++at;
    } else if (text[at] == 'x') {
      size_t length = 0;
      bytes.insert(bytes.end(), std::stoul(text.substr(at + 1), &length) - 1, bytes.back());
      at += 1 + length;
    } else {
      bytes.push_back(static_cast<uint8_t>(std::stoul(text.substr(at, 2), nullptr, 16)));
      at += 2;
    }
  }
  return bytes;
}

const std::string kHello = "01000008 00000000";

const std::string kFlowMod = "010e";

// Parts of flow-mods: a match of nothing, of TCP to 10.0.0.0/8, and what follows a match up to the actions.
const std::string kAny = "003fffff 00x36 ";
const std::string kTcp = "003620cf 00x18 0800 00 06 0000 00000000 0a000000 00000000 ";
const std::string kExactTcp =
    "00000000 0003 0000000000aa 0000000000bb ffff 00 00 0800 00 06 0000 0a000001 0a000002 0050 0051 ";
// Behind the wildcards: SCTP to 10.0.0.0/8, up to the transport ports.
const std::string kSctpFrom = "00x18 0800 00 84 0000 00000000 0a000000 ";
// A TCP segment of an Ethernet frame, and what the actions that change packets make of it behind the tag.
const std::string kSegment =
    "0800 452d002b000100004006659e 0a000001 0aff0002 0401 0050 0000000000000000 50022000 a3280000 6f6464 ";
const std::string kChangedSegment =
    "0800 45b9002b000100004006b464 01020304 c0a80101 0201 1f90 0000000000000000 50022000 d53a0000 6f6464 ";
const std::string kAdd = "00000000000000c0 0000 0000 0000 8000 ffffffff ffff 0000 ";

struct Exchange {
  const char *name;
  std::string sent;
  std::string answered;
  bool ends = false;
  bool established = true;
  std::string hello = kHello;  // before what is sent, and before what is answered
};

class OpenFlowSession : public test::SwitchTest {
 protected:
  // What a session answers to bytes that arrive in pieces of a size.
  std::string answer_to(const Bytes &bytes, size_t piece) {
    for (size_t at = 0; at < bytes.size(); at += piece) {
      session_.receive(ByteView(bytes).subspan(at, std::min(piece, bytes.size() - at)));
    }
    return taken();
  }
  std::string taken() {
    Bytes all;
    for (Bytes part = session_.take_output(); !part.empty(); part = session_.take_output()) {
      append(all, ByteView(part));
      session_.output_left();
    }
    return test::hex(all);
  }

  Agent agent_{sw};
  const Identity identity_{.datapath_id = 0xda7a, .software = "1.2"};
  std::vector<std::string> logged_;
  Session session_{agent_, identity_, [this](std::string_view line) { logged_.emplace_back(line); }};
  Ears ears_{agent_, session_};
};

class OpenFlowExchange : public OpenFlowSession, public testing::WithParamInterface<Exchange> {
 protected:
  void exchange(size_t piece) {
    agent_.set_miss(HardwareActions::Kind::Controller);
    const Exchange &row = GetParam();
    if (!row.hello.empty()) {
      session_.begin();
    }
    EXPECT_EQ(answer_to(octets(row.hello + row.sent), piece), test::hex(octets(row.hello + row.answered)));
    EXPECT_EQ(session_.ended(), row.ends);
    EXPECT_EQ(session_.established(), row.established);
  }
};

TEST_P(OpenFlowExchange, OfMessagesAtOnce) {
  exchange(65536);
}

TEST_P(OpenFlowExchange, OfSingleOctets) {
  exchange(1);
}

const Exchange kExchanges[] = {
    {"Echo", "0102000c 0000002a 61626364", "0103000c 0000002a 61626364"},
    {"HelloAgain", "01000008 00000005 0102000800000006", "01030008 00000006"},
    {"LengthBelowHeader", "01020007 00000007 0102000800000008", "01010014 00000007 0001 0006 0102000700000007", true},
    {"Config", "0109000c 00000001 0000 0000 01070008 00000002", "0108000c 00000002 0000 0000"},
    {"DefaultConfig", "01070008 00000002", "0108000c 00000002 0000 0080"},
    {"Barrier", "01120008 00000009", "01130008 00000009"},
    {"PortStatisticsOfNoPort", "01100014 00000007 0004 0000 0031 000000000000", "0111000c 00000007 0004 0000"},
    {"PortStatistics", "01100014 00000007 0004 0000 0030 000000000000",
     "01110074 00000007 0004 0000 0030 000000000000 00x64 ffx8 00x8 ffx16"},
    {"QueueStatisticsOfAll", "01100014 00000007 0005 0000 fffc 0000 ffffffff", "0111000c 00000007 0005 0000"},
    {"QueueConfig", "0114000c 00000007 0001 0000", "01150010 00000007 0001 000000000000"},
    {"TableStatistics", "0110000c 00000007 0003 0000",
     "0111004c 00000007 0003 0000 00 000000 7463616d 00x28 003fffff 00000fff 00000000 0000000000000000"
     "0000000000000000"},

    {"FlowReadBack",
     "010e0058 00000001" + kTcp + kAdd + "0000 0008 0002 ffff 0000 0008 03e9 ffff" +
         "01100038 00000002 0001 0000 003fffff 00x36 ff 00 ffff",
     // There is no port channel 1.
     "0101004c 00000001 0002 0004 010e005800000001" + kTcp + "00000000000000c0 0000 0000 0000 8000" +
         "0111000c 00000002 0001 0000"},
    {"FlowReadBackWhole",
     "010e0058 00000001" + kTcp + "00000000000000c0 0000 000a 0014 8001 ffffffff ffff 0000" +
         "0000 0008 0002 ffff 0000 0008 fffd 0040 01100038 00000002 0001 0000 003fffff 00x36 00 00 0002",
     "01110074 00000002 0001 0000 0068 00 00" + kTcp +
         "00000000 00000000 8001 000a 0014 000000000000 00000000000000c0 0000000000000000 0000000000000000"
         "0000 0008 0002 ffff 0000 0008 fffd 0040"},
    {"FlowWithoutWildcardsOfUntaggedFrames",
     "010e0048 00000001" + kExactTcp + kAdd + "01100038 00000002 0001 0000 003fffff 00x36 00 00 ffff",
     "01110064 00000002 0001 0000 0058 00 00" + kExactTcp +
         "00000000 00000000 8000 0000 0000 000000000000 00000000000000c0 0000000000000000 0000000000000000"},
    {"PortsOfSctpAreIgnored",
     "010e0048 00000001 0036204f" + kSctpFrom + "0000 0050" + kAdd +
         "01100038 00000002 0001 0000 003fffff 00x36 00 00 ffff",
     "01110064 00000002 0001 0000 0058 00 00 003620cf" + kSctpFrom + "00000000" +
         "00000000 00000000 8000 0000 0000 000000000000 00000000000000c0 0000000000000000 0000000000000000"},
    {"FlowOfTagsWithoutVlan",
     "010e0050 00000001 003ffffd 00x36 " + kAdd + "0000 0008 fffd ffff" +
         "010d002a 00000007 ffffffff 0003 0008 0000 0008 fff9 0000 ffx6 0000000000aa 8100 2000 88cc" +
         "010d0026 00000007 ffffffff 0003 0008 0000 0008 fff9 0000 ffx6 0000000000aa 88cc",
     "010a0024 00000000 00000100 0012 0003 01 00 ffx6 0000000000aa 8100 2000 88cc"
     "010a0020 00000000 00000101 000e 0003 00 00 ffx6 0000000000aa 88cc"},
    {"ChangedPackets",
     "010d00a9 00000007 ffffffff 0003 0060 0001 0008 0ffe 0000 0002 0008 05 000000 0004 0010 0a0b0c0d0e0f 00x6 "
     "0005 0010 ffx6 00x6 0006 0008 01020304 0007 0008 c0a80101 0008 0008 b8 000000 0009 0008 0201 0000"
     "000a 0008 1f90 0000 0000 0008 fffd ffff 020000000001 020000000002" +
         kSegment +
         "010d005d 00000007 ffffffff 0003 0010 0003 0008 00000000 0000 0008 fffd ffff ffx6 0a0b0c0d0e0f 8100 affe" +
         kChangedSegment,
     "010a004f 00000000 00000100 003d 0003 01 00 ffx6 0a0b0c0d0e0f 8100 affe" + kChangedSegment +
         "010a004b 00000000 00000101 0039 0003 01 00 ffx6 0a0b0c0d0e0f" + kChangedSegment},
    {"FlowsOfAnotherTable",
     "010e0048 00000001" + kAny + kAdd + "01100038 00000002 0002 0000 003fffff 00x36 01 00 ffff" +
         "01100038 00000003 0002 0000 003fffff 00x36 00 00 ffff",
     "01110024 00000002 0002 0000 00x16 00000000 00000000 01110024 00000003 0002 0000 00x16 00000001 00000000"},
    {"RemovedFlow",
     "010e0048 00000001" + kTcp + "00000000000000c0 0000 0005 0000 8000 ffffffff ffff 0001" + "010e0048 00000002" +
         kAny + "0000000000000000 0003 0000 0000 0000 ffffffff ffff 0000",
     "010b0058 00000000" + kTcp + "00000000000000c0 8000 02 00 00000000 00000000 0005 0000" +
         "0000000000000000 0000000000000000"},
    {"ErrorsInOrderBeforeTheBarrier",
     "010e0050 00000001" + kAny + kAdd + "000c 0008 00000000" + "010e0048 00000002" + kAny + kAdd +
         "010e0048 00000003" + kAny + "00000000000000c0 0005 0000 0000 8000 ffffffff ffff 0000" + "01120008 00000004",
     "0101004c 00000001 0002 0000 010e005000000001" + kAny + "00000000000000c0 0000 0000 0000 8000" +
         "0101004c 00000003 0003 0004 010e004800000003" + kAny + "00000000000000c0 0005 0000 0000 8000" +
         "01130008 00000004"},
    {"PortMod", "010f0020 00000007 0002 020000010002 0000003f 00000030 00000000 00000000",
     "010c0040 00000000 02 00000000000000 0002 020000010002 457468312f32 00x10 00000030 00000000 00000140 00000000"
     "00000140 00000000"},
    {"ErrorCutShort", "01010009 00000007 00 01120008 00000008", "01130008 00000008"},
    {"MissedPacket", "010d0026 00000007 ffffffff 0003 0008 0000 0008 fff9 0000 ffx6 0000000000aa 88cc",
     "010a0020 00000000 00000100 000e 0003 00 00 ffx6 0000000000aa 88cc"},
    {"MissedPacketCutToNothing",
     "0109000c 00000001 0000 0000 010d0026 00000007 ffffffff 0003 0008 0000 0008 fff9 0000 ffx6 0000000000aa 88cc",
     "010a0012 00000000 00000100 000e 0003 00 00"},

    {"HigherVersionWithBody", "06000010 00000003 00010008 00000072", "", false, true, ""},
    {"LowerVersion", "00000008 00000003",
     "0101003a 00000003 0000 0000 7468697320737769746368 20 737065616b73 20 4f70656e466c6f77 20 312e30 20"
     "2876657273696f6e 20 3078303129",
     true, false, ""},
    {"EchoBeforeHello", "01020008 00000003", "01030008 00000003", false, false, ""},
    {"FeaturesBeforeHello", "01050008 00000003", "", true, false, ""},
    {"PeerRefuses", "0101000c 00000001 0000 0000", "", true, false, ""},
};

INSTANTIATE_TEST_SUITE_P(Of, OpenFlowExchange, testing::ValuesIn(kExchanges), test::case_name);

// A request that is wrong in one place.
struct Refused {
  const char *name;
  std::string version_and_type;
  std::string body;
  std::string error;  // type and code
};

class OpenFlowRefusal : public OpenFlowSession, public testing::WithParamInterface<Refused> {};

TEST_P(OpenFlowRefusal, QuotesTheRequestAndChangesNothing) {
  const Refused &row = GetParam();
  const Bytes body = octets(row.body);
  const auto length_and_xid = [](size_t of_body) { return hex(of_body + 8, 4).substr(2) + "00000007"; };
  const std::string request = row.version_and_type + length_and_xid(body.size()) + test::hex(body);
  const std::string quoted = request.substr(0, 128);
  session_.begin();
  EXPECT_EQ(answer_to(octets(kHello + request), 65536),
            test::hex(octets(kHello + "0101" + length_and_xid(4 + quoted.size() / 2) + row.error)) + quoted);
  EXPECT_EQ(agent_.flows().size(), 0);
}

const Refused kRefusals[] = {
    {"OtherVersion", "0402", "", "0001 0000"},
    {"UnknownType", "0116", "", "0001 0001"},
    {"AnswerOfASwitch", "0106", "", "0001 0001"},
    {"BarrierWithBody", "0112", "00", "0001 0006"},
    {"Vendor", "0104", "00002320", "0001 0003"},
    {"VendorStatistics", "0110", "ffff 0000 00002320", "0001 0003"},
    {"UnknownStatistics", "0110", "0006 0000", "0001 0002"},
    {"StatisticsOfWrongLength", "0110", "0003 0000 00", "0001 0006"},
    {"QueueStatisticsOfNoQueue", "0110", "0005 0000 0001 0000 00000003", "0005 0001"},
    {"QueueConfigOfNoPort", "0114", "0031 0000", "0005 0000"},
    {"PortModOfNoPort", "010f", "0031 020000000031 00000000 00000000 00000000 00000000", "0004 0000"},
    {"PortModOfAnotherAddress", "010f", "0001 020000000002 00000000 00000000 00000000 00000000", "0004 0001"},
    {"PacketOutWithActionsBehindIt", "010d", "ffffffff ffff 0008", "0001 0006"},
    {"PacketOutOfLessThanAHeader", "010d", "ffffffff ffff 0008 0000 0008 0001 0000 ffx6 0000000000aa 88", "0001 0006"},
    {"PacketOutOfNoBuffer", "010d", "00000001 ffff 0000", "0001 0008"},
    {"PacketOutFromPort0", "010d", "ffffffff 0000 0000", "0001 0005"},
    {"UnknownAction", kFlowMod, kAny + kAdd + "000c 0008 00000000", "0002 0000"},
    {"ActionOfAVendor", kFlowMod, kAny + kAdd + "ffff 0008 00002320", "0002 0002"},
    {"ActionWithoutLength", kFlowMod, kAny + kAdd + "0000 0000 00010000", "0002 0001"},
    {"ActionOfOddLength", kFlowMod, kAny + kAdd + "0000 000c 00010000 00000000", "0002 0001"},
    {"ActionOfAnotherLength", kFlowMod, kAny + kAdd + "0000 0010 00010000 00x8", "0002 0001"},
    {"ActionCutShort", kFlowMod, kAny + kAdd + "0000 0008", "0002 0001"},
    {"ActionBehindTheMessage", kFlowMod, kAny + kAdd + "0004 0010 00000000", "0002 0001"},
    {"OutputToPort0", kFlowMod, kAny + kAdd + "0000 0008 00000000", "0002 0004"},
    {"OutputToNone", kFlowMod, kAny + kAdd + "0000 0008 ffff0000", "0002 0004"},
    {"OutputToPort49", kFlowMod, kAny + kAdd + "0000 0008 00310000", "0002 0004"},
    {"OutputToTable", kFlowMod, kAny + kAdd + "0000 0008 fff90000", "0002 0004"},
    {"SetVlan4096", kFlowMod, kAny + kAdd + "0001 0008 10000000", "0002 0005"},
    {"SetPriority8", kFlowMod, kAny + kAdd + "0002 0008 08000000", "0002 0005"},
    {"UnknownCommand", kFlowMod, kAny + "0000000000000000 0005 0000 0000 8000 ffffffff ffff 0000", "0003 0004"},
    {"Emergency", kFlowMod, kAny + "0000000000000000 0000 0000 0000 8000 ffffffff ffff 0004", "0003 0005"},
    {"EmergencyOfIdle9", kFlowMod, kAny + "0000000000000000 0000 0009 0000 8000 ffffffff ffff 0004", "0003 0003"},
    {"EmergencyOfHard9", kFlowMod, kAny + "0000000000000000 0000 0000 0009 8000 ffffffff ffff 0004", "0003 0003"},
};

INSTANTIATE_TEST_SUITE_P(Of, OpenFlowRefusal, testing::ValuesIn(kRefusals), test::case_name);

TEST_F(OpenFlowSession, LeavesTheLogReadable) {
  const auto refuse = [this](size_t times) {
    for (size_t i = 0; i < times; ++i) {
      session_.receive(octets("01160008 00000007"));
    }
  };
  session_.receive(octets(kHello));
  refuse(50);
  EXPECT_EQ(logged_, std::vector<std::string>(10, "refused: a message of type 22"));
  EXPECT_EQ(session_.unlogged(), 40);
  agent_.advance(std::chrono::milliseconds(2500));
  refuse(5);
  EXPECT_EQ(logged_.size(), 12);
  agent_.advance(std::chrono::milliseconds(5000));
  for (const char *error : {"0101000c 00000000 00010006", "0101000c 00000000 000a0002", "0101000c 00000000 00000000"}) {
    session_.receive(octets(error));
  }
  EXPECT_EQ(std::vector(logged_.end() - 3, logged_.end()),
            (std::vector<std::string>{"reports OFPET_BAD_REQUEST, OFPBRC_BAD_LEN", "reports error type 10, code 2",
                                      "reports OFPET_HELLO_FAILED, OFPHFC_INCOMPATIBLE"}));
}

// A peer that does not read: its requests wait, packet-ins are dropped and counted, what waits stays bounded; once it
// reads, nothing that was asked for is missing.
TEST_F(OpenFlowSession, HoldsBackWhileThePeerDoesNotRead) {
  constexpr size_t kRequests = 3000;
  Bytes requests = octets(kHello);
  for (size_t i = 0; i < kRequests; ++i) {
    append(requests, ByteView(octets("0110000c 00000007 0000 0000")));  // each answer has 1068 octets
  }
  session_.receive(requests);
  EXPECT_TRUE(session_.holds_back());
  EXPECT_FALSE(session_.overrun());

  const Bytes frame(1500);
  agent_.packets().send({.in_port = kPortNone, .actions = {output_to(kPortController)}, .packet = frame});
  EXPECT_EQ(session_.dropped_packet_ins(), 1);

  size_t answers = 0;
  for (Bytes part = session_.take_output(); !part.empty(); part = session_.take_output()) {
    EXPECT_LE(part.size(), (size_t{1} << 20) + 1068);
    answers += part.size() / 1068;
    session_.output_left();
  }
  EXPECT_EQ(answers, kRequests);
}

}  // namespace
}  // namespace agent::openflow
