// SPDX-License-Identifier: Apache-2.0
// Whether anything happened to the machine's network interfaces, so that nobody has to look at them all the time.
#ifndef HOST_PORTS_LINK_EVENTS_H
#define HOST_PORTS_LINK_EVENTS_H

#include <optional>

#include "host/ports/descriptor.h"

namespace host::ports {

class LinkEvents {
 public:
  LinkEvents();

  // Since this was asked last. True where the kernel does not tell: then one has to look.
  bool happened();

 private:
  std::optional<Descriptor> socket_;
};

}  // namespace host::ports

#endif
