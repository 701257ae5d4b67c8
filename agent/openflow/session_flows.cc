// SPDX-License-Identifier: Apache-2.0
// Flow-mods, in runs.
#include "agent/openflow/action_codec.h"
#include "agent/openflow/errors.h"
#include "agent/openflow/match_codec.h"
#include "agent/openflow/session.h"
#include "agent/port_numbers.h"
#include "agent/text.h"

namespace agent::openflow {
namespace {

// The actions of a flow must fit into a message that tells of it.
constexpr size_t kMostActions =
    kLongestMessage - wire::Header::kSize - wire::Statistics::kSize - wire::FlowStats::kSize;

FlowMod decode_flow_mod(const Message &message) {
  ByteView actions = message.body();
  const auto wire = take<wire::FlowMod>(actions);
  if (actions.size() > kMostActions) {
    throw ProtocolError{OFPET_BAD_ACTION, OFPBAC_TOO_MANY, concat(actions.size(), " octets of actions")};
  }
  FlowMod change;
  change.flow.actions = decode_actions(actions);
  if (wire.command > static_cast<uint16_t>(FlowMod::Command::DeleteStrict)) {
    throw ProtocolError{OFPET_FLOW_MOD_FAILED, OFPFMFC_BAD_COMMAND, concat("flow-mod command ", wire.command)};
  }
  change.command = static_cast<FlowMod::Command>(wire.command);
  change.flow.match = decode_match(wire.match);
  change.flow.priority = wire.priority;
  change.flow.cookie = wire.cookie;
  change.flow.idle_timeout = wire.idle_timeout;
  change.flow.hard_timeout = wire.hard_timeout;
  change.flow.flags = wire.flags;
  change.out_port = port_numbered(wire.out_port);
  change.buffer_id = wire.buffer_id;
  return change;
}

}  // namespace

void Session::flow_mod(const Message &message) {
  FlowMod change = decode_flow_mod(message);
  run_.push_back(message);
  agent_.change(std::move(change));
}

void Session::tell(const RemovedFlow &removed) {
  const TableEntry &entry = removed.entry;
  if (!established_ || (entry.flow.flags & kSendFlowRemoved) == 0) {
    return;
  }
  const Duration duration(agent_.now() - entry.added);
  const Counts counts = entry.counts();
  compose(OFPT_FLOW_REMOVED, kUnasked) << wire::FlowRemoved{.match = encode_match(entry.flow.match),
                                                            .cookie = entry.flow.cookie,
                                                            .priority = static_cast<uint16_t>(priority_of(entry.flow)),
                                                            .reason = static_cast<uint8_t>(removed.reason),
                                                            .duration_sec = duration.seconds,
                                                            .duration_nsec = duration.nanoseconds,
                                                            .idle_timeout = entry.flow.idle_timeout,
                                                            .packet_count = counts.packets,
                                                            .byte_count = counts.bytes};
}

void Session::finish_run() {
  if (run_.empty()) {
    return;
  }
  for (const auto &[position, error] : agent_.finish_changes()) {
    refuse(run_[position], protocol_error(error));
  }
  run_.clear();
}

}  // namespace agent::openflow
