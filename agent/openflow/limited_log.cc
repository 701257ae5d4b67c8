// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/limited_log.h"

#include <algorithm>

namespace agent::openflow {

void LimitedLog::write(std::string_view line, Time now) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now - refilled_);
  room_ = std::min<int64_t>(kAtOnce, room_ + seconds.count());
  refilled_ += seconds;
  if (room_ == 0) {
    ++left_out_;
    return;
  }
  --room_;
  log_(line);
}

}  // namespace agent::openflow
