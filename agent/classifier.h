// SPDX-License-Identifier: Apache-2.0
// Which of many flows a packet meets: the one of the highest rank among those that match it.
//
// The search is the simulated TCAM's, over all fields of OpenFlow: what the masks look like does not matter, and a
// change touches the changed flow alone. It follows changes when it is asked next.
#ifndef AGENT_CLASSIFIER_H
#define AGENT_CLASSIFIER_H

#include <cstdint>
#include <vector>

#include "agent/fields.h"
#include "host/asic/ternary_search.h"
#include "oftab/oftab.h"

namespace agent {

struct TableEntry;

class Classifier {
 public:
  // An entry stays where it is, with the match and priority of its flow, until it is erased. No more than 4096 are
  // there at a time.
  void insert(const TableEntry &entry);
  void erase(const TableEntry &entry);

  // The entry whose flow a packet meets, one of those of the highest rank; null when it meets none.
  const TableEntry *find(const Packet &packet) const;

 private:
  struct Place {
    const TableEntry *entry = nullptr;
    mutable uint32_t rank = 0;     // known once the search has followed
    mutable bool changed = false;  // since the search was asked last
  };

  void note_change(uint32_t place);
  void follow_changes() const;

  std::vector<Place> places_;
  std::vector<uint32_t> free_;
  mutable std::vector<uint32_t> changed_;  // places
  mutable host::asic::TernarySearch search_{OFTAB_CATCH_ALL_INDEX + 1};
};

}  // namespace agent

#endif
