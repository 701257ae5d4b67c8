// SPDX-License-Identifier: Apache-2.0
// Lines of text as flows and as packets. What is refused is refused at a column of the line. What is taken as a flow
// can be added, and comes back from the hardware, and from its own text, as the same match.
#include <optional>
#include <string_view>

#include "agent/flow_check.h"
#include "agent/requests.h"
#include "agent/responses.h"
#include "agent/table_view.h"
#include "app/syntax/flow_syntax.h"
#include "app/syntax/packet_syntax.h"
#include "fuzz/fuzzed_switch.h"

namespace {

using app::FlowRole;
using fuzz::require;

void check_reading_back(const agent::Match &match, host::Switch &device) {
  const std::string text = agent::to_text(match);
  const std::string line = text == "any" ? "" : text;
  const agent::Flow again = app::parse_flow(line, 0, FlowRole::Selection, device.interfaces());
  require(again.match == match, "reads back as something else: " + text);
}

void check_adding(agent::Flow flow, host::Switch &device) {
  flow.seq_no = 1;
  flow.absent = agent::absence_in(device, flow.match);
  const agent::Placement placement = agent::placement_of(flow);
  require(agent::submit_entries(device, agent::flow_request(OFTAB_ENTRY_ADD, flow)).status == OFTAB_OK, "not added");
  const std::vector<agent::InstalledFlow> installed = agent::installed_flows(device);
  require(installed.size() == 1 && installed[0].flow.match == placement.match, "the hardware has another match");
  require(installed[0].flow.priority == agent::priority_of(flow), "the table has another priority");
  require(installed[0].hardware.kind == placement.actions.kind, "the hardware has another action");
  fuzz::require_sound(device);
  require(agent::submit_entries(device, agent::delete_request({&*flow.seq_no, 1})).status == OFTAB_OK, "not deleted");
}

// What `parse` makes of the line, unless it refuses it.
template <typename Parse>
auto parsed(std::string_view line, Parse parse) -> std::optional<decltype(parse())> {
  try {
    return parse();
  } catch (const agent::TextError &error) {
    require(error.column() >= 1 && error.column() <= line.size() + 1, "a complaint beside the line");
    return std::nullopt;
  }
}

void try_flow(std::string_view line, host::Switch &device) {
  const auto parse = [&] { return app::parse_flow(line, 0, FlowRole::Complete, device.interfaces()); };
  if (const auto flow = parsed(line, parse)) {
    check_reading_back(flow->match, device);
    check_adding(*flow, device);
  }
}

void try_packet(std::string_view line, host::Switch &device) {
  const auto parse = [&] { return app::parse_packet(line, 0, device.interfaces()); };
  if (const auto packet = parsed(line, parse)) {
    require(device.inject(packet->ifindex, packet->header).tcam_index.has_value(), "not even the catch-all matches");
    require(!app::to_text(packet->header).empty(), "a packet without text");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view line(reinterpret_cast<const char *>(data), size);
  try_flow(line, fuzz::booted_switch());
  try_packet(line, fuzz::booted_switch());
  return 0;
}
