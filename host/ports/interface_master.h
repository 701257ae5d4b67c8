// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_PORTS_INTERFACE_MASTER_H
#define HOST_PORTS_INTERFACE_MASTER_H

namespace host::ports {

// The index of the bridge, bond or the like that an interface is a member of; 0 if there is none, or the kernel does
// not tell. Throws std::system_error when it cannot be asked.
unsigned master_of(unsigned index);

}  // namespace host::ports

#endif
