// SPDX-License-Identifier: Apache-2.0
#include "bench/requests.h"

#include <array>
#include <cstring>

#include "host/services/interfaces.h"
#include "oftab/oftab.h"

namespace bench {
namespace {

using host::services::Interfaces;

constexpr uint32_t kTopPriority = 1000000000;
constexpr uint32_t kKinds = 3;
constexpr std::array<uint32_t, kKinds> kActions = {OFTAB_ACTION_PERMIT, OFTAB_ACTION_DENY, OFTAB_ACTION_OUTPORT};
constexpr uint32_t kArp = 0x0806;
constexpr std::array<uint32_t, kKinds> kEthertypes = {0x0800, kArp, 0};

template <typename Record>
void append(Bytes &message, const Record &record) {
  const size_t end = message.size();
  message.resize(end + sizeof record);
  std::memcpy(message.data() + end, &record, sizeof record);
}

// Every message starts with an operation and a count.
Bytes header(uint32_t operation, size_t count) {
  Bytes message;
  append(message, oftab_entry_update_req_t{operation, static_cast<uint16_t>(count), 0});
  return message;
}

void set_match(oftab_flow_t &flow, uint32_t number) {
  const uint32_t kind = number % kKinds;
  flow.value.vlan = static_cast<uint16_t>(1 + number % 4094);
  flow.mask.vlan = 0xffff;
  flow.value.ethertype = kEthertypes[kind];
  flow.mask.ethertype = kEthertypes[kind] == 0 ? 0 : 0xffff;
  std::memcpy(flow.value.mac_da, &number, sizeof number);
  std::memset(flow.mask.mac_da, 0xff, sizeof flow.mask.mac_da);
  if (kind == 0) {
    flow.value.ip_da = 0x0a000000 + number;
    flow.mask.ip_da = 0xffffffff;
  }
}

Bytes flow_request(uint32_t operation, const SeqNos &seq_nos, uint32_t action_offset) {
  Bytes message = header(operation, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    oftab_flow_t flow{};
    flow.seq_no = seq_no;
    flow.priority = kTopPriority - seq_no;
    set_match(flow, seq_no);
    flow.result_type = kActions[(seq_no + action_offset) % kKinds];
    const bool has_outputs = flow.result_type == OFTAB_ACTION_OUTPORT;
    flow.num_oif = has_outputs ? 2 : 0;
    append(message, flow);
    if (has_outputs) {
      append(message, std::array{Interfaces::port_ifindex(1), Interfaces::port_ifindex(2)});
    }
  }
  return message;
}

}  // namespace

Bytes add_request(const SeqNos &seq_nos) {
  return flow_request(OFTAB_ENTRY_ADD, seq_nos, 0);
}

bool is_for_arp(uint32_t seq_no) {
  return kEthertypes[seq_no % kKinds] == kArp;
}

Bytes modify_request(const SeqNos &seq_nos) {
  return flow_request(OFTAB_ENTRY_MODIFY, seq_nos, 1);
}

Bytes delete_request(const SeqNos &seq_nos) {
  Bytes message = header(OFTAB_ENTRY_DELETE, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    append(message, oftab_del_entry_t{0, seq_no, 0});
  }
  return message;
}

Bytes purge_request() {
  return header(OFTAB_ENTRY_PURGE, 0);
}

Bytes listed_query(const SeqNos &seq_nos) {
  Bytes message = header(OFTAB_STATS_LISTED, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    append(message, oftab_stats_req_info_t{0, seq_no});
  }
  return message;
}

Bytes query_of_all() {
  return header(OFTAB_STATS_ALL, 0);
}

}  // namespace bench
