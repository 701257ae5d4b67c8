// The actions of a flow: "drop", "normal", "output:1,output:pc2", "controller:3", "output:1,controller".
#ifndef APP_ACTION_SYNTAX_H
#define APP_ACTION_SYNTAX_H

#include <string_view>

#include "app/flow.h"
#include "app/text.h"
#include "host/services/interfaces.h"

namespace app {

// Throws a TextError.
Actions parse_actions(const Word &text, const host::services::Interfaces &interfaces);

}  // namespace app

#endif
