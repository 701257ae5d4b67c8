// SPDX-License-Identifier: Apache-2.0
// The library as a C program sees it.
#include "tests/support/rig.h"

extern "C" const char *c_client_add_flow(void);

namespace test {
namespace {

TEST_F(SwitchTest, WorksFromC) {
  EXPECT_STREQ(c_client_add_flow(), "deny");
}

}  // namespace
}  // namespace test
