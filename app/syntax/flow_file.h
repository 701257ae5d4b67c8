// SPDX-License-Identifier: Apache-2.0
// Files of flows and of changes to flows, one a line.
#ifndef APP_SYNTAX_FLOW_FILE_H
#define APP_SYNTAX_FLOW_FILE_H

#include <string>
#include <vector>

#include "agent/flow_mod.h"
#include "host/services/interfaces.h"

namespace app {

// The lines of a file, or of standard input for "-", in their order. A FileError that names every bad line (up to a
// limit) if there is one, a CommandError if the file cannot be read.
std::vector<agent::FlowMod> read_flow_file(const std::string &path, const host::services::Interfaces &interfaces);

}  // namespace app

#endif
