// SPDX-License-Identifier: Apache-2.0
// Completion of commands: their names, and their arguments by their usages.
#ifndef APP_TERMINAL_USAGE_COMPLETION_H
#define APP_TERMINAL_USAGE_COMPLETION_H

#include <string_view>

#include "app/terminal/known_names.h"

namespace app {

// What `typed` can become, as the word behind `command_text`, the part of a command that stands already.
Choices choices_behind(std::string_view command_text, std::string_view typed, const Ask &ask);

}  // namespace app

#endif
