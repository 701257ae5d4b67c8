#include "oftab/oftab_main/flow_memory.h"

#include "oftab/hw_entry.h"

namespace oftab {
namespace {

// What a failed modification changes in a result: drop, cp_to_cpu and cpu_code, which stand side by side.
constexpr hw::field ACTION = {hw::forward_result::drop.offset, 5};
static_assert(hw::forward_result::cpu_code.offset + hw::forward_result::cpu_code.width == ACTION.offset + ACTION.width);

struct kept_action {
  bool kept;
  uint8_t bits;
};

struct past_and_present {
  kept_action now;
  uint32_t modified_in;  // the request in which what follows was noted
  kept_action before;
  bool had_fanout;
};

past_and_present flows[1U << 16];  // by counter, which tells flows apart

uint32_t request = 1;

past_and_present &memory_of(const oftab_sw_entry_t &entry) {
  return flows[entry.stats_id];
}

}  // namespace

cache_unified_entry due_record(const oftab_sw_entry_t &entry) {
  cache_unified_entry due = entry.hw;
  const kept_action action = memory_of(entry).now;
  if (action.kept && hw::get(due.key, hw::ip_key::vld) != 0) {
    hw::set(due.result, ACTION, action.bits);
  }
  return due;
}

void keep_action(const oftab_sw_entry_t &entry, const cache_unified_entry &due) {
  memory_of(entry).now = {true, static_cast<uint8_t>(hw::get(due.result, ACTION))};
}

void drop_kept_action(const oftab_sw_entry_t &entry) {
  memory_of(entry).now = {};
}

void begin_modifications() {
  ++request;
}

uint32_t current_request() {
  return request;
}

void note_modification(const oftab_sw_entry_t &entry, bool has_fanout) {
  past_and_present &memory = memory_of(entry);
  if (memory.modified_in != request) {
    memory.modified_in = request;
    memory.before = memory.now;
    memory.had_fanout = has_fanout;
  }
}

bool was_modified(const oftab_sw_entry_t &entry) {
  return memory_of(entry).modified_in == request;
}

bool had_fanout(const oftab_sw_entry_t &entry) {
  return memory_of(entry).had_fanout;
}

void take_back_modification(const oftab_sw_entry_t &entry) {
  past_and_present &memory = memory_of(entry);
  memory.now = memory.before;
  memory.modified_in = 0;
}

void forget_flow(uint16_t stats_id) {
  flows[stats_id] = {};
}

}  // namespace oftab
