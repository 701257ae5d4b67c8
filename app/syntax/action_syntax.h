// The actions of a flow: "drop", "normal", "output:1,output:pc2", "controller:3", "output:1,controller".
#ifndef APP_SYNTAX_ACTION_SYNTAX_H
#define APP_SYNTAX_ACTION_SYNTAX_H

#include <string_view>
#include <vector>

#include "agent/flow.h"
#include "agent/text.h"
#include "host/services/interfaces.h"

namespace app {

// Actions that the hardware can do. Throws a TextError.
std::vector<agent::Action> parse_actions(const agent::Word &text, const host::services::Interfaces &interfaces);

}  // namespace app

#endif
