// Who owns the counter of the catch-all entry.
#ifndef OFTAB_CATCH_ALL_H
#define OFTAB_CATCH_ALL_H

namespace oftab {

// The catch-all record has just got a counter, which it holds from now on.
void hold_catch_all_counter();

// The record is about to be replaced without its TCAM entry: its counter goes once that entry is written again.
void displace_catch_all_counter();

// The catch-all entry was written in the TCAM.
void catch_all_written();

// Gives back every counter held for the catch-all entry.
void release_catch_all_counters();

// The library starts anew: nothing is held.
void forget_catch_all_counters();

}  // namespace oftab

#endif
