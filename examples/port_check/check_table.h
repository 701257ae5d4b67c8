/* SPDX-License-Identifier: Apache-2.0 */
#ifndef CHECK_TABLE_H
#define CHECK_TABLE_H

/* Compares the library's table with the TCAM, which it reads back through the SDK, and prints each difference to
 * standard error. Returns how many there are. Needs an initialised library, between two calls into it. Behind a
 * modification that was refused, the flow's kept action is a difference; behind an erasure that was, the record that
 * stayed. */
unsigned check_table(void);

#endif
