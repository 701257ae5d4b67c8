// Who owns the counter of the catch-all record.
#ifndef OFTAB_CATCH_ALL_H
#define OFTAB_CATCH_ALL_H

namespace oftab {

// Gives back the counter that the catch-all record holds, if it holds one.
void release_catch_all_counter();

// The catch-all record has just got a counter, which it holds from now on.
void hold_catch_all_counter();

}  // namespace oftab

#endif
