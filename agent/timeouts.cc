// SPDX-License-Identifier: Apache-2.0
#include "agent/timeouts.h"

#include <algorithm>

namespace agent {
namespace {

Time deadline(uint16_t timeout, Time since) {
  return timeout == 0 ? Time::max() : since + std::chrono::seconds(timeout);
}

Time hard_deadline(const TableEntry &entry) {
  return deadline(entry.flow.hard_timeout, entry.added);
}

Time idle_deadline(const TableEntry &entry) {
  return deadline(entry.flow.idle_timeout, entry.used);
}

}  // namespace

std::optional<RemovedFlow::Reason> expiry(const TableEntry &entry, Time now) {
  using Reason = RemovedFlow::Reason;
  if (now >= hard_deadline(entry)) {
    return Reason::HardTimeout;
  }
  return now >= idle_deadline(entry) ? std::optional(Reason::IdleTimeout) : std::nullopt;
}

Time first_deadline(const FlowTable &flows, Time after) {
  Time first = Time::max();
  for (const auto &[seq_no, entry] : flows.entries()) {
    for (const Time time : {hard_deadline(entry), idle_deadline(entry)}) {
      first = time > after ? std::min(first, time) : first;
    }
  }
  return first;
}

}  // namespace agent
