// SPDX-License-Identifier: Apache-2.0
// What every fuzz target needs: the process's switch, and a way to stop at what must not be.
#ifndef FUZZ_FUZZED_SWITCH_H
#define FUZZ_FUZZED_SWITCH_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/audit.h"
#include "host/switch.h"

namespace fuzz {

// Stops with a finding, which libFuzzer keeps together with its input.
inline void require(bool good, const std::string &what) {
  if (!good) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::abort();
  }
}

// A booted switch with pc1 (ports 1 and 2) and pc2 (no members).
inline host::Switch &booted_switch() {
  static host::Switch *const device = [] {
    auto *const fresh = new host::Switch;
    fresh->boot();
    fresh->interfaces().create_pc(0x16000001);
    fresh->interfaces().create_pc(0x16000002);
    fresh->join(0x1a000000, 0x16000001);
    fresh->join(0x1a001000, 0x16000001);
    return fresh;
  }();
  return *device;
}

// The library kept the contracts of its services, and its tables agree with the hardware, but for states known by name.
inline void require_sound(host::Switch &device, const host::AuditExceptions &exceptions = {}) {
  for (const std::string &violation : device.violations().list()) {
    require(false, violation);
  }
  for (const host::Finding &finding : host::audit(device.asic(), exceptions)) {
    require(finding.known(), finding.text());
  }
}

}  // namespace fuzz

#endif
