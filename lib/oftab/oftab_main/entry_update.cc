// SPDX-License-Identifier: Apache-2.0
// Entry requests: one request, one transaction, one response.
#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/port_channels.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/message_service.h"

using namespace oftab;

namespace {

const char op[] = "oftab_process_entry_update";

void commit(oftab_entry_update_resp_t *response) {
  oftab_validate_entries();
  const int32_t status = oftab_cp_shadow_to_current(1);
  if (status != OFTAB_OK) {
    TRACE_ERROR_IN(op, "copy shadow to current failed \n");
    response->status = status;
    abandon_request(op);
    return;
  }
  finish_request(op);
}

// The operation on the shadow returned `status`: programs and commits what it changed, or takes it back.
void program_and_commit(int32_t status, oftab_entry_update_resp_t *response) {
  if (status != OFTAB_OK) {
    TRACE_ERROR_IN(op, "Insert entries failed \n");
    abandon_request(op);
  } else if (oftab_program_shadow_entries(response) != OFTAB_OK) {
    TRACE_ERROR_IN(op, "Programming entries failed \n");
    abandon_request(op);
  } else {
    commit(response);
  }
}

bool is_for_catch_all(const oftab_entry_update_req_t *request) {
  return request->num_entries == 1 && records_of<const oftab_flow_t>(request)->priority == OFTAB_CATCH_ALL_PRIORITY;
}

void add_entries(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response) {
  oftab_dump_entry_update_req(request);
  if (is_for_catch_all(request)) {
    oftab_install_catch_all_entry(1, request, response);
    return;
  }
  const int32_t status = oftab_cp_current_to_shadow(1, request->num_entries);
  if (status != OFTAB_OK) {
    TRACE_ERROR_IN(op, "Copy current to shadow failed \n");
    response->status = status;
    return;
  }
  program_and_commit(oftab_insert_entries(request, response), response);
}

void delete_entries(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response) {
  const auto *delete_request = reinterpret_cast<const oftab_entry_del_req_t *>(request);
  oftab_dump_entry_del_req(delete_request);
  const int32_t status = oftab_cp_current_to_shadow(0, request->num_entries);
  if (status != OFTAB_OK) {
    TRACE_ERROR_IN(op, "copy current to shadow failed \n");
    response->status = status;
    return;
  }
  if (oftab_process_entry_del_req(delete_request, response) != OFTAB_OK) {
    TRACE_ERROR_IN(op, "Deleting entries failed \n");
    abandon_request(op);
    return;
  }
  commit(response);
}

void modify_entries(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response) {
  oftab_dump_entry_update_req(request);
  const int32_t status = oftab_cp_current_to_shadow(0, request->num_entries);
  if (status != OFTAB_OK) {
    TRACE_ERROR_IN(op, "Copy current to shadow failed \n");
    response->status = status;
    return;
  }
  program_and_commit(oftab_modify_entries_top_down(request, response), response);
}

void apply(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response) {
  if (request->entry_op != OFTAB_ENTRY_PURGE) {  // a purge begins itself
    begin_request(op);
  }
  switch (request->entry_op) {
    case OFTAB_ENTRY_ADD:
      add_entries(request, response);
      break;
    case OFTAB_ENTRY_DELETE:
      delete_entries(request, response);
      break;
    case OFTAB_ENTRY_MODIFY:
      modify_entries(request, response);
      break;
    case OFTAB_ENTRY_PURGE:
      response->status = oftab_purge_all_entries();
      break;
    default:
      TRACE_ERROR_IN(op, "Invalid operation :%d\n", request->entry_op);
      response->status = OFTAB_ERR_INVALID;
      break;
  }
}

// The four bytes that the response echoes: the count of entries and the reserved bytes behind it.
const void *count_and_reserved(const oftab_entry_update_req_t *request) {
  return reinterpret_cast<const uint8_t *>(request) + offsetof(oftab_entry_update_req_t, num_entries);
}

// Applies the request in `buffer` and sends the response. Returns the result of sending, 0 without a response.
int32_t answer(void *reply, void *buffer) {
  const auto *request = static_cast<const oftab_entry_update_req_t *>(ipq_payload_get(buffer));
  if (request == nullptr) {
    TRACE_ERROR_IN(op, "%s() Exit. Null parameter \n", op);
    return 0;
  }
  const size_t length = sizeof(oftab_entry_update_resp_t) + request->num_entries * sizeof(oftab_resp_entry_t);
  const owned_memory memory(length);
  auto *response = memory.as<oftab_entry_update_resp_t>();
  if (response == nullptr) {
    TRACE_ERROR_IN(op, "Malloc error. \n");
    return 0;
  }
  response->entry_op = request->entry_op;
  memcpy(&response->num_entries, count_and_reserved(request), sizeof response->num_entries);
  TRACE_DETAIL_IN(op, "%s:  entry_op = %d\n", op, response->entry_op);
  apply(request, response);
  free_spare_records();
  oftab_dump_entry_update_resp(response);
  const int32_t rc = fu_ipq_send_response(reply, response, static_cast<uint32_t>(length), buffer, 0);
  TRACE_DETAIL_IN(op, "%s() Exit. rc=%d \n", op, rc);
  return rc;
}

}  // namespace

int32_t oftab_validate_entries(void) {
  TRACE_ENTER();
  TRACE_EXIT();
  return OFTAB_OK;
}

int32_t oftab_process_entry_update(void *reply, void *message, void *dispatch_context) {
  TRACE_ENTER();
  if (!is_ready(__func__)) {
    return 0;
  }
  oftab_install_catch_all_entry(0, nullptr, nullptr);
  const int32_t status = prepare_reply(__func__, message, dispatch_context, OFTAB_MSG_ENTRY_UPDATE);
  return status != 0 ? status : answer(reply, message_buffer(message));
}
