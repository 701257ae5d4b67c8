// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/flow_completion.h"

#include <string>

#include "agent/text.h"
#include "app/syntax/action_syntax.h"
#include "app/syntax/flow_syntax.h"
#include "app/syntax/match_syntax.h"

namespace app {

using namespace agent;

namespace {

// A port, with room for the queue behind it.
Choices queues(const Ask &ask) {
  Choices names;
  for (const std::string &name : ports_and_port_channels(ask)) {
    names.insert(name + ":");
  }
  return names;
}

Choices outputs(const Ask &ask) {
  Choices names = ports_and_port_channels(ask);
  names.merge(reserved_outputs());
  return names;
}

// Fields and actions whose values have names.
struct Valued {
  std::string_view name;
  Choices (*values)(const Ask &ask);
};

constexpr Valued kValued[] = {
    {"in_port", ports_and_port_channels},
    {"out_port", outputs},
    {"output", outputs},
    {"enqueue", queues},
    {"dl_vlan", vlans_of_flows},
    {"vlan_vid", vlans_of_flows},
    {"mod_vlan_vid", vlans_of_flows},
    {"set_vlan_vid", vlans_of_flows},
};

bool has_actions(std::string_view text) {
  return text.find("actions=") != std::string_view::npos || text.find("action=") != std::string_view::npos;
}

// Where the item begins: behind a separator, or where the actions begin.
size_t name_start(std::string_view typed) {
  const size_t item = typed.find_last_of(", \t") + 1;
  for (const std::string_view name : {"actions=", "action="}) {
    if (typed.substr(item).starts_with(name)) {
      return item + name.size();
    }
  }
  return item;
}

Choices item_words(FlowText what, std::string_view before, const Ask &ask) {
  if (has_actions(before)) {
    if (what == FlowText::Selection) {
      return kind_words();
    }
    Choices words = action_words();
    words.merge(ports_and_port_channels(ask));
    return words;
  }
  switch (what) {
    case FlowText::Flow:
      return flow_words();
    case FlowText::Selection:
      return selection_words();
    default:
      Choices words = match_words();
      words.insert("len=");
      return words;
  }
}

Choices behind(std::string_view before, const Choices &words) {
  Choices choices;
  for (const std::string &word : words) {
    choices.insert(concat(before, word));
  }
  return choices;
}

}  // namespace

size_t item_start(std::string_view typed) {
  const size_t name = name_start(typed);
  const size_t sign = typed.find_first_of("=:", name);
  return sign == std::string_view::npos ? name : sign + 1;
}

Choices field_values(std::string_view typed, const Ask &ask) {
  const size_t name = name_start(typed);
  const size_t start = item_start(typed);
  for (const Valued &each : kValued) {
    if (start != name && typed.substr(name, start - 1 - name) == each.name) {
      return behind(typed.substr(0, start), each.values(ask));
    }
  }
  return {};
}

Choices flow_choices(FlowText what, std::string_view before, std::string_view typed, const Ask &ask) {
  const size_t name = name_start(typed);
  if (item_start(typed) != name) {
    return field_values(typed, ask);
  }
  return behind(typed.substr(0, name), item_words(what, concat(before, typed.substr(0, name)), ask));
}

}  // namespace app
