// SPDX-License-Identifier: Apache-2.0
// Names that completion offers, as the switch and its machine know them.
#ifndef APP_TERMINAL_KNOWN_NAMES_H
#define APP_TERMINAL_KNOWN_NAMES_H

#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace app {

using Choices = std::set<std::string>;

// What a command that only looks prints on the switch, here or elsewhere; nothing when it fails.
using Ask = std::function<std::string(const std::string &command)>;

Choices front_panel_ports();
Choices port_channels(const Ask &ask);
Choices ports_and_port_channels(const Ask &ask);
Choices vlans_of_flows(const Ask &ask);
Choices endpoints(const Ask &ask);  // where the switch listens, and its peers
Choices network_interfaces();

// The files whose paths begin with `typed`; directories end in a slash.
Choices files(std::string_view typed);

}  // namespace app

#endif
