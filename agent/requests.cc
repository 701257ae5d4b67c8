// SPDX-License-Identifier: Apache-2.0
#include "agent/requests.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "agent/batch_placement.h"
#include "agent/fields.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

template <typename Record>
void append(Bytes &message, const Record &record) {
  const size_t end = message.size();
  message.resize(end + sizeof record);
  std::memcpy(message.data() + end, &record, sizeof record);
}

// Puts a number where a field of the match block stands.
void put(oftab_match_t &block, Place place, uint64_t number) {
  auto *const to = reinterpret_cast<uint8_t *>(&block) + place.offset;
  if (place.size == sizeof block.mac_sa) {
    std::ranges::copy(mac_octets(number), to);
  } else {
    static_assert(std::endian::native == std::endian::little, "the number's low bytes come first");
    std::memcpy(to, &number, place.size);
  }
}

Match for_host(Match match) {
  Masked &vlan = match[Field::DlVlan];
  vlan.value = vlan.mask == 0 ? 0 : vlan_for_host(vlan.value);
  return match;
}

// Values or masks of a match, as `part` picks them.
oftab_match_t match_block(const Match &match, uint64_t Masked::*part) {
  oftab_match_t block{};
  for (const FieldRow &row : field_rows()) {
    if (const uint64_t number = match[row.field].*part; number != 0) {
      put(block, row.request, number);
    }
  }
  return block;
}

uint32_t result_type(HardwareActions::Kind kind) {
  switch (kind) {
    case HardwareActions::Kind::Normal:
      return OFTAB_ACTION_PERMIT;
    case HardwareActions::Kind::Drop:
      return OFTAB_ACTION_DENY;
    case HardwareActions::Kind::Output:
      return OFTAB_ACTION_OUTPORT;
    case HardwareActions::Kind::Controller:
      break;
  }
  return OFTAB_ACTION_CONTROLLER;
}

void append_record(Bytes &message, uint32_t seq_no, const Placement &placement, uint32_t priority) {
  const HardwareActions &actions = placement.actions;
  oftab_flow_t record{};
  record.priority = priority;
  record.seq_no = seq_no;
  record.context = seq_no;
  const Match match = for_host(placement.match);
  record.value = match_block(match, &Masked::value);
  record.mask = match_block(match, &Masked::mask);
  record.result_type = result_type(actions.kind);
  record.action_flags = actions.copy_to_controller ? OFTAB_ACTION_FLAG_CONTROLLER : 0;
  record.app_id = actions.app_id;
  record.num_oif = static_cast<uint16_t>(actions.outputs.size());
  append(message, record);
  for (const uint32_t ifindex : actions.outputs) {
    append(message, ifindex);
  }
}

template <typename Header>
Bytes begin(uint32_t operation, size_t count) {
  Bytes message;
  append(message, Header{operation, static_cast<uint16_t>(count), 0});
  return message;
}

}  // namespace

Bytes flow_request(uint32_t entry_op, std::span<const Flow *const> flows) {
  Bytes message = begin<oftab_entry_update_req_t>(entry_op, flows.size());
  message.reserve(message.size() + flows.size() * sizeof(oftab_flow_t));
  for (const Flow *flow : flows) {
    append_record(message, flow->seq_no.value_or(0), placement_of(*flow), library_priority(*flow));
  }
  return message;
}

Bytes flow_request(uint32_t entry_op, const Flow &flow) {
  const Flow *const one = &flow;
  return flow_request(entry_op, {&one, 1});
}

// What is reported alone goes nowhere else: it is dropped.
std::vector<Bytes> catch_all_requests(const HardwareActions &actions) {
  using Kind = HardwareActions::Kind;
  std::vector<Bytes> requests;
  const auto request = [&](Kind kind) {
    const HardwareActions one{.kind = kind, .outputs = {}, .app_id = actions.app_id};
    requests.push_back(begin<oftab_entry_update_req_t>(OFTAB_ENTRY_ADD, 1));
    append_record(requests.back(), 0, {.match = {}, .actions = one, .cpu = {}}, OFTAB_CATCH_ALL_PRIORITY);
  };
  if (actions.kind == Kind::Controller || actions.copy_to_controller) {
    request(Kind::Controller);
  }
  request(actions.kind == Kind::Controller ? Kind::Drop : actions.kind);
  return requests;
}

Bytes delete_request(std::span<const uint32_t> seq_nos) {
  Bytes message = begin<oftab_entry_del_req_t>(OFTAB_ENTRY_DELETE, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    append(message, oftab_del_entry_t{seq_no, seq_no, 0});
  }
  return message;
}

Bytes purge_request() {
  return begin<oftab_entry_update_req_t>(OFTAB_ENTRY_PURGE, 0);
}

Bytes interface_request(uint32_t intf_op, std::span<const uint32_t> ifindexes) {
  Bytes message = begin<oftab_intf_update_req_t>(intf_op, ifindexes.size());
  for (const uint32_t ifindex : ifindexes) {
    append(message, oftab_intf_req_info_t{ifindex, ifindex});
  }
  return message;
}

Bytes statistics_request(uint32_t op, std::span<const uint32_t> seq_nos) {
  Bytes message = begin<oftab_stats_query_req_t>(op, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    append(message, oftab_stats_req_info_t{seq_no, seq_no});
  }
  return message;
}

}  // namespace agent
