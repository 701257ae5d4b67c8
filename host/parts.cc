// SPDX-License-Identifier: Apache-2.0
#include "host/parts.h"

#include <cstdio>
#include <cstdlib>

namespace host {

Parts::Parts() {
  running = this;
}

Parts::~Parts() {
  running = nullptr;
}

void end_without_switch() {
  std::fputs("the host was called while no switch runs\n", stderr);
  std::abort();
}

}  // namespace host
