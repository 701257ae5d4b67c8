// SPDX-License-Identifier: Apache-2.0
/* The host's timer service: one-shot timers. The host delivers an expiry by calling the library, between other calls
 * into it. */
#ifndef PLATFORM_TIMERS_H
#define PLATFORM_TIMERS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Creates a stopped timer. `context` comes from the host, `flags` is 0, `timer_arg` points at four u32 words that
 * stay in place for the timer's life and tell the host which expiry to deliver (third word 22: the flow-statistics
 * collection), `one` is 1. Returns the timer, or null. */
void *tg_create_timer(void *context, uint32_t flags, void *timer_arg, uint32_t one);

/* Arms the timer once. `interval`: two u32 words, seconds and the sub-second part, which is always 0. Returns 1 when
 * started. */
int32_t tg_start_timer(void *timer, const void *interval);

/* Disarms the timer. */
void tg_stop_timer(void *timer);

/* Non-zero while the timer (null allowed: never active) is armed. */
int32_t tg_is_timer_active(void *timer);

#ifdef __cplusplus
}
#endif

#endif
