// SPDX-License-Identifier: Apache-2.0
// The statistics timer, started at set-up and again at the end of each collection.
#ifndef OFTAB_STATISTICS_TIMER_H
#define OFTAB_STATISTICS_TIMER_H

namespace oftab {

// Arms the timer for one period; a refusal is traced in the name of `function`. Whether it was started.
bool start_statistics_timer(const char *function);

}  // namespace oftab

#endif
