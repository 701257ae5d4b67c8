// SPDX-License-Identifier: Apache-2.0
// Finding records by sequence number: built once over a table, then a look-up costs no walk of the table.
#ifndef OFTAB_FLOW_INDEX_H
#define OFTAB_FLOW_INDEX_H

#include "oftab/oftab.h"
#include "oftab/table.h"

namespace oftab {

class flow_index {
 public:
  // Indexes the used records of `table`, by position: it outlives changes to them other than of their numbers.
  void build(const table_view &table);

  // The first record (lowest index) with this sequence number among those indexed, or null. `table` is the table that
  // was indexed.
  oftab_sw_entry_t *find(const table_view &table, uint32_t seq_no) const;

 private:
  static constexpr uint16_t NONE = 0xFFFF;
  static constexpr unsigned BUCKET_BITS = 13;

  static unsigned bucket_of(uint32_t seq_no);

  uint16_t bucket_[1U << BUCKET_BITS];  // position of the bucket's first record
  uint16_t next_[OFTAB_FLOW_CAPACITY];  // position of the next record of the same bucket
};

}  // namespace oftab

#endif
