// SPDX-License-Identifier: Apache-2.0
#include "oftab/oftab_main/flow_memory.h"

#include "oftab/hw_entry.h"

namespace oftab {
namespace {

// What a failed modification changes in a result: drop, cp_to_cpu and cpu_code, which stand side by side.
constexpr hw::field ACTION = {hw::forward_result::drop.offset, 5};
static_assert(hw::forward_result::cpu_code.offset + hw::forward_result::cpu_code.width == ACTION.offset + ACTION.width);

constexpr uint8_t KEPT = 0x80;

struct flow_memory {
  uint8_t action;  // KEPT and the bits of the kept action; 0 when none is kept
  // As they were before the first modification in request `modified_in`:
  uint32_t modified_in;
  uint8_t action_before;
  bool had_fanout;
};

flow_memory flows[1U << 16];
uint32_t request = 1;

}  // namespace

cache_unified_entry due_record(const oftab_sw_entry_t &entry) {
  cache_unified_entry due = entry.hw;
  const uint8_t action = flows[entry.stats_id].action;
  if (action != 0 && hw::get(due.key, hw::ip_key::vld) != 0) {
    hw::set(due.result, ACTION, action);
  }
  return due;
}

void keep_action(const oftab_sw_entry_t &entry, const cache_unified_entry &due) {
  flows[entry.stats_id].action = static_cast<uint8_t>(KEPT | hw::get(due.result, ACTION));
}

void drop_kept_action(const oftab_sw_entry_t &entry) {
  flows[entry.stats_id].action = 0;
}

void begin_modifications() {
  ++request;
}

uint32_t current_request() {
  return request;
}

void note_modification(const oftab_sw_entry_t &entry, bool has_fanout) {
  flow_memory &flow = flows[entry.stats_id];
  if (flow.modified_in != request) {
    flow = {flow.action, request, flow.action, has_fanout};
  }
}

bool take_back_modification(const oftab_sw_entry_t &entry, bool *had_fanout) {
  flow_memory &flow = flows[entry.stats_id];
  *had_fanout = flow.had_fanout;
  if (flow.modified_in != request) {
    return false;
  }
  flow = {flow.action_before, 0, 0, false};
  return true;
}

void forget_flow(uint16_t stats_id) {
  flows[stats_id] = {};
}

}  // namespace oftab
