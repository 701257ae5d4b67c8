// Undoing a request that failed.
//
// While a request is applied, a journal notes for each TCAM index what was written there and what a modification tore
// down. Compared with the current table, which a failed request leaves alone, that is all it takes to give back what
// the request created and to put back what it tore down.
#ifndef OFTAB_TRANSACTION_H
#define OFTAB_TRANSACTION_H

#include "oftab/oftab.h"

namespace oftab {

// The shadow table has just got its array: nothing is noted yet.
void begin_journal();

// The programming of a record marked new (or, if not, moved) succeeded or failed.
void journal_programming(uint16_t tcam_index, bool is_new, bool written);

// A shadow record is about to get a new action.
void journal_modification(const oftab_sw_entry_t &slot);

// A shadow record's new action failed. The record stays without fan-out and its TCAM entry as it is: gives back what
// the action had set up, and lets the record name the index again that its TCAM entry names.
void abandon_modification(oftab_sw_entry_t &slot);

// Gives back everything that an entry holds which never came to be: fan-out, port channels, counter.
void release_entry(oftab_sw_entry_t &entry);

// The request failed: every resource and every TCAM index is again as the current table has it, but for entries that
// were written at indices which no current entry has (they are stranded). Releases the shadow's array.
void roll_back();

// The commit failed: what the shadow holds is in the TCAM, and no table holds it. Releases the shadow's array.
void strand_shadow();

}  // namespace oftab

#endif
