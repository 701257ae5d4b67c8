// SPDX-License-Identifier: Apache-2.0
// The length that a request must have. A count is believed only as far as the records in front of it could be read, so
// that a request cannot claim more than it holds.
#include "host/request.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

#include "oftab/oftab.h"

namespace host {
namespace {

using Bytes = std::span<const uint8_t>;

// All requests start alike: a u32 operation, a u16 count, two further bytes.
constexpr size_t kHeader = sizeof(oftab_entry_update_req_t);
static_assert(sizeof(oftab_entry_del_req_t) == kHeader);
static_assert(sizeof(oftab_intf_update_req_t) == kHeader);
static_assert(sizeof(oftab_stats_query_req_t) == kHeader);

template <typename T>
T read(Bytes request, size_t offset) {
  T value{};
  std::memcpy(&value, request.data() + offset, sizeof value);
  return value;
}

uint32_t operation(Bytes request) {
  return read<uint32_t>(request, offsetof(oftab_entry_update_req_t, entry_op));
}

size_t count(Bytes request) {
  return read<uint16_t>(request, offsetof(oftab_entry_update_req_t, num_entries));
}

size_t flow_length(const oftab_flow_t &flow) {
  return sizeof flow + (oftab_has_output_list(flow.result_type) != 0 ? flow.num_oif * sizeof(uint32_t) : 0);
}

// The end of the last flow, or of the first that lies beyond the request's own end.
size_t end_of_flows(Bytes request) {
  size_t end = kHeader;
  for (size_t i = 0; i < count(request) && end <= request.size(); ++i) {
    const bool readable = end + sizeof(oftab_flow_t) <= request.size();
    end += readable ? flow_length(read<oftab_flow_t>(request, end)) : sizeof(oftab_flow_t);
  }
  return end;
}

size_t entry_request_length(Bytes request) {
  switch (operation(request)) {
    case OFTAB_ENTRY_ADD:
    case OFTAB_ENTRY_MODIFY:
      return end_of_flows(request);
    case OFTAB_ENTRY_DELETE:
      return kHeader + count(request) * sizeof(oftab_del_entry_t);
    default:
      return kHeader;
  }
}

size_t needed_length(uint32_t code, Bytes request) {
  if (request.size() < kHeader) {
    return kHeader;
  }
  switch (code) {
    case OFTAB_MSG_ENTRY_UPDATE:
      return entry_request_length(request);
    case OFTAB_MSG_INTF_UPDATE:
      return kHeader + count(request) * sizeof(oftab_intf_req_info_t);
    case OFTAB_MSG_GET_STATS:
      return kHeader + (operation(request) == OFTAB_STATS_LISTED ? count(request) * sizeof(oftab_stats_req_info_t) : 0);
    default:
      throw std::logic_error("no length is known for requests of code " + std::to_string(code));
  }
}

}  // namespace

void check_request(uint32_t code, Bytes request) {
  const size_t needed = needed_length(code, request);
  if (request.size() < needed) {
    throw std::invalid_argument("request " + std::to_string(code) + " is " + std::to_string(request.size()) +
                                " bytes long, its counts need " + std::to_string(needed) + " or more");
  }
}

}  // namespace host
