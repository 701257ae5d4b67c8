// SPDX-License-Identifier: Apache-2.0
// Insertion: where new flows go.
//
// Reading the TCAM from index 0 upwards, flows stand by falling priority. The table occupies one range of indices; a
// request of n flows goes above it if its first priority is not below the range's first (or there is only room above),
// else below it. From the start index so chosen, current entries and new flows are merged by priority:
//
//   priorities   2000: 90  2001: 80  2002: 70      add 85, 60: both below 90, room below, so the merge starts at 2000
//   after        2000: 90  2001: 85  2002: 80  2003: 70  2004: 60      80 and 70 have moved
//
// Once the merge has passed the old range, priorities are compared no more: what is left of the table follows, then
// what is left of the request, in its own order.
#include <cstring>

#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

const char top_down[] = "oftab_insert_entries_top_down";

constexpr uint16_t FIRST_PLACEMENT = 2000;
constexpr uint16_t LAST_INDEX = OFTAB_FLOW_CAPACITY - 1;

enum direction : uint32_t { TOP_DOWN = 1, BOTTOM_UP = 2 };

struct placement {
  uint16_t start;
  uint32_t direction;
};

placement place_first(uint16_t count) {
  const auto start = static_cast<uint16_t>(count >= FIRST_PLACEMENT ? OFTAB_FLOW_CAPACITY - count : FIRST_PLACEMENT);
  TRACE_DETAIL_IN("oftab_insert_entries", "first time installing. start_idnex:%d \n", start);
  return {start, TOP_DOWN};
}

// Where the merge of `count` flows, the first of priority `first_priority`, starts in a table that is not empty.
placement choose_placement(const oftab_tcam_tbl_t &table, uint16_t count, uint32_t first_priority) {
  static const char op[] = "oftab_insert_entries";
  const table_view records = current_view();
  const uint32_t top_priority = records.count > 0 && is_used(*records.first) ? records.first->priority : 0;
  const bool room_above = table.tcam_st_idx >= count;
  const bool room_below = LAST_INDEX - table.tcam_end_idx >= count;
  const placement above = {static_cast<uint16_t>(table.tcam_st_idx - count), TOP_DOWN};
  const placement below = {static_cast<uint16_t>(table.tcam_end_idx + count), BOTTOM_UP};
  if (room_above && first_priority >= top_priority) {
    TRACE_DETAIL_IN(op, "top free & prio. start_index:%d install_dir:%d \n", above.start, above.direction);
    return above;
  }
  if (room_below && first_priority < top_priority) {
    TRACE_DETAIL_IN(op, "bottom free & prio. start_index:%d install_dir:%d \n", below.start, below.direction);
    return below;
  }
  if (room_above) {
    TRACE_DETAIL_IN(op, "top free. start_index:%d install_dir:%d \n", above.start, above.direction);
    return above;
  }
  if (room_below) {
    TRACE_DETAIL_IN(op, "bottom free. start_index:%d install_dir:%d \n", below.start, below.direction);
    return below;
  }
  TRACE_DETAIL_IN(op, "Default top-down. start_index:%d install_dir:%d \n", 0, TOP_DOWN);
  return {0, TOP_DOWN};
}

// The merge of the current table (from `next_record_` on) and a request into the shadow table.
class merge {
 public:
  merge(const oftab_entry_update_req_t *request, uint16_t start, oftab_entry_update_resp_t *response)
      : index_(start),
        flow_(records_of<const oftab_flow_t>(request)),
        flows_left_(request->num_entries),
        response_(response),
        answer_(records_of<oftab_resp_entry_t>(response)),
        current_(current_view()),
        next_record_(current_.begin()) {}

  // Places everything; returns the last index used (one below the start when nothing was placed), whole even where it
  // lies beyond the array.
  uint32_t run() {
    while (flows_left_ > 0 && !has_passed_range(index_) && next_record_ != current_.end()) {
      if (!is_used(*next_record_)) {
        ++next_record_;
      } else if (flow_goes_first(*next_record_, index_)) {
        place_flow();
      } else {
        place_records(count_before_flow());
      }
    }
    while (next_record_ != current_.end()) {
      if (is_used(*next_record_)) {
        place_records(count_before_hole());
      } else {
        ++next_record_;
      }
    }
    while (flows_left_ > 0) {
      place_flow();
    }
    return index_ - 1;
  }

 private:
  static bool has_passed_range(uint32_t index) { return oftab_hw_rsrc_g.current_table->tcam_end_idx < index; }

  // Among equal priorities, the entry that need not move comes before the new flow, any other after it.
  bool flow_goes_first(const oftab_sw_entry_t &record, uint32_t index) const {
    return flow_->priority > record.priority || (flow_->priority == record.priority && record.tcam_index != index);
  }

  // Whether the entry `k` places behind the next one follows on it without a hole.
  bool is_beside(uint32_t k) const { return next_record_ + k != current_.end() && is_used(next_record_[k]); }

  uint32_t count_before_hole() const {
    uint32_t count = 1;
    while (is_beside(count)) {
      ++count;
    }
    return count;
  }

  // The entries side by side up to the one that the next flow goes before.
  uint32_t count_before_flow() const {
    uint32_t count = 1;
    while (is_beside(count) && !flow_goes_first(next_record_[count], index_ + count)) {
      ++count;
    }
    return count;
  }

  // The shadow record to fill next; null beyond the last index.
  oftab_sw_entry_t *free_slot() const {
    return index_ <= LAST_INDEX ? oftab_hw_rsrc_g.shadow_table->tcam_entry + index_ : nullptr;
  }

