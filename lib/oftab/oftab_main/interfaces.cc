// SPDX-License-Identifier: Apache-2.0
// Interface requests: which front-panel interfaces are OpenFlow interfaces.
#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/message_service.h"

using namespace oftab;

namespace {

const char handler[] = "oftab_process_intf_update";

void copy_current_to_working() {
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  memcpy(global.shadow_intf_tbl, global.intf_tbl, sizeof global.shadow_intf_tbl);
  global.shadow_intf_count = global.intf_count;
}

void commit_working() {
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  memcpy(global.intf_tbl, global.shadow_intf_tbl, sizeof global.intf_tbl);
  global.intf_count = global.shadow_intf_count;
}

// Frees every slot of the working copy that holds the ifindex. The marker of empty slots names no interface.
void remove_from_working(uint32_t ifindex) {
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  if (ifindex == OFTAB_EMPTY_SLOT) {
    return;
  }
  for (uint32_t &slot : global.shadow_intf_tbl) {
    if (global.shadow_intf_count == 0) {
      return;
    }
    if (slot == ifindex) {
      slot = OFTAB_EMPTY_SLOT;
      --global.shadow_intf_count;
    }
  }
}

int32_t set_lldp(uint8_t sdk_port, uint32_t value) {
  return libsdk_port_static_match_enable_set(0, sdk_port, sdk_sm_id_lldp, value);
}

int32_t put_into_slot(uint32_t ifindex) {
  const uint8_t location = location_of(ifindex);
  if (location >= OFTAB_PORT_SLOTS) {
    return OFTAB_ERR_LOCATION;
  }
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  if (global.shadow_intf_tbl[location] != OFTAB_EMPTY_SLOT) {
    return OFTAB_ERR_FAIL;
  }
  TRACE_DETAIL_IN("oftab_add_intf", "Adding ifindex 0x%x at location:%d \n", ifindex, location);
  global.shadow_intf_tbl[location] = ifindex;
  ++global.shadow_intf_count;
  return OFTAB_OK;
}

// Runs the request's operation. Returns the handler's result.
int32_t apply(const oftab_intf_update_req_t *request, oftab_intf_update_resp_t *response) {
  switch (request->intf_op) {
    case OFTAB_INTF_ADD:
      return oftab_process_add_intf(request, response);
    case OFTAB_INTF_DELETE:
      return oftab_process_del_intf(request, response);
    default:
      response->status = OFTAB_ERR_INVALID;
      return OFTAB_ERR_FAIL;
  }
}

int32_t answer(void *reply, void *buffer) {
  const auto *request = static_cast<const oftab_intf_update_req_t *>(ipq_payload_get(buffer));
  if (request == nullptr) {
    TRACE_ERROR_IN(handler, "%s(): Null parameter \n", handler);
    return OFTAB_ERR_MESSAGE;
  }
  oftab_dump_intf_update_req(request);
  const size_t length = sizeof(oftab_intf_update_resp_t) + request->num_intfs * sizeof(oftab_intf_resp_info_t);
  const owned_memory memory(length);
  auto *response = memory.as<oftab_intf_update_resp_t>();
  if (response == nullptr) {
    TRACE_ERROR_IN(handler, "%s() Malloc failure \n", handler);
    return OFTAB_ERR_INVALID;
  }
  response->intf_op = request->intf_op;
  response->num_intfs = request->num_intfs;
  const int32_t status = apply(request, response);
  oftab_dump_intf_update_resp(response);
  fu_ipq_send_response(reply, response, static_cast<uint32_t>(length), buffer, 0);
  TRACE_DETAIL_IN(handler, "%s() Exit. status=%d \n", handler, status);
  return status;
}

}  // namespace

int32_t oftab_process_intf_update(void *reply, void *message, void *dispatch_context) {
  TRACE_ENTER();
  if (!is_ready(__func__)) {
    return OFTAB_ERR_NOT_READY;
  }
  if (prepare_reply(__func__, message, dispatch_context, OFTAB_MSG_INTF_UPDATE) != 0) {
    return OFTAB_ERR_MESSAGE;
  }
  return answer(reply, message_buffer(message));
}

int32_t oftab_process_add_intf(const oftab_intf_update_req_t *request, oftab_intf_update_resp_t *response) {
  TRACE_ENTER();
  copy_current_to_working();
  const auto *interfaces = records_of<const oftab_intf_req_info_t>(request);
  auto *answers = records_of<oftab_intf_resp_info_t>(response);
  for (uint16_t i = 0; i < request->num_intfs; ++i) {
    const uint32_t ifindex = interfaces[i].index;
    const int32_t status = oftab_add_intf(ifindex);
    answers[i] = {ifindex, interfaces[i].context, status};
    if (status != OFTAB_OK) {
      response->status = status;
    } else {
      oftab_update_lldp_sm_mask(ifindex, 0);
    }
  }
  if (response->status == OFTAB_OK) {
    commit_working();
  }
  TRACE_DETAIL("%s() Exit. Status=%d \n", __func__, response->status);
  return response->status;
}

int32_t oftab_process_del_intf(const oftab_intf_update_req_t *request, oftab_intf_update_resp_t *response) {
  TRACE_ENTER();
  const int32_t copied = oftab_cp_current_to_shadow(0, 0);
  if (copied != OFTAB_OK) {
    response->status = copied;
    TRACE_DETAIL("%s() Exit. Status=%d \n", __func__, copied);
    return copied;
  }
  copy_current_to_working();
  const auto *interfaces = records_of<const oftab_intf_req_info_t>(request);
  auto *answers = records_of<oftab_intf_resp_info_t>(response);
  for (uint16_t i = 0; i < request->num_intfs; ++i) {
    const uint32_t ifindex = interfaces[i].index;
    remove_from_working(ifindex);
    answers[i] = {ifindex, interfaces[i].context, OFTAB_OK};
    oftab_update_lldp_sm_mask(ifindex, 1);
  }
  if (oftab_hw_rsrc_g.shadow_intf_count != oftab_hw_rsrc_g.intf_count) {
    TRACE_DETAIL("Intfs deleted \n");
    commit_working();
  }
  release_array(*oftab_hw_rsrc_g.shadow_table);
  response->status = OFTAB_OK;
  TRACE_DETAIL("%s() Exit. Status=%d \n", __func__, OFTAB_OK);
  return OFTAB_OK;
}

int32_t oftab_add_intf(uint32_t ifindex) {
  TRACE_DETAIL("%s() Enter. ifindex:0x%x \n", __func__, ifindex);
  const int32_t status = put_into_slot(ifindex);
  TRACE_EXIT();
  return status;
}

int32_t oftab_update_lldp_sm_mask(uint32_t ifindex, uint32_t value) {
  int32_t rc = 0;
  void *port_channel = find_port_channel(ifindex);
  if (port_channel != nullptr) {
    for_each_member_port(__func__, port_channel, [&](uint32_t, uint8_t sdk_port) { rc = set_lldp(sdk_port, value); });
    return rc;
  }
  uint8_t sdk_port = 0;
  return find_sdk_port(__func__, ifindex, &sdk_port) ? set_lldp(sdk_port, value) : rc;
}
