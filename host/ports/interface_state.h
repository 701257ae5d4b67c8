// SPDX-License-Identifier: Apache-2.0
// What the kernel says about a network interface.
#ifndef HOST_PORTS_INTERFACE_STATE_H
#define HOST_PORTS_INTERFACE_STATE_H

#include <cstdint>
#include <optional>
#include <string>

#include "host/ports/port_end.h"

namespace host::ports {

// Down, without address and speed, for an interface that does not exist.
LinkState interface_state(const std::string &name);

// What its frames are like, as ARP names it; none for an interface that does not exist.
std::optional<unsigned> hardware_type(const std::string &name);

// Whether an interface exists and is a TAP.
bool is_tap(const std::string &name);

// How many frames the machine was to send by an interface and dropped, modulo 2^32; none when it does not exist.
std::optional<uint32_t> dropped_frames(const std::string &name);

// Throws std::system_error with a name that an interface cannot have: none, one that would be cut, or a pattern.
void check_name(const std::string &name);

// Sets an interface up. Throws std::system_error with its name.
void set_up(const std::string &name);

}  // namespace host::ports

#endif
