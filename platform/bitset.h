// SPDX-License-Identifier: Apache-2.0
/* The host's bitset library. */
#ifndef PLATFORM_BITSET_H
#define PLATFORM_BITSET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A set of `bits` bits, numbered from 0, with undefined contents; null when memory is short. */
void *bitset_create(uint32_t bits);

/* Clears every bit. */
void bitset_clear(void *set);

void bitset_set_bit(void *set, uint32_t bit);

void bitset_clear_bit(void *set, uint32_t bit);

/* The lowest clear bit; negative when every bit is set. */
int32_t bitset_first_free_bit(void *set);

/* The lowest clear bit at or after `from`; negative when there is none. */
int32_t bitset_next_free_bit(void *set, uint32_t from);

#ifdef __cplusplus
}
#endif

#endif
