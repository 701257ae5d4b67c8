// SPDX-License-Identifier: Apache-2.0
// The catch-all entry at the last index of the region: what happens to packets that no flow matched.
#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/action_translation.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/trace.h"

using namespace oftab;
using result_field = hw::forward_result;

namespace {

const char op[] = "oftab_install_catch_all_entry";

bool is_in_tcam(oftab_sw_entry_t &entry) {
  entry.tcam_index = OFTAB_CATCH_ALL_INDEX;
  const int32_t rc =
      qtr_custom_cache_unified_entry_get(0, OFTAB_CATCH_ALL_INDEX, entry.hw.key, entry.hw.mask, entry.hw.result);
  if (rc == 0) {
    note_read(OFTAB_CATCH_ALL_INDEX, entry.hw);
  }
  return rc == 0 && hw::get(entry.hw.key, hw::ip_key::vld) == 1;
}

// Writes the entry. The counter of the record that stood there before goes back if this was the last to name it.
int32_t write_entry(const oftab_sw_entry_t &entry) {
  const uint32_t before = counter_named_at(OFTAB_CATCH_ALL_INDEX);
  if (tcam_write(entry) != 0) {
    TRACE_ERROR_IN(op, "Installing unified catch all entry at %d failed\n", entry.tcam_index);
    return OFTAB_ERR_FAIL;
  }
  if (counter_named_at(OFTAB_CATCH_ALL_INDEX) != before) {
    release_unnamed(op);
  }
  return OFTAB_OK;
}

void fill_dropping(oftab_sw_entry_t &entry) {
  hw::set(entry.hw.result, result_field::entry_type, 1);
  set_drop(entry, OFTAB_RESULT_DENY, true);
  hw::set(entry.hw.result, result_field::adj_stats_ptr, entry.stats_id);
  hw::set(entry.hw.key, hw::ip_key::vld, 1);
  hw::set(entry.hw.mask, hw::ip_key::l2lif, hw::GLOBAL_LIF_BIT);
  hw::set(entry.hw.mask, hw::ip_key::vld, 1);
}

int32_t install(oftab_sw_entry_t &entry) {
  if (is_in_tcam(entry)) {
    TRACE_DETAIL_IN(op, "Unified catch all valid at %d\n", OFTAB_CATCH_ALL_INDEX);
    return OFTAB_OK;
  }
  const oftab_sw_entry_t before = entry;
  memset(&entry, 0, sizeof entry);
  release_unnamed(op);  // the counter that only this record named
  const bool unreadable = is_own_counter(before.stats_id);
  entry.tcam_index = OFTAB_CATCH_ALL_INDEX;
  if (create_entry_counter(op, &entry.stats_id) != 0) {
    return OFTAB_ERR_FAIL;
  }
  own_counter(entry.stats_id);
  fill_dropping(entry);
  const int32_t status = write_entry(entry);
  if (status != OFTAB_OK && unreadable) {
    // The record that could not be read stands, and goes on with the counter that it names.
    release_counter(op, entry.stats_id);
    entry = before;
  }
  return status;
}

// Puts the flow's action into the record. -3 for a controller action without a valid app_id.
int32_t update_action(oftab_sw_entry_t &entry, const oftab_flow_t &flow) {
  switch (flow.result_type) {
    case OFTAB_ACTION_PERMIT:
      set_drop(entry, OFTAB_RESULT_PERMIT, false);
      return OFTAB_OK;
    case OFTAB_ACTION_DENY:
      set_drop(entry, OFTAB_RESULT_DENY, true);
      return OFTAB_OK;
    case OFTAB_ACTION_CONTROLLER:
      if (!is_valid_app_id(flow.app_id)) {
        return OFTAB_ERR_INVALID;
      }
      copy_to_cpu(entry, hw::CPU_CODE_COPY);
      return OFTAB_OK;
    default:
      return OFTAB_OK;
  }
}

int32_t update(oftab_sw_entry_t &entry, const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response) {
  if (request == nullptr) {
    return OFTAB_ERR_INVALID;
  }
  const auto *flow = records_of<const oftab_flow_t>(request);
  TRACE_DETAIL_IN(op, "%s() result_type = %d app = %d \n", op, flow->result_type, flow->app_id);
  int32_t status = update_action(entry, *flow);
  if (status == OFTAB_OK) {
    status = write_entry(entry);
  }
  if (response != nullptr) {
    *records_of<oftab_resp_entry_t>(response) = {flow->context, flow->seq_no, status};
    response->status = status;
  }
  return status;
}

}  // namespace

int32_t oftab_install_catch_all_entry(int32_t update_result, const oftab_entry_update_req_t *request,
                                      oftab_entry_update_resp_t *response) {
  TRACE_DETAIL("%s() Enter update_result = %d \n", __func__, update_result);
  if (oftab_hw_rsrc_g.initialized == 0) {
    return OFTAB_ERR_FAIL;
  }
  oftab_sw_entry_t &entry = oftab_hw_rsrc_g.catch_all_entry;
  const int32_t status = update_result == 0 ? install(entry) : update(entry, request, response);
  TRACE_DETAIL("%s() Exit. Status:%d \n", __func__, status);
  return status;
}
