// The fields of a match, one item at a time: "nw_dst=10.0.0.0/8", "tcp".
#ifndef APP_SYNTAX_MATCH_SYNTAX_H
#define APP_SYNTAX_MATCH_SYNTAX_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/fields.h"
#include "agent/flow.h"
#include "agent/text.h"
#include "host/services/interfaces.h"

namespace app {

// The items of `text`, which begins at `column` of its line: NAME or NAME=VALUE; commas and spaces separate them.
std::vector<agent::SplitWord> split_items(std::string_view text, size_t column);

// The value that an item must have; a TextError otherwise.
const agent::Word &value_of(const agent::SplitWord &item);

class MatchReader {
 public:
  explicit MatchReader(const host::services::Interfaces &interfaces) : interfaces_(interfaces) {}

  // Takes an item that is not one of the caller's own; a TextError for one that is no field of OpenFlow 1.0.
  void take(const agent::SplitWord &item);

  // Notes that an item is there; a TextError when it was before.
  void note_once(const agent::SplitWord &item) { note_once(std::string(item.before.text), item.before); }

  // The whole match; a TextError when a field needs another one that is not there. Values keep bits outside their
  // masks.
  agent::Match finish() const;

  // Where a field was given; at column 1 if it was not.
  agent::Word place_of(agent::Field field) const;

 private:
  void note_once(const std::string &name, const agent::Word &word);
  void set(agent::Field field, agent::Masked masked, const agent::Word &word);
  bool take_shorthand(const agent::SplitWord &item);
  bool take_field(const agent::SplitWord &item);
  void check_icmp_numbers() const;

  const host::services::Interfaces &interfaces_;
  agent::Match match_;
  std::map<agent::Field, agent::Word> given_;                  // where each field was given
  std::map<agent::Field, const agent::Spelling *> spellings_;  // and how
  std::map<std::string, agent::Word> names_;                   // where each name was given
};

}  // namespace app

#endif
