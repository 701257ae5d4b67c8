// SPDX-License-Identifier: Apache-2.0
#include "host/parts.h"

#include <cstdio>
#include <cstdlib>

namespace host {
namespace {

Parts *running = nullptr;

}  // namespace

Parts::Parts() {
  running = this;
}

Parts::~Parts() {
  running = nullptr;
}

Parts &live() {
  if (running == nullptr) {
    std::fputs("the host was called while no switch runs\n", stderr);
    std::abort();
  }
  return *running;
}

}  // namespace host
