// SPDX-License-Identifier: Apache-2.0
// The items of a flow: NAME, NAME=VALUE, NAME:VALUE or NAME(VALUE). Commas and spaces separate them.
#ifndef APP_SYNTAX_ITEMS_H
#define APP_SYNTAX_ITEMS_H

#include <optional>
#include <vector>

#include "agent/text.h"

namespace app {

struct Item {
  agent::Word name;
  std::optional<agent::Word> argument;
  char separator = ' ';  // '=', ':' or '(' before the argument
};

// The items of a text. Spaces around '=' do not count; in parentheses and in quotes nothing separates. A TextError for
// one of those that is not closed.
std::vector<Item> split_items(const agent::Word &text);

// The argument that an item must have, not empty; a TextError otherwise.
const agent::Word &argument_of(const Item &item);

// A TextError if the item has an argument but for an empty one.
void refuse_argument(const Item &item);

}  // namespace app

#endif
