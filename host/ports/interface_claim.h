// SPDX-License-Identifier: Apache-2.0
// An interface of the machine is one port's alone, of this switch or another.
#ifndef HOST_PORTS_INTERFACE_CLAIM_H
#define HOST_PORTS_INTERFACE_CLAIM_H

#include <string>

#include "host/ports/descriptor.h"

namespace host::ports {

// All throw std::runtime_error, which names the interface.

// Whether frames of an interface can be a port's: they are Ethernet frames, and go to no bridge or bond.
void check_unbound(const std::string &name, unsigned index);

// Takes an interface for a port for as long as the descriptor is open, unless another port in the same network
// namespace has it. What else reads from it, as captures do, is not noticed.
Descriptor claim(const std::string &name, unsigned index);

}  // namespace host::ports

#endif
