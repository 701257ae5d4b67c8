// SPDX-License-Identifier: Apache-2.0
// Makes memory allocations of liboftab fail. Only calls that come from the library itself count: the host, the tests
// and the C library go on undisturbed.
#ifndef TESTS_SUPPORT_ALLOCATIONS_H
#define TESTS_SUPPORT_ALLOCATIONS_H

#include <cstddef>
#include <cstdint>

namespace test {

// The `nth` coming allocation (1: the next) fails, and with `from_then_on` all that follow it. Up to two such faults
// can be armed at a time.
void fail_allocation(uint64_t nth, bool from_then_on = false);

// The coming allocations of this many bytes fail.
void fail_allocations_of(size_t bytes);

// No further allocation fails.
void let_allocations_pass();

// Allocations that were made to fail.
uint64_t failed_allocations();

// Blocks that the library has allocated and not freed.
int64_t allocated_blocks();

// Bytes in these blocks, and the most that there were since the last call of this.
int64_t peak_bytes();

// The block that the library allocated last.
const void *newest_block();

}  // namespace test

#endif
