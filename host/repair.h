// SPDX-License-Identifier: Apache-2.0
// Puts right what the audit finds, from the library's software table.
#ifndef HOST_REPAIR_H
#define HOST_REPAIR_H

#include <string>
#include <vector>

#include "host/audit.h"
#include "host/switch.h"

namespace host {

// A finding, or a range of them, and what became of it.
struct Repair {
  Finding finding;
  bool done;  // the audit does not find it any more

  // "index 2000 (flow 1): written", or what is still to be done.
  std::string text() const;
};

// First the library does what it would do when the next flow request begins; then records are written and erased
// through the library, and trees and counters through the SDK. A healthy switch is not touched, and neither is one
// whose table was lost: its records are all that is left of the flows.
std::vector<Repair> repair(Switch &device, const AuditExceptions &exceptions = {});

}  // namespace host

#endif
