// SPDX-License-Identifier: Apache-2.0
// A map of the TCAM: what stands at each of its indices.
#ifndef APP_VIEWS_TCAM_MAP_H
#define APP_VIEWS_TCAM_MAP_H

#include <ostream>

#include "app/views/format.h"
#include "host/audit.h"
#include "host/switch.h"

namespace app {

// `exceptions`: as for the audit, whose findings are marked.
void print_tcam_map(std::ostream &out, Style style, host::Switch &device, const host::AuditExceptions &exceptions);

}  // namespace app

#endif
