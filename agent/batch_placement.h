// SPDX-License-Identifier: Apache-2.0
// Where the library will place the flows of an add request, and whether that keeps the order by priority.
//
// The library chooses the first index of its range anew for each add request and merges the request's flows with its
// own. It compares priorities only as long as it has not filled the indices up to the end of the old range: what is
// left of its own flows then comes first, what is left of the request behind it. A request that grows the table
// downwards can therefore end up out of order; one flow alone, or a request that grows the table upwards, cannot.
#ifndef AGENT_BATCH_PLACEMENT_H
#define AGENT_BATCH_PLACEMENT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "agent/flow.h"

namespace agent {

// The library's priority of a flow: exact matches stand above all others, whatever their priority says.
uint32_t library_priority(const Flow &flow);

// The priority that the flow was given.
uint32_t given_priority(uint32_t library_priority);

// The library's table, as far as placement looks at it.
struct TableShape {
  struct Live {
    uint32_t priority;
    uint16_t index;
  };
  size_t start = 0;
  size_t end = 0;
  uint32_t first_priority = 0;  // at `start`; 0 where a hole is
  std::vector<Live> live;       // in the order of their indices
};

TableShape table_shape();

// The index at which an add request of `count` flows will begin, the first of this priority.
size_t first_index(const TableShape &shape, size_t count, uint32_t priority);

// Whether one add request for flows of these priorities, which fall, leaves the table in order.
bool keeps_order(const TableShape &shape, std::span<const uint32_t> priorities);

}  // namespace agent

#endif
