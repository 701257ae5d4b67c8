// SPDX-License-Identifier: Apache-2.0
// Requests, written down by what differs from a default flow, and responses, decoded.
#ifndef TESTS_SUPPORT_MESSAGES_H
#define TESTS_SUPPORT_MESSAGES_H

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "oftab/oftab.h"

namespace test {

using Bytes = std::vector<uint8_t>;
using Mac = std::array<uint8_t, 6>;

// One block of a flow's match, values or mask.
struct Match {
  uint32_t ifindex = 0;
  Mac mac_sa{};
  Mac mac_da{};
  uint32_t ethertype = 0;
  uint16_t vlan = 0;
  uint32_t ip_sa = 0;
  uint32_t ip_da = 0;
  uint16_t tos = 0;
  uint16_t protocol = 0;
  uint16_t sport = 0;
  uint16_t dport = 0;
};

struct Action {
  uint32_t type = OFTAB_ACTION_PERMIT;
  std::vector<uint32_t> outputs{};
  uint8_t flags = 0;
  uint32_t app_id = 0;
};

inline Action deny() {
  return {.type = OFTAB_ACTION_DENY};
}
inline Action output(std::vector<uint32_t> ifindexes) {
  return {.type = OFTAB_ACTION_OUTPORT, .outputs = std::move(ifindexes)};
}
inline Action controller(uint32_t app_id = 1) {
  return {.type = OFTAB_ACTION_CONTROLLER, .app_id = app_id};
}
// The action, and a copy to the controller beside it.
inline Action copied(Action action, uint32_t app_id = 1) {
  action.flags = OFTAB_ACTION_FLAG_CONTROLLER;
  action.app_id = app_id;
  return action;
}

// By default a flow that matches every packet and permits it.
struct Flow {
  uint32_t seq_no = 1;
  uint32_t priority = 100;
  Match value{};
  Match mask{};
  Action action{};

  uint32_t context() const { return 0xc0de0000U + seq_no; }
};

// A flow told from others by its IPv4 source port, which is its sequence number.
Flow numbered_flow(uint32_t seq_no, uint32_t priority, Action action = {});

constexpr uint32_t port(uint32_t slot) {
  return 0x1a000000U + (slot << 12);
}
constexpr uint32_t port_channel(uint32_t number) {
  return 0x16000000U + number;
}

Bytes entry_request(uint32_t entry_op, std::span<const Flow> flows);
inline Bytes add(const std::vector<Flow> &flows) {
  return entry_request(OFTAB_ENTRY_ADD, flows);
}
inline Bytes modify(const std::vector<Flow> &flows) {
  return entry_request(OFTAB_ENTRY_MODIFY, flows);
}
Bytes erase(const std::vector<uint32_t> &seq_nos);
Bytes purge();
Bytes set_catch_all(Action action);
Bytes intf_request(uint32_t intf_op, const std::vector<uint32_t> &ifindexes);
Bytes stats_request(uint32_t op, const std::vector<uint32_t> &seq_nos);

struct Response {
  uint32_t entry_op = 0;
  uint32_t num_entries = 0;
  int32_t status = 0;
  std::vector<oftab_resp_entry_t> entries;

  std::vector<int32_t> entry_statuses() const;
};

Response decode(const Bytes &response);

struct StatsResponse {
  uint32_t op = 0;
  uint32_t num_entries = 0;
  int32_t status = 0;
  std::vector<oftab_stats_resp_info_t> records;
};

StatsResponse decode_stats(const Bytes &response);

// Bytes as lower-case hex digits, and back; blanks between digits do not count.
std::string hex(std::span<const uint8_t> bytes);
Bytes unhex(std::string_view digits);

}  // namespace test

#endif
