// SPDX-License-Identifier: Apache-2.0
// What the switch should do, in the plainest terms: a list of flows, the strongest of those that match decides.
// There is no TCAM here, no key format, and none of the library's code.
#ifndef TESTS_SUPPORT_MODEL_H
#define TESTS_SUPPORT_MODEL_H

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "host/asic/packet.h"
#include "tests/support/messages.h"

namespace test {

struct Packet {
  uint32_t ingress = 0;  // ifindex
  host::asic::PacketHeader header;
};

// What becomes of a packet, as far as the model tells.
struct Outcome {
  host::asic::Verdict verdict = host::asic::Verdict::Drop;
  std::set<uint8_t> sdk_ports;
  std::optional<uint8_t> cpu_code;
};

struct Counts {
  uint64_t packets = 0;
  uint64_t bytes = 0;

  void add(const Counts &other) {
    packets += other.packets;
    bytes += other.bytes;
  }
  bool operator==(const Counts &) const = default;
};

struct ModelFlow {
  Flow flow;
  std::set<uint8_t> sdk_ports{};
  bool had_outputs = false;    // its result goes on naming a tree, even one that is gone
  bool action_failed = false;  // it keeps the action that it had, until one succeeds; a tree that it had is gone
  bool action_known = true;    // false when an answer was lost or a tree not changed, until a modification succeeds
  Counts pending{};            // in the hardware
  Counts totals{};             // collected
};

class Model {
 public:
  // Members of the port channels that exist.
  std::map<uint32_t, std::set<uint32_t>> port_channels;

  // By sequence number.
  std::map<uint32_t, ModelFlow> &flows() { return flows_; }
  const std::map<uint32_t, ModelFlow> &flows() const { return flows_; }

  // Each request changes the model as it should change the switch, and gives the answer that is due.
  Response add(const std::vector<Flow> &flows);
  Response modify(const std::vector<Flow> &changes);
  // Actions came to these statuses; to unknown ones when there are none.
  void modify(const std::vector<Flow> &changes, const std::vector<int32_t> &statuses);
  Response erase(const std::vector<uint32_t> &seq_nos);
  Response purge();
  Response set_catch_all(const Action &action);

  void set_member(uint32_t member, uint32_t pc, bool joins);
  // The interface has another hardware interface id: from now on every flow that names it names it exactly.
  void change_interface_id(uint32_t ifindex);

  // The catch-all is known by what stands in the hardware; installed anew, it goes on from what its counter has.
  void know_catch_all(const Outcome &outcome) { catch_all_ = outcome; }
  void restart_catch_all(const Counts &pending);

  // Counts the packet; none when its flow's action is not known.
  std::optional<Outcome> forward(const Packet &packet);

  // The hardware's counts are added to the totals; or all are cleared.
  void collect();
  void clear_counts();
  const Counts &catch_all_totals() const { return catch_all_totals_; }

 private:
  ModelFlow *winner(const Packet &packet);
  std::set<uint8_t> ports_of(const std::vector<uint32_t> &outputs) const;
  void act(ModelFlow &flow, const Action &action) const;

  std::map<uint32_t, ModelFlow> flows_;
  Outcome catch_all_;
  Counts catch_all_pending_;
  Counts catch_all_totals_;
};

}  // namespace test

#endif
