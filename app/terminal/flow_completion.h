// SPDX-License-Identifier: Apache-2.0
// Completion inside flows and descriptions of packets: one item, or the value of one.
#ifndef APP_TERMINAL_FLOW_COMPLETION_H
#define APP_TERMINAL_FLOW_COMPLETION_H

#include <cstddef>
#include <string_view>

#include "app/terminal/known_names.h"

namespace app {

enum class FlowText { Flow, Selection, Packet };

// What `typed`, the last word of a flow, can become; `before` is what stands in front of it.
Choices flow_choices(FlowText what, std::string_view before, std::string_view typed, const Ask &ask);

// What the value of an option can be that has a field's name, as "in_port=" has; nothing for other words.
Choices field_values(std::string_view typed, const Ask &ask);

// Where what is being typed begins in a word of flow syntax: an item, or the value of one.
size_t item_start(std::string_view typed);

}  // namespace app

#endif
