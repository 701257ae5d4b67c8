// The fields of a match, one item at a time: "nw_dst=10.0.0.0/8", "tcp".
#ifndef APP_MATCH_SYNTAX_H
#define APP_MATCH_SYNTAX_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/flow.h"
#include "app/text.h"
#include "host/services/interfaces.h"

namespace app {

// The items of `text`, which begins at `column` of its line: NAME or NAME=VALUE; commas and spaces separate them.
std::vector<SplitWord> split_items(std::string_view text, size_t column);

// The value that an item must have; a TextError otherwise.
const Word &value_of(const SplitWord &item);

// Whether a word is a match without a value, such as "tcp".
bool is_shorthand(std::string_view word);

class MatchReader {
 public:
  explicit MatchReader(const host::services::Interfaces &interfaces) : interfaces_(interfaces) {}

  // Takes an item that is not one of the caller's own; a TextError for one that the hardware cannot match.
  void take(const SplitWord &item);

  // Notes that an item is there; a TextError when it was before.
  void note_once(const SplitWord &item) { note_once(std::string(item.before.text), item.before); }

  // The whole match; a TextError when a field needs another one that is not there. Values keep bits outside their
  // masks.
  Match finish() const;

 private:
  void note_once(const std::string &name, const Word &word);
  void set(Field field, Masked masked, const Word &word);
  bool take_shorthand(const SplitWord &item);
  bool take_field(const SplitWord &item);
  void check_network_fields() const;
  void check_transport_fields() const;

  const host::services::Interfaces &interfaces_;
  Match match_;
  std::map<Field, Word> given_;        // where each field was given
  std::map<std::string, Word> names_;  // and each name
};

}  // namespace app

#endif
