// SPDX-License-Identifier: Apache-2.0
// What the table knows of a flow beyond its record, by the flow's counter.
//
// A flow whose modification failed stands in the table without its old action, while the TCAM keeps that action until a
// modification succeeds: a drop stays a drop, wherever the flow moves. And while a request is applied, what each
// modified flow had before, in case the request fails.
#ifndef OFTAB_FLOW_MEMORY_H
#define OFTAB_FLOW_MEMORY_H

#include "oftab/oftab.h"

namespace oftab {

// The record that is due in the TCAM for an entry: its own, but with the action that was kept for it.
cache_unified_entry due_record(const oftab_sw_entry_t &entry);

// The modification of an entry failed: the action of `due` is kept for it. It succeeded: its record's own action is
// due.
void keep_action(const oftab_sw_entry_t &entry, const cache_unified_entry &due);
void drop_kept_action(const oftab_sw_entry_t &entry);

// A request begins, with a number of its own: no flow has been modified yet.
void begin_modifications();
uint32_t current_request();

// An entry is about to be modified; only its first modification in a request counts.
void note_modification(const oftab_sw_entry_t &entry, bool has_fanout);

// The request failed: a flow of the current table has its kept action of before again. False when the request did not
// modify it; else *had_fanout tells whether it held a fan-out before.
bool take_back_modification(const oftab_sw_entry_t &entry, bool *had_fanout);

// A counter has just been created: the flow that gets it has no past.
void forget_flow(uint16_t stats_id);

}  // namespace oftab

#endif
