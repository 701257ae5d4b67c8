/* SPDX-License-Identifier: Apache-2.0 */
/* The headers in C11, and calls through them. */
#include <string.h>

#include "oftab/oftab.h"
#include "platform/asic_sdk.h"
#include "platform/avl_tree.h"
#include "platform/bitset.h"
#include "platform/command_shell.h"
#include "platform/interface_manager.h"
#include "platform/message_service.h"
#include "platform/timers.h"
#include "platform/tracing.h"

const char *c_client_add_flow(void);

/* Adds one flow that denies everything, by the steps that a request takes, and names its action. */
const char *c_client_add_flow(void) {
  struct {
    oftab_entry_update_req_t header;
    oftab_flow_t flow;
  } request;
  struct {
    oftab_entry_update_resp_t header;
    oftab_resp_entry_t entry;
  } response;
  memset(&request, 0, sizeof request);
  memset(&response, 0, sizeof response);
  request.header.entry_op = OFTAB_ENTRY_ADD;
  request.header.num_entries = 1;
  request.flow.result_type = OFTAB_ACTION_DENY;
  if (oftab_main(0) != 0 || oftab_cp_current_to_shadow(1, 1) != OFTAB_OK ||
      oftab_insert_entries(&request.header, &response.header) != OFTAB_OK ||
      oftab_program_shadow_entries(&response.header) != OFTAB_OK || oftab_cp_shadow_to_current(1) != OFTAB_OK) {
    return "a step failed";
  }
  return oftab_get_result_string(oftab_hw_rsrc_g.current_table->tcam_entry[0].result_kind);
}
