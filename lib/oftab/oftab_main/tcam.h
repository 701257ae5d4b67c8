// SPDX-License-Identifier: Apache-2.0
// What stands in the TCAM: the record last written at each index, whoever wrote it.
//
// Every write of the library goes through here or is noted here. What the hardware held before the library started is
// not known and not touched.
#ifndef OFTAB_TCAM_H
#define OFTAB_TCAM_H

#include "oftab/oftab.h"

namespace oftab {

// Writes an entry's due record at its tcam_index. Returns the SDK's result.
int32_t tcam_write(const oftab_sw_entry_t &entry);

// The same with its outcome traced in the name of `function`. Whether it was written.
bool program_record(const char *function, const oftab_sw_entry_t &entry);

// The operator (or somebody else) wrote this record behind the tables' back. It is left alone until a request writes or
// erases an entry at its index.
void note_foreign_write(uint32_t tcam_index, const cache_unified_entry &record);

// This record was read back: if it is not the one noted, somebody else wrote it.
void note_read(uint16_t tcam_index, const cache_unified_entry &record);

// The valid record of the library's own that stands at an index; null when there is none.
const cache_unified_entry *standing_record(uint16_t tcam_index);

bool is_foreign(uint16_t tcam_index);

// Whether the entry's due record stands at its index.
bool stands(const oftab_sw_entry_t &entry);

// A record names a counter by the low 13 bits of its id.
constexpr uint32_t COUNTER_NAMES = 1U << 13;
constexpr uint32_t counter_name(uint16_t stats_id) {
  return stats_id % COUNTER_NAMES;
}
uint32_t counter_named_by(const cache_unified_entry &record);
// By whatever record stands at the index.
uint32_t counter_named_at(uint16_t tcam_index);

// How many valid records, foreign ones included, name a counter or a multicast index.
unsigned records_naming_counter(uint32_t counter);
unsigned records_naming_index(uint32_t mcst_idx);

// How many valid records of the library's own stand at the indices of flows; whether any of these is foreign.
int count_own_records();
bool any_foreign();

// Whether TCAM and table may disagree: a write at the index of a flow was refused or overwrote a foreign record, or
// reconciling them left something to be done.
bool is_unsettled();
void set_unsettled(bool now);

}  // namespace oftab

#endif
