// SPDX-License-Identifier: Apache-2.0
// One truth after a failure: derives anew, from the current table and from what stands in the TCAM, what is to be
// written and what goes back. reconcile.cc opens with what stays and what goes after each kind of failure.
#ifndef OFTAB_RECONCILE_H
#define OFTAB_RECONCILE_H

#include "oftab/oftab.h"

namespace oftab {

// `function` is the operation that the host called, in whose name is traced what has to be done.

// An entry request, a compaction or a purge begins: does what the last failure left to be done, and erases what it left
// in the TCAM.
void begin_request(const char *function);

// The current table has changed as the request asked: erases what it vacated.
void finish_request(const char *function);

// The request failed, and the current table is to be as if it had not been: takes the shadow's array, and puts back
// what the request took from the table's flows. What it wrote at other indices stays there.
void abandon_request(const char *function);

// Writes an entry of the current table whose record has changed, and what waited for that. Where a failure has left
// another flow's last copy at its index, the next request does it.
void rewrite_entry(const char *function, const oftab_sw_entry_t &entry);

// An entry that never came to be gives everything back at once: fan-out, port channels, counter.
void release_failed_entry(const char *function, oftab_sw_entry_t &entry);

// Gives back the counters and multicast indices that nobody names any more, after a write behind the tables' back.
void release_unnamed(const char *function);

// Whether an entry of the current table is to be written although it has not changed, because it does not stand.
bool is_write_due(const oftab_sw_entry_t &entry);

}  // namespace oftab

#endif
