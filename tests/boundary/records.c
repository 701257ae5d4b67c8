/* SPDX-License-Identifier: Apache-2.0 */
/* All headers in C11, and one object of each record, of each set of constants and of each import's type that crosses
   the library's boundaries, for the comparison of layouts, values and prototypes. */
#include "oftab/oftab.h"
#include "platform/asic_sdk.h"
#include "platform/avl_tree.h"
#include "platform/bitset.h"
#include "platform/command_shell.h"
#include "platform/interface_manager.h"
#include "platform/message_service.h"
#include "platform/timers.h"
#include "platform/tracing.h"

#define RECORD(type)             \
  extern type example_of_##type; \
  type example_of_##type

RECORD(oftab_entry_update_req_t);
RECORD(oftab_flow_t);
RECORD(oftab_entry_del_req_t);
RECORD(oftab_del_entry_t);
RECORD(oftab_entry_update_resp_t);
RECORD(oftab_resp_entry_t);
RECORD(oftab_intf_update_req_t);
RECORD(oftab_intf_req_info_t);
RECORD(oftab_intf_update_resp_t);
RECORD(oftab_intf_resp_info_t);
RECORD(oftab_stats_query_req_t);
RECORD(oftab_stats_req_info_t);
RECORD(oftab_stats_query_resp_t);
RECORD(oftab_stats_resp_info_t);
RECORD(route_stats);
RECORD(vlan_to_bd);

#define CONSTANTS(type)               \
  extern enum type example_of_##type; \
  enum type example_of_##type

CONSTANTS(oftab_size);
CONSTANTS(oftab_stats_id);
CONSTANTS(oftab_message);
CONSTANTS(oftab_status);
CONSTANTS(oftab_entry_op);
CONSTANTS(oftab_intf_op);
CONSTANTS(oftab_stats_op);
CONSTANTS(oftab_action);
CONSTANTS(oftab_action_flag);
CONSTANTS(oftab_result);
CONSTANTS(oftab_entry_flag);
CONSTANTS(tcam_size);
CONSTANTS(switch_config_attribute);
CONSTANTS(openflow_state_record);
CONSTANTS(special_intf_id);
CONSTANTS(message_record);

enum macros {
  value_of_OFTAB_EMPTY_SLOT = OFTAB_EMPTY_SLOT,
  value_of_OFTAB_CATCH_ALL_PRIORITY = OFTAB_CATCH_ALL_PRIORITY
};
CONSTANTS(macros);

/* A pointer to each service of imports.txt. */
#define IMPORT(name)                            \
  extern __typeof__(&(name)) pointer_to_##name; \
  __typeof__(&(name)) pointer_to_##name
#include "imports.h"
