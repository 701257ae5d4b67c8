/* SPDX-License-Identifier: Apache-2.0 */
#include "check_table.h"

#include <stdio.h>
#include <string.h>

#include "oftab/oftab.h"

/* The key's valid bit: without it a record matches nothing. */
static int is_valid(const cache_unified_entry *record) {
  return record->key[42] & 0x10;
}

/* The flow for which the table says that it stands at the index, or null. */
static const oftab_sw_entry_t *flow_at(uint32_t index) {
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  if (table->tcam_entry == NULL || index < table->tcam_st_idx || index > table->tcam_end_idx) {
    return NULL;
  }
  const oftab_sw_entry_t *entry = &table->tcam_entry[index - table->tcam_st_idx];
  return (entry->flags & OFTAB_ENTRY_USED) != 0 ? entry : NULL;
}

/* What is wrong at the index, or null. */
static const char *problem_at(uint32_t index) {
  cache_unified_entry record;
  if (qtr_custom_cache_unified_entry_get(0, index, record.key, record.mask, record.result) != 0) {
    return "cannot be read";
  }
  const oftab_sw_entry_t *flow = flow_at(index);
  if (flow == NULL) {
    return is_valid(&record) ? "is valid, but no flow is there" : NULL;
  }
  return memcmp(&record, &flow->hw, sizeof record) != 0 ? "does not hold its flow's record" : NULL;
}

unsigned check_table(void) {
  unsigned differences = 0;
  for (uint32_t index = 0; index < OFTAB_CATCH_ALL_INDEX; ++index) {
    const char *problem = problem_at(index);
    if (problem != NULL) {
      fprintf(stderr, "TCAM index %u %s\n", (unsigned)index, problem);
      ++differences;
    }
  }
  return differences;
}
