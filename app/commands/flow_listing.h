// SPDX-License-Identifier: Apache-2.0
// Flows as text.
#ifndef APP_COMMANDS_FLOW_LISTING_H
#define APP_COMMANDS_FLOW_LISTING_H

#include <set>
#include <string>

#include "agent/flow_table.h"

namespace app {

// What a flow is, so that it can be added again: "cookie=0x1, idle_timeout=5, priority=100,tcp actions=drop".
std::string flow_text(const agent::Flow &flow);

// What '--sort' takes.
std::set<std::string> sort_keys();

// "the table holds 3 flows at indices 2000 to 2002, 1 on the CPU".
std::string range_text(const agent::FlowTable &table);

}  // namespace app

#endif
