// SPDX-License-Identifier: Apache-2.0
#include "host/ports/interface_end.h"

#include <net/if.h>

#include "host/ports/interface_state.h"

namespace host::ports {

void InterfaceEnd::open() {
  file_ = opened();
  index_ = if_nametoindex(interface_.c_str());
}

LinkState InterfaceEnd::state() const {
  return file_ ? interface_state(interface_) : LinkState{};
}

// Another index is another interface.
bool InterfaceEnd::renew() {
  const unsigned index = if_nametoindex(interface_.c_str());
  if (index == index_) {
    return false;
  }
  file_.reset();
  index_ = 0;
  if (index != 0) {
    try {
      open();
    } catch (const std::system_error &) {  // not yet, or gone again
    }
  }
  return true;
}

}  // namespace host::ports
