// SPDX-License-Identifier: Apache-2.0
// The system log as the library writes it.
#ifndef HOST_SERVICES_SYSTEM_LOG_H
#define HOST_SERVICES_SYSTEM_LOG_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace host::services {

struct SystemLogLine {
  int priority;
  std::string text;
};

class SystemLog {
 public:
  // Collects a line, and echoes it if anybody wants to see it.
  void add(int priority, std::string text);

  const std::vector<SystemLogLine> &lines() const { return lines_; }
  void clear() { lines_.clear(); }
  void echo_to(std::function<void(std::string_view text)> echo) { echo_ = std::move(echo); }

 private:
  std::vector<SystemLogLine> lines_;
  std::function<void(std::string_view)> echo_;
};

}  // namespace host::services

#endif
