// Hardware counters.
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

// Gives a counter back. A refusal gets a second try: nobody will ask for it again.
void release_counter(uint16_t stats_id);

}  // namespace oftab

#endif
