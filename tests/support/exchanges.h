// SPDX-License-Identifier: Apache-2.0
// What comes of a request beside its response.
#ifndef TESTS_SUPPORT_EXCHANGES_H
#define TESTS_SUPPORT_EXCHANGES_H

#include <string>

#include "tests/support/rig.h"

namespace test {

// The texts traced at level 104 but for entries and exits, one behind the other.
inline std::string details(Rig &rig) {
  std::string details;
  for (const std::string &text : rig.traced(104)) {
    details += text.find("() ") == std::string::npos ? text : "";
  }
  return details;
}

}  // namespace test

#endif
