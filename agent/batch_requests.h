// SPDX-License-Identifier: Apache-2.0
// Requests that may fail, and what can be told then.
#ifndef AGENT_BATCH_REQUESTS_H
#define AGENT_BATCH_REQUESTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_set>

#include "agent/requests.h"
#include "agent/responses.h"
#include "host/switch.h"

namespace agent {

// The library lost all its flows: it ran out of memory as it committed a request.
struct FlowsLost {};
bool has_lost_flows();

// The response; none when the library did not answer, which says nothing about what it did. Throws FlowsLost, as do the
// operations on batches.
std::optional<Response> ask(host::Switch &device, const Bytes &request);

bool succeeded(const std::optional<Response> &response);

// A code for what failed: that of the flow, else that of the request, else that there was no answer.
int32_t failure(const std::optional<Response> &response, size_t position);

// Of the flows in the library's table.
std::unordered_set<uint32_t> live_seq_nos();

}  // namespace agent

#endif
