#include "oftab/oftab_main/transaction.h"

#include <cstring>

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
  bool had_fanout;  // before the modification
};

journal_page journal[OFTAB_FLOW_CAPACITY];

// Writes a current entry again over what the failed request wrote at its index. If that fails, the entry stays marked
// for the next request to write.
bool restore_tcam(oftab_sw_entry_t &current) {
  if (program_record(__func__, current)) {
    return true;
  }
  set_flags(current, OFTAB_ENTRY_MOVED);
  return false;
}

void undo_modification(oftab_sw_entry_t &shadow, oftab_sw_entry_t &current, const journal_page &page) {
  const bool same_index = page.had_fanout && shadow.mcst_idx == current.mcst_idx;
  const bool built_fanout = !same_index && holds_fanout(shadow);
  if (page.had_fanout) {
    put_back_fanout(current);
  }
  oftab_entry_clear_pc_data(&shadow);
  record_pc_data(current);
  const bool restored = !page.written || restore_tcam(current);
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
    restore_tcam(*current);
  }
}

}  // namespace

void begin_journal() {
  memset(journal, 0, sizeof journal);
  forget_prepared_indices();
  enter_current_table();
}

void journal_programming(uint16_t tcam_index, bool is_new, bool written) {
  journal_page &page = journal[tcam_index];
  page.new_refused = is_new && !written;
  page.new_written = is_new && written;
  page.written = written;
}

void journal_modification(const oftab_sw_entry_t &slot) {
  journal_page &page = journal[slot.tcam_index];
  if (!page.modified) {
    page.modified = true;
    page.had_fanout = holds_fanout(slot);
  }
}

void release_entry(oftab_sw_entry_t &entry) {
  if (holds_fanout(entry)) {
    release_fanout(entry);
  }
  oftab_entry_clear_pc_data(&entry);
  if (entry.stats_id != OFTAB_STATS_ID_NONE) {
    libsdk_l3_route_stats_destroy(0, entry.stats_id);
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
  erase_vacated();
  release_array(*oftab_hw_rsrc_g.shadow_table);
}

void strand_shadow() {
  for (oftab_sw_entry_t &entry : shadow_view()) {
    if (is_used(entry)) {
      strand(entry);
    }
  }
  erase_vacated();
  release_array(*oftab_hw_rsrc_g.shadow_table);
}

}  // namespace oftab
