// SPDX-License-Identifier: Apache-2.0
// `oftab-switch attach`: an operator of a switch that serves elsewhere.
#ifndef APP_ATTACH_H
#define APP_ATTACH_H

#include <optional>
#include <string>

namespace app {

// Runs commands, or lines from the terminal or standard input, on the switch whose console is at `path`. The status
// that the program ends with, 1 when a command failed; a std::runtime_error when there is no such switch, or when it is
// lost.
int attach(const std::string &path, const std::optional<std::string> &commands);

}  // namespace app

#endif
