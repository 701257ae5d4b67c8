// SPDX-License-Identifier: Apache-2.0
// From a flow's action to the hardware result.
#ifndef OFTAB_ACTION_TRANSLATION_H
#define OFTAB_ACTION_TRANSLATION_H

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/output_fanout.h"

namespace oftab {

// Controller application ids are 1 to 8.
inline bool is_valid_app_id(uint32_t app_id) {
  return app_id - 1 <= 7;
}

// The parts of actions: dropping or not, and a copy to the CPU instead of dropping.
void set_drop(oftab_sw_entry_t &entry, uint32_t result_kind, bool drop);
void copy_to_cpu(oftab_sw_entry_t &entry, hw::cpu_code code);

// Gives the entry the action of the flow's result_type. 0, or -3, -10, -11.
int32_t apply_action(oftab_sw_entry_t &entry, const oftab_flow_t &flow, const action_caller &caller);

}  // namespace oftab

#endif
