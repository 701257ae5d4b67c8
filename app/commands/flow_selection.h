// SPDX-License-Identifier: Apache-2.0
// Which flows a command is about, and how it shall treat them.
#ifndef APP_COMMANDS_FLOW_SELECTION_H
#define APP_COMMANDS_FLOW_SELECTION_H

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/flow_table.h"
#include "app/commands/command.h"
#include "app/syntax/flow_syntax.h"

namespace app {

// The line of a command without its options, which leave blanks behind; everything else stands where it stood.
struct FlowArguments {
  // Takes these of the options; another one stays in the line, for its parser to refuse.
  FlowArguments(const Arguments &arguments, std::initializer_list<std::string_view> options);

  std::string line;
  size_t start;
  bool strict = false;              // --strict
  bool verbose = false;             // -v
  bool no_stats = false;            // --no-stats
  std::optional<agent::Word> sort;  // --sort KEY

 private:
  void blank(const agent::Word &word);
};

// The flows of the agent's table that are meant. By sequence number, or those whose match it covers (that have exactly
// its match and priority, if `strict`), and what else it says: their priority, an output, an action, packets counted.
std::vector<const agent::TableEntry *> selected(const agent::FlowTable &table, const Selection &selection,
                                                bool strict = false);

}  // namespace app

#endif
