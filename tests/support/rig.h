// SPDX-License-Identifier: Apache-2.0
// A switch to test on, with what tests do to it and look at.
#ifndef TESTS_SUPPORT_RIG_H
#define TESTS_SUPPORT_RIG_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/audit.h"
#include "host/switch.h"
#include "oftab/oftab.h"
#include "tests/support/messages.h"

namespace test {

// What a refused request must leave as it was.
struct State {
  std::array<uint16_t, 4> header{};  // of the current table
  Bytes table;                       // its records
  std::vector<host::asic::Record> tcam;
  std::vector<uint32_t> counters;
  std::vector<uint32_t> trees;
  std::vector<uint32_t> taken_indices;

  bool operator==(const State &) const = default;
};

// A request and what it comes to, digit by digit.
struct Exchange {
  const char *request;
  int32_t handler_result;
  const char *response;
  const char *details;  // traced, but for entries and exits
};

class Rig {
 public:
  // Submits a request that must be answered once, and gives the answer.
  Bytes send(const Bytes &request, uint32_t code = OFTAB_MSG_ENTRY_UPDATE);
  Response submit(const Bytes &request) { return decode(send(request)); }

  void expect_exchange(uint32_t code, const Exchange &exchange);

  // Submits requests that must succeed.
  void set_up(const std::vector<Bytes> &requests);

  // The texts traced at a level since the history was last cleared (the rig keeps a history of all levels).
  std::vector<std::string> traced(uint32_t level);

  // Those of level 104 but for entries and exits, one behind the other.
  std::string details();

  // The flows that the library said it could not record, by port channel (needs the errors' history).
  host::FlowBits untracked();

  State state();

  // The switch misbehaved nowhere, and the tables agree with the ASIC but for what is excused.
  void expect_sound();

  // A state that the audit knows, and the flow (or else the index) that it excuses.
  using Excuse = std::pair<host::State, uint32_t>;

  host::Switch sw;
  host::AuditExceptions exceptions;
  std::set<Excuse> excused;
};

// The name of a table-driven test: that of its row.
inline constexpr auto case_name = [](const auto &row) { return std::string(row.param.name); };

// A packet that, of all flows that numbered_flow makes, matches only the one with this sequence number.
inline host::asic::PacketHeader packet_of(uint32_t seq_no, size_t length = 64) {
  return {.ethertype = 0x800, .vlan = {}, .src_port = static_cast<uint16_t>(seq_no), .length = length};
}

// The records of the current table's range.
std::span<const oftab_sw_entry_t> current_records();

// The current table's record of a flow; null when there is none.
const oftab_sw_entry_t *find_record(uint32_t seq_no);

// Tests of a switch that has not been booted.
class BareSwitchTest : public testing::Test, public Rig {
 protected:
  BareSwitchTest() { sw.tracing().set_history(host::services::kAllLevels); }
  void TearDown() override { expect_sound(); }
};

class SwitchTest : public BareSwitchTest {
 protected:
  SwitchTest() {
    sw.boot();
    sw.tracing().clear();
  }
};

constexpr uint32_t kPc = port_channel(5);

// The port channel exists, with port 9.
class PortChannelTest : public SwitchTest {
 protected:
  PortChannelTest() {
    sw.interfaces().create_pc(kPc);
    sw.interfaces().join(port(9), kPc);
  }

  // What becomes of a flow's packet: "drop", "forward", or "to" and the SDK ports.
  std::string fate(uint32_t seq_no) {
    const host::asic::Fate fate = sw.inject(port(4), packet_of(seq_no));
    using host::asic::Verdict;
    std::string text = fate.verdict == Verdict::Forward ? "forward" : fate.verdict == Verdict::Drop ? "drop" : "to";
    for (const uint8_t sdk_port : fate.sdk_ports) {
      text += ' ';
      text += std::to_string(sdk_port);
    }
    return text;
  }
};

}  // namespace test

#endif
