// SPDX-License-Identifier: Apache-2.0
#include "oftab/oftab_main/tcam.h"

#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/oftab_main/flow_memory.h"
#include "oftab/trace.h"

namespace oftab {
namespace {

enum content : uint8_t { NOTHING, OWN, FOREIGN, FOREIGN_INVALID };

cache_unified_entry records[TCAM_INDICES];
content contents[TCAM_INDICES];

// Derived from the above, where counting each time would cost too much.
uint16_t counter_names[COUNTER_NAMES];
uint16_t index_names[1U << 14];
int flow_indices_with[4];  // by content

bool unsettled = false;

bool is_valid(content what) {
  return what == OWN || what == FOREIGN;
}

void count(uint16_t tcam_index, int by) {
  const content what = contents[tcam_index];
  if (is_valid(what)) {
    uint16_t &counter = counter_names[counter_named_by(records[tcam_index])];
    uint16_t &index = index_names[hw::ltl_idx(records[tcam_index].result)];
    counter = static_cast<uint16_t>(counter + by);
    index = static_cast<uint16_t>(index + by);
  }
  if (tcam_index < OFTAB_FLOW_CAPACITY && what != NOTHING) {
    flow_indices_with[what] += by;
  }
}

void note(uint16_t tcam_index, const cache_unified_entry &record, content valid, content invalid) {
  count(tcam_index, -1);
  records[tcam_index] = record;
  contents[tcam_index] = hw::get(record.key, hw::ip_key::vld) != 0 ? valid : invalid;
  count(tcam_index, 1);
}

}  // namespace

int32_t tcam_write(const oftab_sw_entry_t &entry) {
  const cache_unified_entry due = due_record(entry);
  const bool of_flow = entry.tcam_index < OFTAB_FLOW_CAPACITY;
  const int32_t rc = qtr_custom_cache_unified_entry_set(0, entry.tcam_index, due.key, due.mask, due.result);
  // What a foreign record named may be nobody's now.
  unsettled = unsettled || (of_flow && (rc != 0 || is_foreign(entry.tcam_index)));
  if (rc == 0 && entry.tcam_index < TCAM_INDICES) {
    note(entry.tcam_index, due, OWN, NOTHING);
  }
  return rc;
}

bool program_record(const char *function, const oftab_sw_entry_t &entry) {
  const int32_t rc = tcam_write(entry);
  if (rc != 0) {
    TRACE_ERROR_IN(function, "\nFailed Programming entry  %d. rc=%d", entry.tcam_index, rc);
  } else {
    TRACE_DETAIL_IN(function, "\nSUCCESS Programming the entry at index %d \n", entry.tcam_index);
  }
  return rc == 0;
}

void note_foreign_write(uint32_t tcam_index, const cache_unified_entry &record) {
  if (tcam_index < TCAM_INDICES) {
    note(static_cast<uint16_t>(tcam_index), record, FOREIGN, FOREIGN_INVALID);
  }
}

void note_read(uint16_t tcam_index, const cache_unified_entry &record) {
  if (memcmp(&records[tcam_index], &record, sizeof record) != 0) {
    note_foreign_write(tcam_index, record);
  }
}

const cache_unified_entry *standing_record(uint16_t tcam_index) {
  return contents[tcam_index] == OWN ? &records[tcam_index] : nullptr;
}

bool is_foreign(uint16_t tcam_index) {
  return contents[tcam_index] == FOREIGN || contents[tcam_index] == FOREIGN_INVALID;
}

bool stands(const oftab_sw_entry_t &entry) {
  const cache_unified_entry due = due_record(entry);
  const cache_unified_entry *standing = standing_record(entry.tcam_index);
  return standing != nullptr && memcmp(standing, &due, sizeof due) == 0;
}

uint32_t counter_named_by(const cache_unified_entry &record) {
  return hw::get32(record.result, hw::forward_result::adj_stats_ptr);
}

uint32_t counter_named_at(uint16_t tcam_index) {
  return counter_named_by(records[tcam_index]);
}

unsigned records_naming_counter(uint32_t counter) {
  return counter_names[counter];
}

unsigned records_naming_index(uint32_t mcst_idx) {
  return index_names[mcst_idx];
}

int count_own_records() {
  return flow_indices_with[OWN];
}

bool any_foreign() {
  return flow_indices_with[FOREIGN] + flow_indices_with[FOREIGN_INVALID] > 0;
}

bool is_unsettled() {
  return unsettled;
}

void set_unsettled(bool now) {
  unsettled = now;
}

}  // namespace oftab
