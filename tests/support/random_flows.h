// SPDX-License-Identifier: Apache-2.0
// Random flows and packets from a small world, so that many of them meet.
#ifndef TESTS_SUPPORT_RANDOM_FLOWS_H
#define TESTS_SUPPORT_RANDOM_FLOWS_H

#include <random>

#include "tests/support/model.h"

namespace test {

class Dice {
 public:
  explicit Dice(uint64_t seed) : engine_(seed) {}

  uint32_t below(uint32_t bound) { return static_cast<uint32_t>(engine_() % bound); }
  bool one_in(uint32_t chances) { return below(chances) == 0; }

  template <typename Container>
  auto pick(const Container &from) {
    return *std::next(std::begin(from), below(static_cast<uint32_t>(std::size(from))));
  }

 private:
  std::mt19937_64 engine_;
};

constexpr uint32_t kWorldPorts = 6;
constexpr uint32_t kWorldPortChannels = 3;

// An action of any kind; one in a dozen is refused.
Action random_action(Dice &dice);

// A match without number and priority, most of whose fields are not compared; some flows cannot be converted.
Flow random_flow(Dice &dice);

Packet random_packet(Dice &dice);

}  // namespace test

#endif
