// The ledger of the TCAM: what the library knows of each index beyond the tables.
//
// Three things: whether the record last written there is valid, which multicast index it names, and the resources of
// an entry that a failed request left behind there (a stranded entry). The tables' entries are written through
// here; what the debug writers write is not noted.
#ifndef OFTAB_TCAM_LEDGER_H
#define OFTAB_TCAM_LEDGER_H

#include "oftab/oftab.h"

namespace oftab {

// Writes the entry at its tcam_index. Returns the SDK's result. A successful write gives back what was stranded there.
int32_t tcam_write(const oftab_sw_entry_t &entry);

// The same with its outcome traced in the name of `function`. Whether it was written.
bool program_record(const char *function, const oftab_sw_entry_t &entry);

// The current table mirrors the hardware: every used record of it counts as written. To be called before the table
// changes.
void enter_current_table();

// Writes an entry of the current table again over what a failed operation wrote at its index. If that fails, the entry
// is marked moved, to be written later. Whether it was written.
bool restore_entry(const char *function, oftab_sw_entry_t &entry);

// Lets the TCAM mirror the current table: erases every index that holds a valid record but no used entry of the table
// and no stranded one, and writes the entries that could not be restored.
void mirror_current_table();

// Erases every stranded entry.
void erase_stranded();

// An entry stays in the TCAM at its index although no table holds it: remembers the counter and the fan-out that it
// holds until the index is next written, and withdraws its flow from its port channels.
void strand(oftab_sw_entry_t &entry);

// The same for an entry whose record lives on in the current table with another fan-out: only the fan-out is stranded.
void strand_fanout(const oftab_sw_entry_t &entry);

// Gives back what is stranded at an index that was written.
void give_back_stranded(uint32_t tcam_index);

// Whether a stranded entry holds this multicast index.
bool is_stranded_fanout(uint32_t mcst_idx);

// Stands for the index of an entry that is not in the TCAM.
constexpr uint16_t NOT_IN_TCAM = 0xFFFF;

// The record that is to be written at `tcam_index` names this multicast index from now on; until forgotten, it counts
// like one in the TCAM.
void prepare_index(uint16_t tcam_index, uint32_t mcst_idx);
void forget_prepared_indices();

// Whether any record, in the TCAM or prepared for it, but those of `own_tcam_index` names this multicast index.
bool named_by_another(uint32_t mcst_idx, uint16_t own_tcam_index);

// Forgets everything: the library starts anew.
void reset_ledger();

}  // namespace oftab

#endif
