// SPDX-License-Identifier: Apache-2.0
/* Output of the host's command shell. */
#ifndef PLATFORM_COMMAND_SHELL_H
#define PLATFORM_COMMAND_SHELL_H

#ifdef __cplusplus
extern "C" {
#endif

/* Prints one line (its newline included) for the command that runs under `shell_context`; `flags` is 0. Returns -1
 * when the output cannot go on (the operator left the pager), another value otherwise. */
int cmd_prt(void *shell_context, const char *line, int flags);

/* The shared buffer in which lines are formatted: at least 256 bytes, free between two calls of cmd_prt. */
extern char hdm_pd_dump_one_line[];

#ifdef __cplusplus
}
#endif

#endif
