// SPDX-License-Identifier: Apache-2.0
// A log that a peer cannot flood: ten lines at once, then one a second; the others are counted.
#ifndef AGENT_OPENFLOW_LIMITED_LOG_H
#define AGENT_OPENFLOW_LIMITED_LOG_H

#include <cstdint>
#include <functional>
#include <string_view>

#include "agent/flow_table.h"

namespace agent::openflow {

using Log = std::function<void(std::string_view line)>;

class LimitedLog {
 public:
  explicit LimitedLog(Log log) : log_(std::move(log)) {}

  void write(std::string_view line, Time now);

  // Lines that were not written so far.
  uint64_t left_out() const { return left_out_; }

 private:
  static constexpr int64_t kAtOnce = 10;

  Log log_;
  int64_t room_ = kAtOnce;  // lines
  Time refilled_{};         // when room was last made
  uint64_t left_out_ = 0;
};

}  // namespace agent::openflow

#endif
