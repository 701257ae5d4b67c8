// SPDX-License-Identifier: Apache-2.0
#include "oftab/oftab_main/multicast_pool.h"

#include "oftab/hw_entry.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/flow_memory.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/bitset.h"

void *g_oftab_mcast_idx_bmp = nullptr;
uint32_t g_oftab_mcst_idx_lower = oftab::POOL_LOWER;
uint32_t g_oftab_mcst_idx_upper = oftab::POOL_LOWER + OFTAB_MCST_IDX_COUNT;
uint32_t g_oftab_mcst_idx_last_allocated = oftab::POOL_LOWER;

namespace oftab {
namespace {

pool_index pool[OFTAB_MCST_IDX_COUNT];

void create_pool() {
  g_oftab_mcast_idx_bmp = bitset_create(OFTAB_MCST_IDX_COUNT);
  if (g_oftab_mcast_idx_bmp != nullptr) {
    bitset_clear(g_oftab_mcast_idx_bmp);
    g_oftab_mcst_idx_last_allocated = POOL_LOWER;
  }
}

// Whether a record of the table, but the one for `own_tcam_index`, is to name the index once it is written.
bool is_named_in(const table_view &table, uint32_t index, uint16_t own_tcam_index) {
  for (const oftab_sw_entry_t &entry : table) {
    if (is_used(entry) && entry.tcam_index != own_tcam_index && hw::ltl_idx(entry.hw.result) == index) {
      return true;
    }
  }
  return false;
}

// Whether any record but the one for `own_tcam_index` names the index, in the TCAM or on its way there.
bool is_named_by_another(uint32_t index, uint16_t own_tcam_index) {
  const cache_unified_entry *own = own_tcam_index < TCAM_INDICES ? standing_record(own_tcam_index) : nullptr;
  const unsigned own_names = own != nullptr && hw::ltl_idx(own->result) == index ? 1 : 0;
  if (records_naming_index(index) > own_names) {
    return true;
  }
  // A flow of the table may not stand after a failure; and what this request modified is yet to be written.
  const bool modifying = own_tcam_index != NOT_IN_TABLE;
  return (is_unsettled() && is_named_in(current_view(), index, own_tcam_index)) ||
         (modifying && pool_at(index).given_up_in == current_request() &&
          is_named_in(shadow_view(), index, own_tcam_index));
}

// The first index from free bit `bit` on that may be handed out.
int32_t usable_bit(int32_t bit, uint16_t own_tcam_index, bool *passed_refused) {
  while (bit >= 0) {
    const bool named = is_named_by_another(POOL_LOWER + static_cast<uint32_t>(bit), own_tcam_index);
    if (!named && !pool[bit].refused) {
      break;
    }
    *passed_refused = *passed_refused || !named;
    const uint32_t next = static_cast<uint32_t>(bit) + 1;
    bit = next < OFTAB_MCST_IDX_COUNT ? bitset_next_free_bit(g_oftab_mcast_idx_bmp, next) : -1;
  }
  return bit;
}

// From the index allocated last to the end of the pool, then from its beginning.
int32_t search_pool(uint16_t own_tcam_index, bool *passed_refused) {
  const uint32_t from = g_oftab_mcst_idx_last_allocated - POOL_LOWER;
  const int32_t bit = usable_bit(bitset_next_free_bit(g_oftab_mcast_idx_bmp, from), own_tcam_index, passed_refused);
  return bit >= 0 ? bit : usable_bit(bitset_first_free_bit(g_oftab_mcast_idx_bmp), own_tcam_index, passed_refused);
}

// A second search only when the first passed over indices that were refused: nothing else is left.
int32_t find_usable_bit(uint16_t own_tcam_index) {
  bool passed_refused = false;
  const int32_t bit = search_pool(own_tcam_index, &passed_refused);
  if (bit >= 0 || !passed_refused) {
    return bit;
  }
  for (pool_index &each : pool) {
    each.refused = false;
  }
  return search_pool(own_tcam_index, &passed_refused);
}

// Whether the index belongs to an entry of a table or of the TCAM; one that belongs to an entry which a direct call
// converted is the caller's.
bool belongs_to_live_entry(uint32_t index) {
  const uint32_t holder = pool_at(index).holder;
  return holder == pool_index::STRANDED ||
         (holder != pool_index::NOBODY && is_own_counter(static_cast<uint16_t>(holder - 1)));
}

}  // namespace

pool_index &pool_at(uint32_t index) {
  return pool[index - POOL_LOWER];
}

bool holds_fanout(const oftab_sw_entry_t &entry) {
  return in_pool(entry.mcst_idx) && pool_at(entry.mcst_idx).holder == as_holder(entry);
}

bool allocate_index(uint32_t *index, uint16_t own_tcam_index) {
  static const char op[] = "oftab_mcst_idx_alloc";
  if (g_oftab_mcast_idx_bmp == nullptr) {
    create_pool();
  }
  const int32_t bit = g_oftab_mcast_idx_bmp == nullptr ? -1 : find_usable_bit(own_tcam_index);
  if (bit < 0) {
    TRACE_ERROR_IN(op, "%s: mcst idx exhausted for openflow \n", op);
    return false;
  }
  bitset_set_bit(g_oftab_mcast_idx_bmp, static_cast<uint32_t>(bit));
  g_oftab_mcst_idx_last_allocated = POOL_LOWER + static_cast<uint32_t>(bit);
  *index = g_oftab_mcst_idx_last_allocated;
  TRACE_DETAIL_IN(op, "g_oftab_mcst_idx_last_allocated %d", *index);
  return true;
}

void restore_index(const oftab_sw_entry_t &entry) {
  bitset_set_bit(g_oftab_mcast_idx_bmp, entry.mcst_idx - POOL_LOWER);
  pool_at(entry.mcst_idx).holder = as_holder(entry);
  pool_at(entry.mcst_idx).ports_due = true;
}

}  // namespace oftab

using namespace oftab;

int32_t oftab_mcst_idx_alloc(uint32_t *index) {
  return allocate_index(index, NOT_IN_TABLE) ? 1 : 0;
}

int32_t oftab_mcst_idx_dealloc(uint32_t index) {
  if (g_oftab_mcast_idx_bmp == nullptr) {
    TRACE_ERROR("g_oftab_mcast_idx_bmp is not created yet");
    return 0;
  }
  TRACE_DETAIL("mcst idx dealloc for %d", index);
  if (!in_pool(index) || belongs_to_live_entry(index)) {
    return 0;
  }
  pool_at(index).holder = pool_index::NOBODY;
  bitset_clear_bit(g_oftab_mcast_idx_bmp, index - POOL_LOWER);
  return 1;
}
