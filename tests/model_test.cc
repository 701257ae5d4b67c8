// SPDX-License-Identifier: Apache-2.0
// Long random histories, half of them with random faults.
//
// The same 200 histories each time; OFTAB_SEED=n replays history n, OFTAB_ROUNDS=n runs n (each of 100 steps).
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "tests/support/child.h"
#include "tests/support/history.h"

namespace test {
namespace {

uint64_t number_from_environment(const char *name, uint64_t otherwise) {
  const char *text = std::getenv(name);
  if (text == nullptr) {
    return otherwise;
  }
  uint64_t number = 0;
  const char *const end = text + std::strlen(text);
  if (const auto read = std::from_chars(text, end, number); read.ec != std::errc() || read.ptr != end || text == end) {
    throw std::invalid_argument(std::string(name) + "=" + text + ": not a number");
  }
  return number;
}

void live_history(uint64_t seed) {
  const auto history = [=] {
    History(seed).run();
    return 0;
  };
  ASSERT_EQ(in_child(history).value, 0) << "replay with OFTAB_SEED=" << seed;
}

TEST(Model, AgreesWithTheSwitchThroughRandomHistories) {
  const bool replay = std::getenv("OFTAB_SEED") != nullptr;
  const uint64_t first_seed = number_from_environment("OFTAB_SEED", 1);
  const uint64_t rounds = number_from_environment("OFTAB_ROUNDS", replay ? 1 : 200);
  std::printf("OFTAB_SEED=%llu OFTAB_ROUNDS=%llu\n", static_cast<unsigned long long>(first_seed),
              static_cast<unsigned long long>(rounds));
  for (uint64_t seed = first_seed; seed < first_seed + rounds; ++seed) {
    ASSERT_NO_FATAL_FAILURE(live_history(seed));
  }
  std::printf("%llu histories agreed\n", static_cast<unsigned long long>(rounds));
}

}  // namespace
}  // namespace test
