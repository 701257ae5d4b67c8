// SPDX-License-Identifier: Apache-2.0
#include "oftab/oftab_main/counters.h"

#include <cstring>

#include "oftab/oftab.h"
#include "oftab/oftab_main/flow_memory.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/trace.h"

namespace oftab {
namespace {

bool own[1U << 16];  // by counter

int32_t ask_for_counter(uint32_t *id) {
  uint32_t block[4] = {0xFFFFFFFFU, 0, 0, 0};
  const int32_t rc = libsdk_l3_route_stats_create(0, block);
  *id = block[0];
  return rc;
}

// Whether a record whose erasure was refused still counts on it. It is kept for that record, or a flow would get the
// record's packets counted.
bool is_named_by_stray(uint32_t id) {
  return is_unsettled() && records_naming_counter(counter_name(static_cast<uint16_t>(id))) > 0;
}

}  // namespace

int32_t create_counter(const char *function, uint32_t *id) {
  int32_t rc = ask_for_counter(id);
  while (rc == 0 && is_named_by_stray(*id)) {
    own_counter(static_cast<uint16_t>(*id));
    rc = ask_for_counter(id);
  }
  if (rc != 0) {
    TRACE_ERROR_IN(function, "\ncreating stats_id failed, sdkrc %d\n", rc);
    *id = 0xFFFFFFFFU;
    return rc;
  }
  forget_flow(static_cast<uint16_t>(*id));
  TRACE_DETAIL_IN(function, "stats_id %d allocated\n", *id);
  return 0;
}

int32_t create_entry_counter(const char *function, uint16_t *stats_id) {
  uint32_t id = 0;
  const int32_t rc = create_counter(function, &id);
  *stats_id = static_cast<uint16_t>(id);
  if (rc == 0) {
    oftab_dummy_stats_reader(*stats_id);
  }
  return rc;
}

void own_counter(uint16_t stats_id) {
  own[stats_id] = true;
}

bool is_own_counter(uint16_t stats_id) {
  return own[stats_id];
}

uint16_t first_own_counter(uint16_t stats_id) {
  constexpr uint16_t END = OFTAB_STATS_ID_NONE;
  const auto *found = static_cast<const bool *>(memchr(own + stats_id, true, END - stats_id));
  return found != nullptr ? static_cast<uint16_t>(found - own) : END;
}

void release_counter(const char *function, uint16_t stats_id) {
  own[stats_id] = false;
  const int32_t rc = libsdk_l3_route_stats_destroy(0, stats_id);
  if (rc != 0) {
    TRACE_WARNING_IN(function, "%s: counter %d could not be destroyed, sdkrc %d\n", function, stats_id, rc);
  }
}

}  // namespace oftab

int32_t oftab_dummy_stats_reader(uint16_t stats_id) {
  TRACE_ENTER();
  route_stats dropped = {};
  return libsdk_l3_route_stats_get(0, stats_id, 0, &dropped);
}
