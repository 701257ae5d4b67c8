// SPDX-License-Identifier: Apache-2.0
// The front panel: ordinary forwarding between cables.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <map>

#include "agent/agent.h"
#include "host/ports/cable.h"
#include "host/ports/front_panel.h"
#include "tests/support/rig.h"

namespace test {
namespace {

using host::ports::Descriptor;
using Frame = std::vector<uint8_t>;

constexpr uint8_t kBroadcast = 0xff;

// From and to 02:00:00:00:00:xx (or the broadcast address), in a VLAN unless that is 0.
Frame frame(uint8_t to, uint8_t from, uint8_t vlan = 0) {
  const Bytes address = to == kBroadcast ? unhex("ffffffffffff") : Bytes{2, 0, 0, 0, 0, to};
  Frame bytes(address.begin(), address.end());
  bytes.insert(bytes.end(), {2, 0, 0, 0, 0, from});
  if (vlan != 0) {
    bytes.insert(bytes.end(), {0x81, 0, 0, vlan});
  }
  bytes.insert(bytes.end(), {0x88, 0xb5, 'd', 'a', 't', 'a'});
  return bytes;
}

// What the switch's agent sends leaves by the front panel, by which frames come to it; no flow matches any.
class PortsTest : public SwitchTest, public agent::Wire {
 protected:
  PortsTest() {
    EXPECT_TRUE(agent_.set_miss(agent::HardwareActions::Kind::Normal));
    agent_.packets().connect(this);
    panel().connect(&agent_.packets());
  }
  void transmit(uint32_t ifindex, agent::Frame frame) override { panel().transmit(ifindex, frame); }

  void plug(uint32_t number) {
    auto [end, far] = host::ports::Cable::make();
    panel().attach(port(number), std::move(end));
    far_.emplace(number, std::move(far));
  }

  host::ports::FrontPanel &panel() { return sw.ports(); }
  const agent::PortCounts &counts(uint32_t number) { return agent_.ports().find(port(number))->counts; }

  // Sends a frame into a port, and forwards all that came in.
  void send(uint32_t number, const Frame &bytes) {
    ASSERT_EQ(::send(far_.at(number).number(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    panel().receive();
  }

  // The agent has a look at the ports.
  void look() { agent_.advance(agent::Time::zero()); }

  // The ports that a frame, which went into one of them, came out of; each got it whole and once.
  std::vector<uint32_t> reached(uint32_t in, const Frame &bytes) {
    send(in, bytes);
    std::vector<uint32_t> numbers;
    for (const auto &[number, far] : far_) {
      uint8_t buffer[256];
      ssize_t length = 0;
      while ((length = recv(far.number(), buffer, sizeof buffer, 0)) > 0) {
        EXPECT_EQ(Frame(buffer, buffer + length), bytes);
        numbers.push_back(number);
      }
    }
    return numbers;
  }

  agent::Agent agent_{sw};
  std::map<uint32_t, Descriptor> far_;
};

using Numbers = std::vector<uint32_t>;

TEST_F(PortsTest, LearnByBridgeDomainForgetAndFlood) {
  for (const uint32_t number : {1U, 2U, 3U}) {
    plug(number);
  }
  EXPECT_EQ(reached(1, frame(8, 7)), (Numbers{2, 3})) << "8 is unknown";
  EXPECT_EQ(reached(2, frame(7, 8)), (Numbers{1})) << "7 was heard on 1";
  EXPECT_EQ(reached(1, frame(8, 7)), (Numbers{2}));
  EXPECT_EQ(reached(2, frame(8, 9)), (Numbers{})) << "where it came in";
  EXPECT_EQ(reached(1, frame(8, 7, 5)), (Numbers{2, 3})) << "unknown in VLAN 5";
  EXPECT_EQ(reached(1, frame(kBroadcast, 7)), (Numbers{2, 3}));
  EXPECT_EQ(reached(3, frame(8, 7)), (Numbers{2})) << "7 moves";
  EXPECT_EQ(reached(2, frame(7, 8)), (Numbers{3}));
  sw.advance(299);
  EXPECT_EQ(reached(1, frame(8, 6)), (Numbers{2}));
  sw.advance(1);
  EXPECT_EQ(reached(1, frame(8, 6)), (Numbers{2, 3})) << "not heard for 300 s";
  Frame kept = frame(kBroadcast, 7);
  std::ranges::copy(unhex("0180c200000e"), kept.begin());
  EXPECT_EQ(reached(1, kept), (Numbers{}));
}

TEST_F(PortsTest, PortChannelIsOnePort) {
  sw.interfaces().create_pc(port_channel(1));
  for (const uint32_t number : {1U, 2U, 3U, 4U}) {
    plug(number);
  }
  sw.join(port(3), port_channel(1));
  sw.join(port(2), port_channel(1));
  look();
  EXPECT_EQ(reached(1, frame(8, 7)), (Numbers{3, 4})) << "the first member";
  EXPECT_EQ(reached(2, frame(7, 8)), (Numbers{1}));
  EXPECT_EQ(reached(3, frame(kBroadcast, 8)), (Numbers{1, 4})) << "not back by another member";
  EXPECT_EQ(reached(4, frame(8, 9)), (Numbers{3}));
  panel().detach(port(3));
  far_.erase(3);
  look();
  EXPECT_EQ(reached(4, frame(8, 9)), (Numbers{2}));
}

TEST_F(PortsTest, UnsoundFramesAreCountedAndDropped) {
  plug(1);
  plug(2);
  Frame from_group = frame(8, 7);
  from_group[6] |= 1U;
  for (const Frame &bytes : {Frame(13, 2), from_group, Frame(9239, 2)}) {
    EXPECT_EQ(reached(1, bytes), (Numbers{}));
  }
  EXPECT_EQ(counts(1).rx_errors, 3U);
  EXPECT_EQ(counts(1).rx_packets, 0U);
  reached(1, frame(8, 7));
  EXPECT_EQ(counts(1).rx_bytes, 18U);
  EXPECT_EQ(counts(2).tx_packets, 1U);
  EXPECT_EQ(counts(2).tx_bytes, 18U);
}

TEST_F(PortsTest, FramesThatFindNoEndAreErrors) {
  plug(1);
  plug(2);
  look();
  far_.erase(2);
  reached(1, frame(8, 7));
  panel().detach(port(2));  // which the agent has not noticed
  reached(1, frame(8, 7));
  EXPECT_EQ(counts(2).tx_errors, 2U);
  EXPECT_EQ(counts(2).tx_packets + counts(1).rx_dropped, 0U);
  look();
  reached(1, frame(8, 7));
  EXPECT_EQ(counts(1).rx_dropped, 1U);
}

TEST_F(PortsTest, AttachAndDetachSayWhatIsWrong) {
  const auto complaint = [](auto operation) -> std::string {
    try {
      operation();
    } catch (const std::exception &error) {
      return error.what();
    }
    return "none";
  };
  plug(1);
  EXPECT_EQ(complaint([&] { plug(1); }), "port 2 is attached to cable");
  EXPECT_EQ(complaint([&] { panel().detach(port(2)); }), "port 3 is attached to nothing");
  EXPECT_EQ(complaint([&] { panel().attach(port_channel(1), host::ports::Cable::make().first); }),
            "only a front-panel port can be attached to an interface");
  EXPECT_EQ(complaint([] { host::ports::make_end("oftab-none"); }), "oftab-none: No such device");
  EXPECT_EQ(complaint([] { host::ports::make_end("tap:sixteen-letters!"); }), "sixteen-letters!: File name too long");
}

}  // namespace
}  // namespace test