  // Entries side by side are copied in one piece: a request leaves most of the table together.
  void place_records(uint32_t count) {
    if (oftab_sw_entry_t *slots = free_slot()) {
      const uint32_t room = OFTAB_FLOW_CAPACITY - index_;
      const uint32_t fitting = count < room ? count : room;
      memcpy(slots, next_record_, fitting * sizeof *slots);
      if (slots->tcam_index != index_ || is_unsettled()) {
        move(slots, fitting);
      }
      count_placed(fitting);
    }
    next_record_ += count;
    index_ += count;
  }

  // An entry that is not at its index, after a failure, is written as if it moved.
  void move(oftab_sw_entry_t *slots, uint32_t count) const {
    for (uint32_t k = 0; k < count; ++k) {
      if (slots[k].tcam_index != index_ + k || is_write_due(slots[k])) {
        set_flags(slots[k], OFTAB_ENTRY_MOVED);
      }
      slots[k].tcam_index = static_cast<uint16_t>(index_ + k);
    }
  }

  void place_flow() {
    oftab_sw_entry_t *slot = free_slot();
    answer_->context = flow_->context;
    answer_->seq_no = flow_->seq_no;
    const int32_t status = slot != nullptr ? convert_into(*slot) : OFTAB_ERR_CAPACITY;
    answer_->status = status;
    if (status != OFTAB_OK) {
      response_->status = status;
    }
    if (status == OFTAB_OK) {
      count_placed(1);
    }
    if (status == OFTAB_OK || slot == nullptr) {
      ++index_;
    }
    flow_ = next_flow(flow_);
    ++answer_;
    --flows_left_;
  }

  int32_t convert_into(oftab_sw_entry_t &slot) const {
    const int32_t status = oftab_convert_vmr_to_hw_vmr(&slot, flow_);
    slot.seq_no = flow_->seq_no;
    if (status != OFTAB_OK) {
      TRACE_ERROR_IN(top_down, "oftab_convert_vmr_to_hw_vmr failed (%d) \n", status);
      release_failed_entry(top_down, slot);
      memset(&slot, 0, sizeof slot);
      return status;
    }
    own_counter(slot.stats_id);
    slot.tcam_index = static_cast<uint16_t>(index_);
    slot.priority = flow_->priority;
    slot.ifindex = flow_->value.ifindex;
    set_flags(slot, OFTAB_ENTRY_NEW);
    if (flow_->mask.ifindex == 0xFFFFFFFFU) {
      oftab_add_intf(flow_->value.ifindex);
    }
    return OFTAB_OK;
  }

  static void count_placed(uint32_t count) {
    oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
    shadow.entries_allocated = static_cast<uint16_t>(shadow.entries_allocated + count);
    shadow.free_entries = static_cast<uint16_t>(shadow.free_entries - count);
  }

  uint32_t index_;  // the next TCAM index to fill
  const oftab_flow_t *flow_;
  uint16_t flows_left_;
  oftab_entry_update_resp_t *response_;
  oftab_resp_entry_t *answer_;
  table_view current_;
  oftab_sw_entry_t *next_record_;
};

// A range that leads past the array ends with the array; one that begins behind it, or that placed nothing from index 0
// on, is empty.
void fit_header(oftab_tcam_tbl_t &shadow, uint32_t end) {
  if (shadow.tcam_st_idx > LAST_INDEX || (end > LAST_INDEX && shadow.entries_allocated == 0)) {
    set_empty_header(shadow);
  } else if (end > LAST_INDEX) {
    shadow.tcam_end_idx = LAST_INDEX;
  }
}

}  // namespace

int32_t oftab_insert_entries(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response) {
  TRACE_ENTER();
  const oftab_tcam_tbl_t &current = *oftab_hw_rsrc_g.current_table;
  const uint16_t count = request->num_entries;
  const uint32_t first_priority = count > 0 ? records_of<const oftab_flow_t>(request)->priority : 0;
  const placement chosen = current.free_entries == OFTAB_FLOW_CAPACITY
                               ? place_first(count)
                               : choose_placement(current, count, first_priority);
  TRACE_DETAIL("start_index:%d install_dir:%d \n", chosen.start, chosen.direction);
  uint16_t start = chosen.start;
  if (chosen.direction == BOTTOM_UP) {
    // Below the range: the merge starts with the range and runs down into the free room.
    start = current.tcam_st_idx;
    TRACE_DETAIL("using top_down for bottom up start_index:%d install_dir:%d \n", start, BOTTOM_UP);
  }
  const int32_t status = oftab_insert_entries_top_down(request, start, TOP_DOWN, response);
  TRACE_DETAIL("%s() Exit. status=%d \n", __func__, status);
  return status;
}

int32_t oftab_insert_entries_top_down(const oftab_entry_update_req_t *request, uint16_t start, uint32_t /*direction*/,
                                      oftab_entry_update_resp_t *response) {
  TRACE_ENTER();
  oftab_tcam_tbl_t &shadow = *oftab_hw_rsrc_g.shadow_table;
  shadow.tcam_st_idx = start;
  const uint32_t end = merge(request, start, response).run();
  shadow.tcam_end_idx = static_cast<uint16_t>(end);
  if (end > LAST_INDEX) {
    TRACE_WARNING("*** Something wrong in updating the table(). start_index=%d end_index=%d *** \n", start,
                  shadow.tcam_end_idx);
  }
  fit_header(shadow, end);
  TRACE_EXIT();
  return response->status;
}

int32_t oftab_insert_entries_bottom_up(void) {
  TRACE_ENTER();
  TRACE_EXIT();
  return 0;
}
