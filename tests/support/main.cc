// SPDX-License-Identifier: Apache-2.0
// Says how tests are run, before and behind a run of several: the library keeps one global state, so they see each
// other's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

namespace {

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
  testing::UnitTest::GetInstance()->listeners().Append(new Advice);
  return RUN_ALL_TESTS();
}
