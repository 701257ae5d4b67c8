// SPDX-License-Identifier: Apache-2.0
// The fields of a match, one item at a time: "nw_dst=10.0.0.0/8", "tcp".
#ifndef APP_SYNTAX_MATCH_SYNTAX_H
#define APP_SYNTAX_MATCH_SYNTAX_H

#include <map>
#include <set>
#include <string>

#include "agent/fields.h"
#include "agent/flow.h"
#include "agent/text.h"
#include "app/syntax/items.h"

namespace app {

// What the items of a match can begin with: "tcp", "nw_dst=".
std::set<std::string> match_words();

// Always throws a TextError: nothing takes an item of this name, `words` are what can stand there.
[[noreturn]] void refuse_field(const agent::Word &name, const std::set<std::string> &words);

class MatchReader {
 public:
  // False for what is no field of OpenFlow 1.0; a TextError for an item that contradicts another.
  bool take(const Item &item);

  // The whole match; a TextError when a field needs another one that is not there. Values keep bits outside their
  // masks.
  agent::Match finish() const;

 private:
  // Where a field was given; at column 1 if it was not.
  agent::Word place_of(agent::Field field) const;

  struct Given {
    agent::Word word;
    agent::Needs needs;
  };

  void set(agent::Field field, agent::Masked masked, const Given &given);
  bool take_shorthand(const Item &item);
  bool take_field(const Item &item);
  bool take_tag(const Item &item);
  void check_icmp_numbers() const;

  agent::Match match_;
  std::map<agent::Field, Given> given_;
};

}  // namespace app

#endif
