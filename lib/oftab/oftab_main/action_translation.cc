// SPDX-License-Identifier: Apache-2.0
// Action translation: a flow's action becomes the drop, CPU and multicast bits of the hardware result.
#include "oftab/oftab_main/action_translation.h"

#include "oftab/port_bitmap.h"
#include "oftab/trace.h"

using namespace oftab;
using result_field = hw::forward_result;

namespace {

int32_t add_controller_flag(oftab_sw_entry_t &entry, const oftab_flow_t &flow) {
  if ((flow.action_flags & OFTAB_ACTION_FLAG_CONTROLLER) == 0) {
    return OFTAB_OK;
  }
  static const char op[] = "oftab_add_controller_action";
  TRACE_DETAIL_IN(op, "%s: app_id = %d result_type = %d \n", op, flow.app_id, flow.result_type);
  if (!is_valid_app_id(flow.app_id)) {
    return OFTAB_ERR_INVALID;
  }
  copy_to_cpu(entry, flow.result_type == OFTAB_ACTION_DENY ? hw::CPU_CODE_PUNT : hw::CPU_CODE_COPY);
  return OFTAB_OK;
}

int32_t replace_action(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  if (entry == nullptr || flow == nullptr) {
    return OFTAB_ERR_INVALID;
  }
  clear_ports(entry->out_ports);
  oftab_restore_result_action_defaults(entry);
  const int32_t status = apply_action(*entry, *flow, {"oftab_modify_action", true});
  return status != OFTAB_OK ? status : oftab_add_controller_action(entry, flow);
}

}  // namespace

void oftab::set_drop(oftab_sw_entry_t &entry, uint32_t result_kind, bool drop) {
  entry.result_kind = result_kind;
  hw::set(entry.hw.result, result_field::drop, drop ? 1 : 0);
}

void oftab::copy_to_cpu(oftab_sw_entry_t &entry, hw::cpu_code code) {
  entry.result_kind = OFTAB_RESULT_CONTROLLER;
  hw::set(entry.hw.result, result_field::drop, 0);
  hw::set(entry.hw.result, result_field::cp_to_cpu, 1);
  hw::set(entry.hw.result, result_field::cpu_code, code);
}

int32_t oftab::apply_action(oftab_sw_entry_t &entry, const oftab_flow_t &flow, const action_caller &caller) {
  switch (flow.result_type) {
    case OFTAB_ACTION_PERMIT:
      set_drop(entry, OFTAB_RESULT_PERMIT, false);
      return OFTAB_OK;
    case OFTAB_ACTION_DENY:
      set_drop(entry, OFTAB_RESULT_DENY, true);
      return OFTAB_OK;
    case OFTAB_ACTION_OUTPORT:
      return set_up_fanout(entry, flow, caller);
    case OFTAB_ACTION_CONTROLLER:
      if (!is_valid_app_id(flow.app_id)) {
        return OFTAB_ERR_INVALID;
      }
      copy_to_cpu(entry, hw::CPU_CODE_PUNT);
      return OFTAB_OK;
    default:
      TRACE_ERROR_IN(caller.function, "%s: invalid result type:%d \n", caller.function, flow.result_type);
      return OFTAB_ERR_RESULT_TYPE;
  }
}

int32_t oftab_add_controller_action(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  TRACE_ENTER();
  const int32_t status = add_controller_flag(*entry, *flow);
  TRACE_DETAIL("%s() Exit. Status:%d \n", __func__, status);
  return status;
}

int32_t oftab_modify_action(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  TRACE_ENTER();
  const int32_t status = replace_action(entry, flow);
  TRACE_DETAIL("%s() Exit. Status:%d \n", __func__, status);
  return status;
}

int32_t oftab_restore_result_action_defaults(oftab_sw_entry_t *entry) {
  release_fanout(__func__, *entry);
  hw::set(entry->hw.result, result_field::drop, 0);
  hw::set(entry->hw.result, result_field::cp_to_cpu, 0);
  hw::set(entry->hw.result, result_field::cpu_code, 0);
  return oftab_entry_clear_pc_data(entry);
}
