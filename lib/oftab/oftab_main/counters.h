// SPDX-License-Identifier: Apache-2.0
// Hardware counters.
//
// A counter that was created for an entry of the table, or for the catch-all, goes back with the entry, or else
// (reconcile.h) once nothing names it any more. Counters of entries that a direct call converted are the caller's.
#ifndef OFTAB_COUNTERS_H
#define OFTAB_COUNTERS_H

#include <cstdint>

namespace oftab {

// Creates a counter on behalf of `function`, in whose name the outcome is traced, and stores its whole id. Returns the
// SDK's result; *id is then 0xFFFFFFFF.
int32_t create_counter(const char *function, uint32_t *id);

// Creates the counter of an entry: keeps the id's low 16 bits in *stats_id and starts it from zero. Returns the SDK's
// result; *stats_id is then OFTAB_STATS_ID_NONE.
int32_t create_entry_counter(const char *function, uint16_t *stats_id);

// From here on the counter belongs to the table, to the TCAM or to the catch-all.
void own_counter(uint16_t stats_id);
bool is_own_counter(uint16_t stats_id);

// The first own counter from `stats_id` on; OFTAB_STATS_ID_NONE when there is none.
uint16_t first_own_counter(uint16_t stats_id);

// Gives a counter back. A refusal is a warning in the name of `function`; there is no second try.
void release_counter(const char *function, uint16_t stats_id);

}  // namespace oftab

#endif
