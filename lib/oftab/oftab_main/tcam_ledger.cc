#include "oftab/oftab_main/tcam_ledger.h"

#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/output_fanout.h"
#include "oftab/table.h"
#include "oftab/trace.h"

namespace oftab {
namespace {

struct stranded_entry {
  bool counter;  // holds counter `stats_id`
  bool fanout;   // holds `mcst_idx`
  uint16_t stats_id;
  uint32_t mcst_idx;
};

struct tcam_slot {
  bool valid;
  uint32_t mcst_idx;           // named by the record; 0 for none
  uint32_t prepared_mcst_idx;  // named by the modified record that is to be written there
  stranded_entry stranded;
};

tcam_slot slots[TCAM_INDICES];

uint16_t references[1U << 14];  // by multicast index: the slots that name it (element 0: of no meaning)

void change_name(uint32_t &name, uint32_t mcst_idx) {
  --references[name];
  name = mcst_idx;
  ++references[name];
}

void note_written(const oftab_sw_entry_t &entry) {
  tcam_slot &slot = slots[entry.tcam_index];
  slot.valid = hw::get(entry.hw.key, hw::ip_key::vld) != 0;
  change_name(slot.mcst_idx, slot.valid ? hw::ltl_idx(entry.hw.result) : 0);
}

bool is_stranded(const tcam_slot &slot) {
  return slot.stranded.counter || slot.stranded.fanout;
}

bool is_vacated(const table_view &table, uint16_t index) {
  const oftab_sw_entry_t *entry = table.at(index);
  return slots[index].valid && !slots[index].stranded.counter && (entry == nullptr || !is_used(*entry));
}

void erase(uint16_t index) {
  oftab_sw_entry_t erased = {};
  erased.tcam_index = index;
  oftab_clear_and_program_entry(&erased);
}

}  // namespace

int32_t tcam_write(const oftab_sw_entry_t &entry) {
  const int32_t rc =
      qtr_custom_cache_unified_entry_set(0, entry.tcam_index, entry.hw.key, entry.hw.mask, entry.hw.result);
  if (rc == 0 && entry.tcam_index < TCAM_INDICES) {
    note_written(entry);
    give_back_stranded(entry.tcam_index);
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

void enter_current_table() {
  const table_view table = current_view();
  for (const oftab_sw_entry_t &entry : table) {
    if (is_used(entry)) {
      slots[table.index_of(entry)].valid = true;
    }
  }
}

bool restore_entry(const char *function, oftab_sw_entry_t &entry) {
  if (program_record(function, entry)) {
    clear_flags(entry, OFTAB_ENTRY_MOVED);
    return true;
  }
  set_flags(entry, OFTAB_ENTRY_MOVED);
  return false;
}

void mirror_current_table() {
  const table_view table = current_view();
  for (uint16_t index = 0; index < OFTAB_FLOW_CAPACITY; ++index) {
    if (is_vacated(table, index)) {
      erase(index);
    }
  }
  for (oftab_sw_entry_t &entry : table) {
    if (is_used(entry) && (entry.flags & OFTAB_ENTRY_MOVED) != 0) {
      restore_entry(__func__, entry);
    }
  }
}

void erase_stranded() {
  for (uint16_t index = 0; index < OFTAB_FLOW_CAPACITY; ++index) {
    if (is_stranded(slots[index])) {
      erase(index);
    }
  }
}

void strand(oftab_sw_entry_t &entry) {
  strand_fanout(entry);
  slots[entry.tcam_index].stranded.counter = true;
  oftab_entry_clear_pc_data(&entry);
}

void strand_fanout(const oftab_sw_entry_t &entry) {
  slots[entry.tcam_index].stranded = {false, holds_fanout(entry), entry.stats_id, entry.mcst_idx};
}

void give_back_stranded(uint32_t tcam_index) {
  const stranded_entry stranded = slots[tcam_index].stranded;
  slots[tcam_index].stranded = {};
  if (stranded.fanout) {
    oftab_sw_entry_t named = {};
    named.stats_id = stranded.stats_id;
    named.mcst_idx = stranded.mcst_idx;
    release_fanout(named);
  }
  if (stranded.counter) {
    release_counter(stranded.stats_id);
  }
}

bool is_stranded_fanout(uint32_t mcst_idx) {
  for (const tcam_slot &slot : slots) {
    if (slot.stranded.fanout && slot.stranded.mcst_idx == mcst_idx) {
      return true;
    }
  }
  return false;
}

bool named_by_another(uint32_t mcst_idx, uint16_t own_tcam_index) {
  int own = 0;
  if (own_tcam_index < TCAM_INDICES) {
    const tcam_slot &slot = slots[own_tcam_index];
    own = (slot.mcst_idx == mcst_idx ? 1 : 0) + (slot.prepared_mcst_idx == mcst_idx ? 1 : 0);
  }
  return references[mcst_idx] > own;
}

void prepare_index(uint16_t tcam_index, uint32_t mcst_idx) {
  if (tcam_index < TCAM_INDICES) {
    change_name(slots[tcam_index].prepared_mcst_idx, mcst_idx);
  }
}

void forget_prepared_indices() {
  for (tcam_slot &slot : slots) {
    change_name(slot.prepared_mcst_idx, 0);
  }
}

void reset_ledger() {
  memset(slots, 0, sizeof slots);
  memset(references, 0, sizeof references);
}

}  // namespace oftab
