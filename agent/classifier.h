// SPDX-License-Identifier: Apache-2.0
// Which of many flows a packet meets: the one of the highest rank among those that match it.
//
// The search is the simulated TCAM's, over all fields of OpenFlow: what the masks look like does not matter, and a
// change touches the changed flow alone. It is made when it is first asked, and follows changes when it is asked next.
#ifndef AGENT_CLASSIFIER_H
#define AGENT_CLASSIFIER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "agent/fields.h"
#include "host/asic/ternary_search.h"

namespace agent {

struct TableEntry;

class Classifier {
 public:
  // An entry stays where it is, with the match and priority of its flow, until it is erased. No more than 4096 are
  // there at a time.
  void insert(TableEntry &entry);
  void erase(const TableEntry &entry);

  // The entry whose flow a packet meets, one of those of the highest rank; null when it meets none.
  TableEntry *find(const Packet &packet) const;

 private:
  struct Place {
    TableEntry *entry = nullptr;
    mutable uint32_t rank = 0;     // known once the search has followed
    mutable bool changed = false;  // since the search was asked last
  };

  void note_change(size_t place);
  void follow_changes() const;

  std::vector<Place> places_;
  std::vector<size_t> free_;
  mutable std::vector<size_t> changed_;  // places
  mutable std::unique_ptr<host::asic::TernarySearch> search_;
};

}  // namespace agent

#endif
