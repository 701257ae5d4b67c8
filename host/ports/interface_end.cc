// SPDX-License-Identifier: Apache-2.0
#include "host/ports/interface_end.h"

#include <net/if.h>

#include <stdexcept>

#include "host/ports/interface_state.h"

namespace host::ports {

void InterfaceEnd::open() {
  opened_ = opened();
  index_ = if_nametoindex(interface_.c_str());
}

LinkState InterfaceEnd::state() const {
  return opened_ ? interface_state(interface_) : LinkState{};
}

// Another index is another interface.
bool InterfaceEnd::renew() {
  const unsigned index = if_nametoindex(interface_.c_str());
  if (index == index_) {
    return false;
  }
  opened_.reset();
  index_ = 0;
  if (index != 0) {
    try {
      open();
    } catch (const std::runtime_error &) {  // not yet, gone again, or another's
    }
  }
  return true;
}

}  // namespace host::ports
