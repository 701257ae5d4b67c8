// SPDX-License-Identifier: Apache-2.0
// Says how tests are run, before and behind a run of several: the library keeps one global state, so they see each
// other's. And has a process that aborts write its counts down.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

// In a library that counts what is run of it.
extern "C" void __gcov_dump() __attribute__((weak));

namespace {

void write_counts(int /*signal*/) {
  __gcov_dump();
}

class Advice : public testing::EmptyTestEventListener {
  void OnTestIterationStart(const testing::UnitTest &program, int /*iteration*/) override { advise(program); }
  void OnTestIterationEnd(const testing::UnitTest &program, int /*iteration*/) override { advise(program); }

  static void advise(const testing::UnitTest &program) {
    if (program.test_to_run_count() > 1) {
      std::printf(
          "Each test wants a process of its own: ctest --test-dir build/release -j2, or --gtest_filter=SUITE.TEST\n");
    }
  }
};

}  // namespace

int main(int count, char **words) {
  testing::InitGoogleMock(&count, words);
  if (__gcov_dump != nullptr) {
    std::signal(SIGABRT, write_counts);
  }
  testing::UnitTest::GetInstance()->listeners().Append(new Advice);
  return RUN_ALL_TESTS();
}
