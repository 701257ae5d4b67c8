// SPDX-License-Identifier: Apache-2.0
#include "agent/batch_placement.h"

#include <algorithm>

#include "agent/fields.h"
#include "agent/table_view.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

constexpr size_t kLastIndex = OFTAB_FLOW_CAPACITY - 1;
constexpr uint32_t kExactRank = 0x10000;  // above every priority of OpenFlow

// Whether nothing more could be compared of the packets that match.
bool is_exact(const Match &match) {
  return std::ranges::all_of(field_rows(), [&](const FieldRow &row) {
    return match[row.field].mask == (met(row.needs, match) ? row.exact : 0);
  });
}

}  // namespace

uint32_t library_priority(const Flow &flow) {
  return priority_of(flow) + (is_exact(flow.match) ? kExactRank : 0);
}

uint32_t given_priority(uint32_t library_priority) {
  return library_priority % kExactRank;
}

TableShape table_shape() {
  TableShape shape;
  const auto records = table_records();
  if (records.empty()) {
    return shape;
  }
  shape.start = oftab_hw_rsrc_g.current_table->tcam_st_idx;
  shape.end = oftab_hw_rsrc_g.current_table->tcam_end_idx;
  shape.first_priority = records.front().priority;
  for (const oftab_sw_entry_t &record : records) {
    if (is_live(record)) {
      shape.live.push_back({record.priority, record.tcam_index});
    }
  }
  return shape;
}

size_t first_index(const TableShape &shape, size_t count, uint32_t priority) {
  const bool fits_above = shape.start >= count;
  const bool fits_below = kLastIndex - shape.end >= count;
  const bool goes_above = fits_above && (priority >= shape.first_priority || !fits_below);
  if (goes_above) {
    return shape.start - count;
  }
  return fits_below ? shape.start : 0;
}

// The library's own merge, on priorities alone.
bool keeps_order(const TableShape &shape, std::span<const uint32_t> priorities) {
  if (shape.live.empty() || priorities.size() <= 1) {
    return true;
  }
  auto next = priorities.begin();
  auto live = shape.live.begin();
  size_t index = first_index(shape, priorities.size(), priorities.front());
  for (; next != priorities.end() && live != shape.live.end() && index <= shape.end; ++index) {
    const bool new_one = *next > live->priority || (*next == live->priority && live->index != index);
    if (new_one) {
      ++next;
    } else {
      ++live;
    }
  }
  return next == priorities.end() || live == shape.live.end() || *next <= shape.live.back().priority;
}

}  // namespace agent
