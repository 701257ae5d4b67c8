#include "oftab/oftab_main/transaction.h"

#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/output_fanout.h"
#include "oftab/oftab_main/port_channels.h"
#include "oftab/oftab_main/tcam_ledger.h"
#include "oftab/table.h"

namespace oftab {
namespace {

struct journal_page {
  bool new_refused;  // a new record could not be written
  bool new_written;
  bool written;  // new or moved
  bool modified;
  // Before the modification:
  bool had_fanout;
  bool was_moved;
  uint32_t mcst_idx;
  uint32_t ltl_idx;
};

journal_page journal[OFTAB_FLOW_CAPACITY + 1];

// The page of an index; records that stand nowhere in the region share one.
journal_page &page_of(uint16_t tcam_index) {
  constexpr uint16_t SHARED = OFTAB_FLOW_CAPACITY;
  return journal[tcam_index < SHARED ? tcam_index : SHARED];
}

void undo_modification(oftab_sw_entry_t &shadow, oftab_sw_entry_t &current, const journal_page &page) {
  const bool same_index = page.had_fanout && shadow.mcst_idx == current.mcst_idx;
  const bool built_fanout = !same_index && holds_fanout(shadow);
  if (page.had_fanout) {
    put_back_fanout(current);
  }
  oftab_entry_clear_pc_data(&shadow);
  record_pc_data(current);
  const bool restored = !page.written || restore_entry(__func__, current);
  if (built_fanout) {
    restored ? release_fanout(shadow) : strand_fanout(shadow);
  }
}

void undo_placement(oftab_sw_entry_t &shadow, oftab_sw_entry_t *current, const journal_page &page) {
  if ((shadow.flags & OFTAB_ENTRY_NEW) != 0 || page.new_refused) {
    release_entry(shadow);
  } else if (page.new_written) {
    strand(shadow);
  }
  if (page.written && current != nullptr) {
    restore_entry(__func__, *current);
  }
}

}  // namespace

void begin_journal() {
  memset(journal, 0, sizeof journal);
  forget_prepared_indices();
  enter_current_table();
  complete_fanouts();
}

void journal_programming(uint16_t tcam_index, bool is_new, bool written) {
  journal_page &page = page_of(tcam_index);
  page.new_refused = is_new && !written;
  page.new_written = is_new && written;
  page.written = written;
}

void journal_modification(const oftab_sw_entry_t &slot) {
  journal_page &page = page_of(slot.tcam_index);
  if (!page.modified) {
    page.modified = true;
    page.had_fanout = holds_fanout(slot);
    page.was_moved = (slot.flags & OFTAB_ENTRY_MOVED) != 0;
    page.mcst_idx = slot.mcst_idx;
    page.ltl_idx = hw::ltl_idx(slot.hw.result);
  }
}

void abandon_modification(oftab_sw_entry_t &slot) {
  if (holds_fanout(slot)) {
    release_fanout(slot);
  }
  const journal_page &page = page_of(slot.tcam_index);
  slot.mcst_idx = page.mcst_idx;
  hw::set_ltl_idx(slot.hw.result, page.ltl_idx);
  prepare_index(slot.tcam_index, 0);
  if (!page.was_moved) {
    clear_flags(slot, OFTAB_ENTRY_MOVED);
  }
}

void release_entry(oftab_sw_entry_t &entry) {
  if (holds_fanout(entry)) {
    release_fanout(entry);
  }
  oftab_entry_clear_pc_data(&entry);
  if (entry.stats_id != OFTAB_STATS_ID_NONE) {
    release_counter(entry.stats_id);
  }
}

void roll_back() {
  const table_view current = current_view();
  const table_view shadow = shadow_view();
  for (oftab_sw_entry_t &entry : shadow) {
    const uint16_t index = shadow.index_of(entry);
    oftab_sw_entry_t *standing = current.at(index);
    if (standing != nullptr && !is_used(*standing)) {
      standing = nullptr;
    }
    if (journal[index].modified && standing != nullptr) {
      undo_modification(entry, *standing, journal[index]);
    } else {
      undo_placement(entry, standing, journal[index]);
    }
  }
  mirror_current_table();
  release_array(*oftab_hw_rsrc_g.shadow_table);
}

void strand_shadow() {
  for (oftab_sw_entry_t &entry : shadow_view()) {
    if (is_used(entry)) {
      strand(entry);
    }
  }
  mirror_current_table();
  release_array(*oftab_hw_rsrc_g.shadow_table);
}

}  // namespace oftab
