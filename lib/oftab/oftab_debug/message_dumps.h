// SPDX-License-Identifier: Apache-2.0
// A dump for which the message alone does not tell all.
#ifndef OFTAB_MESSAGE_DUMPS_H
#define OFTAB_MESSAGE_DUMPS_H

#include "oftab/oftab.h"

namespace oftab {

// Dumps a statistics response that carries `count` records, whatever its num_entries says.
void dump_stats_response(const oftab_stats_query_resp_t *response, uint16_t count);

}  // namespace oftab

#endif
