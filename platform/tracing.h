// SPDX-License-Identifier: Apache-2.0
/* The host's tracing services: two rings, a debug output file, an event history and a debug console.
 *
 * Levels: 102 error, 103 warning, 104 entry, exit and detail. `format` and the arguments behind it follow printf;
 * texts passed to the host are used before the call returns. Most texts end with a newline, not all. */
#ifndef PLATFORM_TRACING_H
#define PLATFORM_TRACING_H

#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Adds a record to the trace ring. `flags` is 0. */
void hdm_ds_trace_add(const char *file, const char *function, int line, int flags, const char *format, ...)
    __attribute__((format(printf, 5, 6)));

/* Adds a record to the ring of failures. */
void hdm_ds_add(const char *file, const char *function, int line, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

/* The debug output file; null while it is closed. */
extern FILE *dbg_out_file;

/* The time of day as a text without a newline; never null. */
const char *hdm_ctime(void);

/* The name of a trace level; never null. */
const char *hdm_debug_elem_descr(uint32_t level);

/* Called after each message written to dbg_out_file: lets the host flush or rotate it. */
void hdm_check_flush_dbg_out_file(void);

/* Whether the event history leaves out events of `type` at `level`: non-zero means left out. */
int trk_hist_event_subtype_check(uint32_t type, uint32_t level);

/* Records an event of `length` bytes: a u32 level, a text, and the text's terminator. */
void trk_hist_event(uint32_t type, uint32_t length, const void *record);

/* Whether the debug console prints `level`: non-zero means printed. The last three arguments are 0, 0, 1. */
int trk_chk_int(uint32_t level, int a, int b, int c);

/* Prints on the debug console. `enable` is 1, `modname` is &trk_dbg_modname, `flags` is 0. */
void trcout(int enable, const void *modname, int flags, const char *format, ...) __attribute__((format(printf, 4, 5)));

/* The name under which the console shows the calling module. */
extern const char *trk_dbg_modname;

#ifdef __cplusplus
}
#endif

#endif
