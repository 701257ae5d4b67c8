// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/action_codec.h"

#include <array>

#include "agent/field_values.h"
#include "agent/port_numbers.h"
#include "agent/text.h"

namespace agent::openflow {
namespace {

[[noreturn]] void refuse(BadAction code, const std::string &reason) {
  throw ProtocolError{OFPET_BAD_ACTION, code, reason};
}

// What follows the head in each shape of action.

Action output_from(const wire::OutputAction &wire) {
  if (wire.port == 0 || wire.port == kPortNone || (wire.port >= OFPP_MAX && wire.port < kPortIn)) {
    refuse(OFPBAC_BAD_OUT_PORT, concat("output to port ", wire.port));
  }
  return {.value = port_numbered(wire.port), .max_len = wire.max_len};
}

wire::OutputAction wire_output(const Action &action) {
  return {.port = number_of(static_cast<uint32_t>(action.value)), .max_len = action.max_len};
}

Action enqueue_from(const wire::EnqueueAction &wire) {
  if (wire.port == 0 || (wire.port >= OFPP_MAX && wire.port != kPortIn)) {
    refuse(OFPBAC_BAD_OUT_PORT, concat("enqueue at port ", wire.port));
  }
  return {.value = port_numbered(wire.port), .queue = wire.queue_id};
}

wire::EnqueueAction wire_enqueue(const Action &action) {
  return {.port = number_of(static_cast<uint32_t>(action.value)), .pad = {}, .queue_id = action.queue};
}

template <typename Record>
Action number_from(const Record &wire) {
  return {.value = wire.number};
}

template <typename Record>
Record wire_number(const Action &action) {
  return {.number = static_cast<decltype(Record::number)>(action.value)};
}

Action mac_from(const wire::MacAction &wire) {
  return {.value = mac_address(wire.mac)};
}

wire::MacAction wire_mac(const Action &action) {
  return {.mac = mac_octets(action.value), .pad = {}};
}

Action nothing_from(const wire::StripVlanAction &) {
  return {};
}

wire::StripVlanAction wire_nothing(const Action &) {
  return {};
}

// One row a kind of action, in the order of their numbers.
struct Row {
  size_t size;  // of the whole action
  uint64_t most;
  Action (*decode)(ByteView rest);
  void (*append)(Bytes &bytes, const Action &action);
};

template <typename Record, Action (*from)(const Record &), Record (*to)(const Action &)>
constexpr Row row(uint64_t most = UINT64_MAX) {
  return {wire::ActionHead::kSize + Record::kSize, most, [](ByteView rest) { return from(take<Record>(rest)); },
          [](Bytes &bytes, const Action &action) { append(bytes, to(action)); }};
}

template <typename Record>
constexpr Row number_row(uint64_t most = UINT64_MAX) {
  return row<Record, number_from<Record>, wire_number<Record>>(most);
}

constexpr std::array kRows{
    row<wire::OutputAction, output_from, wire_output>(),
    number_row<wire::Number16Action>(0xFFF),  // VLAN id
    number_row<wire::Number8Action>(7),       // VLAN priority
    row<wire::StripVlanAction, nothing_from, wire_nothing>(),
    row<wire::MacAction, mac_from, wire_mac>(),
    row<wire::MacAction, mac_from, wire_mac>(),
    number_row<wire::Number32Action>(),
    number_row<wire::Number32Action>(),
    number_row<wire::Number8Action>(),
    number_row<wire::Number16Action>(),
    number_row<wire::Number16Action>(),
    row<wire::EnqueueAction, enqueue_from, wire_enqueue>(),
};
static_assert(kRows.size() == static_cast<size_t>(Action::Kind::kCount));

void check_head(const wire::ActionHead &head) {
  if (head.type == OFPAT_VENDOR) {
    refuse(OFPBAC_BAD_VENDOR, "an action of a vendor");
  }
  if (head.type >= kRows.size()) {
    refuse(OFPBAC_BAD_TYPE, concat("action type ", head.type));
  }
  if (head.len != kRows[head.type].size) {
    refuse(OFPBAC_BAD_LEN, concat("action type ", head.type, " with a length of ", head.len));
  }
}

Action take_action(ByteView &list) {
  if (list.size() < 2 * wire::ActionHead::kSize) {
    refuse(OFPBAC_BAD_LEN, "the action list ends within an action");
  }
  ByteView rest = list;
  const auto head = take<wire::ActionHead>(rest);
  if (head.len > list.size() || head.len < 2 * wire::ActionHead::kSize || head.len % 8 != 0) {
    refuse(OFPBAC_BAD_LEN, concat("an action with a length of ", head.len));
  }
  check_head(head);
  Action action = kRows[head.type].decode(rest);
  if (action.value > kRows[head.type].most) {
    refuse(OFPBAC_BAD_ARGUMENT, concat("action type ", head.type, " with ", action.value));
  }
  action.kind = static_cast<Action::Kind>(head.type);
  list = list.subspan(head.len);
  return action;
}

}  // namespace

std::vector<Action> decode_actions(ByteView list) {
  std::vector<Action> actions;
  actions.reserve(list.size() / (2 * wire::ActionHead::kSize));
  while (!list.empty()) {
    actions.push_back(take_action(list));
  }
  return actions;
}

void append_actions(Bytes &bytes, const std::vector<Action> &actions) {
  for (const Action &action : actions) {
    const auto type = static_cast<uint16_t>(action.kind);
    append(bytes, wire::ActionHead{type, static_cast<uint16_t>(kRows[type].size)});
    kRows[type].append(bytes, action);
  }
}

}  // namespace agent::openflow
