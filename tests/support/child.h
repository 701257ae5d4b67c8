// SPDX-License-Identifier: Apache-2.0
// Runs code in a process of its own, so that it gets a library that has done nothing yet.
#ifndef TESTS_SUPPORT_CHILD_H
#define TESTS_SUPPORT_CHILD_H

#include <functional>

namespace test {

// What became of a child: the value that `body` returned (0 to 126), or failed() when an expectation failed in it or it
// did not return (it has said why on the standard output).
struct ChildResult {
  int value = 0;
  bool failed() const { return value < 0; }
};

ChildResult in_child(const std::function<int()> &body);

}  // namespace test

#endif
