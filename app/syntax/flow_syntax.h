// SPDX-License-Identifier: Apache-2.0
// Flows in the syntax of the standard OpenFlow command-line client, one a line:
//
//   priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80,actions=output:2
//
// Commas or spaces separate the fields; actions come last; '#' begins a comment. Beyond that syntax, seq=N gives the
// flow its sequence number. What that client prints beside a flow (durations and counts) is read
// over.
#ifndef APP_SYNTAX_FLOW_SYNTAX_H
#define APP_SYNTAX_FLOW_SYNTAX_H

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "agent/flow.h"
#include "agent/flow_mod.h"
#include "agent/hardware.h"
#include "agent/text.h"
#include "host/services/interfaces.h"

namespace app {

enum class FlowRole {
  Complete,  // a flow: its actions must be there
  Selection  // which flows are meant: actions must not be there
};

// Reads the flow that begins at byte `start` of `line`. Throws a TextError.
agent::Flow parse_flow(std::string_view line, size_t start, FlowRole role,
                       const host::services::Interfaces &interfaces);

// The same with what selects flows beside their match.
struct Selection {
  agent::Flow flow;
  uint32_t out_port = agent::kPortNone;              // only flows with an output to this port
  std::optional<agent::HardwareActions::Kind> kind;  // only flows that do this
  std::optional<uint64_t> hits;                      // only flows with as many packets, or with none if it is 0
  std::optional<uint64_t> cookie;                    // only flows with this one

  // Whether it leaves no flow out.
  bool is_everything() const;
};
Selection parse_selection(std::string_view line, size_t start, const host::services::Interfaces &interfaces);

// What the items of a flow can begin with, up to its actions: "priority=", "tcp", "actions=".
std::set<std::string> flow_words();

// What the items of a selection can begin with, and which kinds of actions select.
std::set<std::string> selection_words();
std::set<std::string> kind_words();

// A line of a file: a flow to add, or what its first word says: add, modify, modify_strict, delete or delete_strict.
agent::FlowMod parse_flow_mod(std::string_view line, const host::services::Interfaces &interfaces);

}  // namespace app

#endif
