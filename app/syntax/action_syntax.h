// SPDX-License-Identifier: Apache-2.0
// The actions of a flow, as the standard OpenFlow command-line client writes them: "drop", "normal", "output:1,2",
// "output(pc2)", "3", "controller:128", "mod_vlan_vid:5". Beyond that, ports can be a range, "output:Eth1/1-4", and the
// controller's application is named in "controller(app=3,max_len=128)".
#ifndef APP_SYNTAX_ACTION_SYNTAX_H
#define APP_SYNTAX_ACTION_SYNTAX_H

#include <set>
#include <string>
#include <vector>

#include "agent/flow.h"
#include "agent/text.h"
#include "host/services/interfaces.h"

namespace app {

// What actions can begin with, ports excepted: "drop", "output:".
std::set<std::string> action_words();

// Where an output can go other than to ports and port channels: "controller", "flood".
std::set<std::string> reserved_outputs();

// A list of actions, whoever is to do them. Throws a TextError.
std::vector<agent::Action> parse_actions(const agent::Word &text, const host::services::Interfaces &interfaces);

}  // namespace app

#endif
