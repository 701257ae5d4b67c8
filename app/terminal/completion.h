// SPDX-License-Identifier: Apache-2.0
// Completion: commands, keywords and what the switch knows, each where it stands, file names where a file is wanted.
#ifndef APP_TERMINAL_COMPLETION_H
#define APP_TERMINAL_COMPLETION_H

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

#include "app/terminal/known_names.h"

namespace app {

struct Completion {
  size_t start;                   // the byte of the line at which the last word begins
  std::string word;               // what shall stand there: quoted if it has to be, finished if it is unique
  std::set<std::string> choices;  // what can stand there
};

// Completes the last word of a line that is being typed.
Completion complete(std::string_view line, const Ask &ask);

}  // namespace app

#endif
