// SPDX-License-Identifier: Apache-2.0
// What the library answered to a request.
#ifndef AGENT_RESPONSES_H
#define AGENT_RESPONSES_H

#include <cstdint>
#include <vector>

#include "host/switch.h"

namespace agent {

// A status for the whole request and one for each flow or interface of it.
struct Response {
  struct Entry {
    uint32_t id;  // sequence number or ifindex
    int32_t status;
  };
  int32_t status = 0;
  std::vector<Entry> entries;
};

struct StatisticsResponse {
  struct Entry {
    uint32_t seq_no;
    int32_t status;
    uint64_t packets;
    uint64_t bytes;
  };
  int32_t status = 0;
  uint16_t count = 0;  // as the response's header says
  std::vector<Entry> entries;
};

// Each submits a request and reads its response. A std::runtime_error when none came.
Response submit_entries(host::Switch &device, const std::vector<uint8_t> &request);
Response submit_interfaces(host::Switch &device, const std::vector<uint8_t> &request);
StatisticsResponse submit_statistics(host::Switch &device, const std::vector<uint8_t> &request);

}  // namespace agent

#endif
