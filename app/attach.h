// `oftab-switch attach`: an operator of a switch that serves elsewhere.
#ifndef APP_ATTACH_H
#define APP_ATTACH_H

#include <optional>
#include <string>

namespace app {

// Runs commands, or lines from the terminal or standard input, on the switch whose console is at `path`. False when
// one failed; a std::runtime_error when there is no such switch, or when it is lost.
bool attach(const std::string &path, const std::optional<std::string> &commands);

}  // namespace app

#endif
