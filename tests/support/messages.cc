// SPDX-License-Identifier: Apache-2.0
#include "tests/support/messages.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace test {
namespace {

template <typename... Parts>
void append(Bytes &message, const Parts &...parts) {
  const auto append_one = [&](const auto &part) {
    const size_t end = message.size();
    message.resize(end + sizeof part);
    std::memcpy(message.data() + end, &part, sizeof part);
  };
  (append_one(parts), ...);
}

template <typename T>
T read(const Bytes &message, size_t offset) {
  if (offset + sizeof(T) > message.size()) {
    throw std::out_of_range("response of " + std::to_string(message.size()) + " bytes");
  }
  T part;
  std::memcpy(&part, message.data() + offset, sizeof part);
  return part;
}

template <typename T>
std::vector<T> read_records(const Bytes &message, size_t offset) {
  std::vector<T> records;
  for (; offset < message.size(); offset += sizeof(T)) {
    records.push_back(read<T>(message, offset));
  }
  return records;
}

// Every request starts alike.
Bytes header(uint32_t operation, size_t count) {
  Bytes message;
  append(message, operation, static_cast<uint16_t>(count), uint16_t{0});
  return message;
}

void append_match(Bytes &message, const Match &match) {
  append(message, match.ifindex, match.mac_sa, match.mac_da, match.ethertype, match.vlan, uint16_t{0}, match.ip_sa,
         match.ip_da, match.tos, match.protocol, match.sport, match.dport);
}

void append_action(Bytes &message, const Action &action) {
  append(message, action.type, uint32_t{action.flags}, action.app_id, static_cast<uint32_t>(action.outputs.size()));
  if (oftab_has_output_list(action.type) != 0) {
    std::ranges::for_each(action.outputs, [&](uint32_t ifindex) { append(message, ifindex); });
  }
}

}  // namespace

Flow numbered_flow(uint32_t seq_no, uint32_t priority, Action action) {
  const auto number = static_cast<uint16_t>(seq_no);
  return {.seq_no = seq_no,
          .priority = priority,
          .value = {.ethertype = 0x800, .sport = number},
          .mask = {.ethertype = 0xffff, .sport = 0xffff},
          .action = std::move(action)};
}

Bytes entry_request(uint32_t entry_op, std::span<const Flow> flows) {
  Bytes message = header(entry_op, flows.size());
  for (const Flow &flow : flows) {
    append(message, flow.priority, flow.seq_no, flow.context());
    append_match(message, flow.value);
    append_match(message, flow.mask);
    append_action(message, flow.action);
  }
  return message;
}

Bytes erase(const std::vector<uint32_t> &seq_nos) {
  Bytes message = header(OFTAB_ENTRY_DELETE, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    append(message, oftab_del_entry_t{0xde1e7e00U + seq_no, seq_no, 0});
  }
  return message;
}

Bytes purge() {
  return header(OFTAB_ENTRY_PURGE, 0);
}

Bytes set_catch_all(Action action) {
  return add({{.seq_no = 4711, .priority = OFTAB_CATCH_ALL_PRIORITY, .action = std::move(action)}});
}

Bytes intf_request(uint32_t intf_op, const std::vector<uint32_t> &ifindexes) {
  Bytes message = header(intf_op, ifindexes.size());
  for (const uint32_t ifindex : ifindexes) {
    append(message, oftab_intf_req_info_t{ifindex, ifindex ^ 0xffffU});
  }
  return message;
}

Bytes stats_request(uint32_t op, const std::vector<uint32_t> &seq_nos) {
  Bytes message = header(op, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    append(message, oftab_stats_req_info_t{0x57a70000U + seq_no, seq_no});
  }
  return message;
}

std::vector<int32_t> Response::entry_statuses() const {
  std::vector<int32_t> statuses;
  for (const oftab_resp_entry_t &entry : entries) {
    statuses.push_back(entry.status);
  }
  return statuses;
}

Response decode(const Bytes &response) {
  return {read<uint32_t>(response, 0), read<uint32_t>(response, 4), read<int32_t>(response, 8),
          read_records<oftab_resp_entry_t>(response, 12)};
}

StatsResponse decode_stats(const Bytes &response) {
  return {read<uint32_t>(response, 0), read<uint16_t>(response, 4), read<int32_t>(response, 8),
          read_records<oftab_stats_resp_info_t>(response, 12)};
}

std::string hex(std::span<const uint8_t> bytes) {
  std::string digits;
  for (const uint8_t byte : bytes) {
    digits += "0123456789abcdef"[byte / 16];
    digits += "0123456789abcdef"[byte % 16];
  }
  return digits;
}

Bytes unhex(std::string_view digits) {
  std::string packed(digits);
  std::erase(packed, ' ');
  Bytes bytes;
  for (size_t i = 0; i + 1 < packed.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(packed.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

}  // namespace test
