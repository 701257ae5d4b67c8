// SPDX-License-Identifier: Apache-2.0
// The work on memory that a transaction demands, whoever implements it.
#ifndef BENCH_FLOOR_H
#define BENCH_FLOOR_H

#include <cstddef>

namespace bench {

// Nanoseconds for one zeroed array of a record for every flow index, used and released, and for copying `records` table
// records into it and out of it again.
double shadow_ns(size_t records);

}  // namespace bench

#endif
