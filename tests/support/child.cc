// SPDX-License-Identifier: Apache-2.0
#include "tests/support/child.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

// In a library that counts what is run of it.
extern "C" void __gcov_dump() __attribute__((weak));

namespace test {
namespace {

constexpr int kFailed = 127;

// Failed expectations so far: a child inherits those of its parent.
int failures() {
  const testing::TestResult &result = *testing::UnitTest::GetInstance()->current_test_info()->result();
  int count = 0;
  for (int i = 0; i < result.total_part_count(); ++i) {
    count += result.GetTestPartResult(i).failed() ? 1 : 0;
  }
  return count;
}

int run(const std::function<int()> &body) {
  const int failures_before = failures();
  int value = kFailed;
  try {
    value = body();
  } catch (const std::exception &error) {
    std::printf("unexpected exception: %s\n", error.what());
  }
  return failures() > failures_before ? kFailed : value;
}

}  // namespace

ChildResult in_child(const std::function<int()> &body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int value = run(body);
    std::fflush(nullptr);
    if (__gcov_dump != nullptr) {
      __gcov_dump();
    }
    _exit(value);
  }
  int status = 0;
  const bool done = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
  return {done && WEXITSTATUS(status) != kFailed ? WEXITSTATUS(status) : -1};
}

}  // namespace test
