// SPDX-License-Identifier: Apache-2.0
// How full the hardware is.
#ifndef APP_VIEWS_USAGE_H
#define APP_VIEWS_USAGE_H

#include <cstddef>
#include <vector>

#include "host/switch.h"

namespace app {

struct Usage {
  const char *name;
  size_t used;
  size_t capacity;
};

// Of each of its resources.
std::vector<Usage> hardware_usage(host::Switch &device);

}  // namespace app

#endif
