// SPDX-License-Identifier: Apache-2.0
// Captures and the frames in them.
#include "app/syntax/capture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "app/commands/command_error.h"
#include "app/syntax/packet_syntax.h"
#include "tests/support/messages.h"

namespace {

using host::asic::PacketHeader;
using test::unhex;

struct Frame {
  std::string name;
  std::string digits;
  std::string packet;
};

const std::string kMacs = "020000000001 020000000002";
// ToS 0xb8, protocol 6, 10.0.0.1 to 10.0.0.2.
const std::string kIpv4 = "0800 45b8002800014000 40060000 0a000001 0a000002";

const Frame kFrames[] = {
    {"tcp", kMacs + kIpv4 + "0401 0050", "10.0.0.1:1025 > 10.0.0.2:80 tcp length 99"},
    {"tagged", kMacs + "8100 606e" + kIpv4 + "0401 0050", "10.0.0.1:1025 > 10.0.0.2:80 tcp vlan 110 length 99"},
    {"service tag before another", kMacs + "88a8 0007 8100 006e" + kIpv4,
     "02:00:00:00:00:02 > 02:00:00:00:00:01 type 0x8100 vlan 7 length 99"},
    {"IP options", kMacs + "0800 4600 002c 0001 0000 40110000 0a000001 0a000002 01010101 0035 0043",
     "10.0.0.1:53 > 10.0.0.2:67 udp length 99"},
    {"later fragment", kMacs + "0800 4500 0028 0001 0001 40110000 0a000001 0a000002 0035 0043",
     "10.0.0.1:0 > 10.0.0.2:0 udp length 99"},
    {"header length too small", kMacs + "0800 4400 0028 0001 0000 40110000 0a000001 0a000002 0035 0043",
     "10.0.0.1:0 > 10.0.0.2:0 udp length 99"},
    {"cut in the addresses", kMacs + "0800 4500 0028 0001 0000 40060000 0a000001 0a0000",
     "10.0.0.1:0 > 0.0.0.0:0 tcp length 99"},
    {"SNAP", kMacs + "001e aaaa03 000000" + kIpv4 + "0401 0050", "10.0.0.1:1025 > 10.0.0.2:80 tcp length 99"},
    {"SNAP of another organisation", kMacs + "0026 aaaa03 00000c" + kIpv4,
     "02:00:00:00:00:02 > 02:00:00:00:00:01 802.3 length 99"},
    {"802.3", kMacs + "0026 4242 03", "02:00:00:00:00:02 > 02:00:00:00:00:01 802.3 length 99"},
    {"cut in the source", "020000000001 0200", "00:00:00:00:00:00 > 02:00:00:00:00:01 type 0x0000 length 99"},
    {"arp", kMacs + "0806 0001", "02:00:00:00:00:02 > 02:00:00:00:00:01 arp length 99"},
};

TEST(CaptureTest, FramesAreReadAsFarAsTheyGo) {
  for (const Frame &row : kFrames) {
    const PacketHeader packet = host::asic::parse_frame(unhex(row.digits), 99);
    EXPECT_EQ(app::to_text(packet), row.packet) << row.name;
    const test::Bytes frame = host::asic::compose_frame(packet);
    EXPECT_EQ(frame.size(), 99U) << row.name;
    if (packet.ethertype != 0) {
      EXPECT_EQ(app::to_text(host::asic::parse_frame(frame, 99)), row.packet) << row.name;
    }
  }
  EXPECT_EQ(host::asic::parse_frame(unhex(kMacs + kIpv4), 99).tos, 0xb8);
  const PacketHeader echo =
      host::asic::parse_frame(unhex(kMacs + "0800 4500 001c 0001 0000 40010000 0a000001 0a000002 0802 0000"), 99);
  EXPECT_EQ(echo.src_port, 8);
  EXPECT_EQ(echo.dst_port, 2);
}

// A pcap file of format 2.4 in big-endian order, and its records: 16 bytes captured of 60.
const std::string kFileHeader = "a1b2c3d4 0002 0004 00000000 00000000 0000ffff";
const std::string kEthernet = "00000001";
const std::string kRecord = "00000001 00000002 00000010 0000003c" + kMacs + "0806 0001";

class CaptureFileTest : public testing::Test {
 protected:
  ~CaptureFileTest() override { std::remove(path_.c_str()); }

  void write(const std::string &digits) {
    const test::Bytes bytes = unhex(digits);
    std::ofstream(path_, std::ios::binary).write(reinterpret_cast<const char *>(bytes.data()), std::ssize(bytes));
  }
  // The complaint about the file, without its path in front.
  std::string complaint() const {
    try {
      app::read_capture(path_);
    } catch (const app::CommandError &error) {
      const std::string text = error.what();
      return text.starts_with(path_ + ": ") ? text.substr(path_.size() + 2) : text;
    }
    return "taken";
  }

  const std::string path_ =
      std::string("capture_test.") + testing::UnitTest::GetInstance()->current_test_info()->name();
};

TEST_F(CaptureFileTest, PacketsComeInOrderWithTheirLengthOnTheWire) {
  write(kFileHeader + kEthernet + kRecord + "00000001 00000003 00000000 00000040");
  const std::vector<app::CapturedPacket> packets = app::read_capture(path_);
  ASSERT_EQ(packets.size(), 2U);
  EXPECT_EQ(app::to_text(packets[0].header), "02:00:00:00:00:02 > 02:00:00:00:00:01 arp length 60");
  EXPECT_FALSE(packets[0].header.cut);
  EXPECT_EQ(packets[1].header.length, 64U);
  EXPECT_TRUE(packets[1].header.cut);
}

TEST_F(CaptureFileTest, UnusableFilesAreNamedWithTheReason) {
  EXPECT_EQ(complaint(), "No such file or directory");
  write(kFileHeader + "00000069" + kRecord);
  EXPECT_EQ(complaint(), "not an Ethernet capture, its link type is IEEE802_11");
  write("00112233445566778899aabbccddeeff00112233445566778899");
  EXPECT_EQ(complaint(), "unknown file format");
  write(kFileHeader + kEthernet + kRecord + kRecord.substr(0, kRecord.size() - 2));
  EXPECT_TRUE(complaint().starts_with("packet 2: truncated dump file")) << complaint();
  EXPECT_EQ(app::read_capture(path_, 1).size(), 1U);
}

}  // namespace
