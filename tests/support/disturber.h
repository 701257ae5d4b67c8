// SPDX-License-Identifier: Apache-2.0
// Random faults on the way of operations: host and SDK calls and allocations of the library fail.
#ifndef TESTS_SUPPORT_DISTURBER_H
#define TESTS_SUPPORT_DISTURBER_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <span>
#include <string_view>

#include "host/services/faults.h"
#include "tests/support/random_flows.h"

namespace test {

class Disturber {
 public:
  // One operation in `one_in` gets a fault or two, of these calls alone if there are any; with 0 none does. The log
  // says which.
  Disturber(host::services::Faults &faults, Dice &dice, uint32_t one_in, std::ostream &log,
            std::span<const std::string_view> calls = {})
      : faults_(faults), dice_(dice), one_in_(one_in), log_(log), calls_(calls) {}

  // Runs an operation. Whether a fault struck; then `disturbed` is set too.
  bool during(const std::function<void()> &operate);

  bool disturbed = false;
  bool has_struck = false;     // a fault, ever
  std::function<void()> next;  // sets up faults for the next operation

 private:
  void arm();

  host::services::Faults &faults_;
  Dice &dice_;
  uint32_t one_in_;
  std::ostream &log_;
  std::span<const std::string_view> calls_;
};

}  // namespace test

#endif
