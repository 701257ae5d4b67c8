// SPDX-License-Identifier: Apache-2.0
// Why a packet goes where it goes: each record that it is compared with, down to the one that matches.
#ifndef APP_VIEWS_EXPLANATION_H
#define APP_VIEWS_EXPLANATION_H

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "agent/fields.h"
#include "app/views/format.h"
#include "host/asic/packet.h"
#include "host/switch.h"

namespace app {

// How a packet meets the TCAM. Nothing is counted or forwarded.
class Explanation {
 public:
  // `ifindex`: the interface by which the packet comes in. Throws std::invalid_argument when it has no interface id.
  Explanation(host::Switch &device, uint32_t ifindex, const host::asic::PacketHeader &packet);

  // The records in the order in which they are compared, each with the first field that differs; then what the one that
  // matches does.
  void print_all(std::ostream &out, Style style) const;

  // The same with one line for all records that differ in the same field first.
  void print_classes(std::ostream &out, Style style) const;

  agent::Packet packet() const { return {ifindex_, packet_}; }

  // What the hardware does with it; none when nothing matches.
  std::optional<host::asic::Fate> fate() const;

 private:
  struct Candidate {
    uint16_t index;
    std::string_view field;  // the first that differs; empty in the record that matches
    std::string difference;  // "tp_dst 443, wants 80/0xffff"
  };

  Candidate compared(uint16_t index, const host::asic::Key &key) const;
  void print_packet(std::ostream &out) const;
  void print_hit(std::ostream &out, Style style) const;
  bool matched() const { return !candidates_.empty() && candidates_.back().field.empty(); }

  host::Switch &device_;
  uint32_t ifindex_;
  host::asic::PacketHeader packet_;
  std::vector<Candidate> candidates_;
};

}  // namespace app

#endif
