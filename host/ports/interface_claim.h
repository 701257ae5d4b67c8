// SPDX-License-Identifier: Apache-2.0
// An interface of the machine is one port's alone, of this switch or another.
#ifndef HOST_PORTS_INTERFACE_CLAIM_H
#define HOST_PORTS_INTERFACE_CLAIM_H

#include <string>

#include "host/ports/descriptor.h"

namespace host::ports {

// Takes an interface for a port for as long as the descriptor is open. Throws std::runtime_error, which names the
// interface and says why not: it carries no Ethernet frames, or it is taken by a bridge, a bond or another port in the
// same network namespace. What else reads from it, as captures do, is not noticed.
Descriptor claim(const std::string &name, unsigned index);

}  // namespace host::ports

#endif
