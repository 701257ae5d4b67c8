// SPDX-License-Identifier: Apache-2.0
// Changing the table through the agent: what the flow commands do once they know which flows are meant.
#ifndef APP_COMMANDS_FLOW_CHANGES_H
#define APP_COMMANDS_FLOW_CHANGES_H

#include <span>
#include <string>

#include "agent/flow_mod.h"
#include "app/commands/command.h"

namespace app {

// Makes the changes, in their order. `file` names their origin in the CommandError that follows when some were refused:
// it tells the first of those and why, and how many changes there were. The others are made. Another CommandError tells
// of records that should have gone and did not.
void apply_changes(Session &session, std::span<const agent::FlowMod> changes, const std::string &file = "");

// A CommandError when the hardware refused to erase records since there were `failures_before` failures: their flows
// are gone from the table, and they go on taking packets.
void require_erased(Session &session, uint64_t failures_before);

}  // namespace app

#endif
