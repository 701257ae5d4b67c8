// SPDX-License-Identifier: Apache-2.0
// A readable log of the SDK calls.
#ifndef HOST_SERVICES_CALL_LOG_H
#define HOST_SERVICES_CALL_LOG_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace host::services {

// One line a call, in order: the name, what distinguishes the call, the result, and what a successful call answered. Of
// 65536 lines the older half goes when another comes.
//   qtr_custom_cache_unified_entry_set(2000, vld=1) = 0
//   qtr_custom_cache_unified_entry_get(4095) = 0
//   libsdk_l3_route_stats_create() = 0, id 1
//   libsdk_l3_route_stats_get(1) = 0
//   libsdk_l3_route_stats_destroy(1) = 0
//   libsdk_mcst_tree_create(8192) = 0
//   libsdk_mcst_tree_group_add(8192, ports 2 3) = 0
//   libsdk_mcst_tree_destroy(8192) = 0
//   libsdk_switch_config_get_batch(53, vlan 100) = 0, bd 200
//   libsdk_port_static_match_enable_set(port 1, match 7, enable 0) = 0
class CallLog {
 public:
  // Off unless switched on; the lines collected so far stay.
  void set_on(bool on) { on_ = on; }
  bool on() const { return on_; }

  const std::vector<std::string> &lines() const { return lines_; }
  void clear() { lines_.clear(); }

  void add(std::string line) {
    if (lines_.size() == kCapacity) {
      lines_.erase(lines_.begin(), lines_.begin() + kCapacity / 2);
    }
    lines_.push_back(std::move(line));
  }

 private:
  static constexpr size_t kCapacity = 65536;

  bool on_ = false;
  std::vector<std::string> lines_;
};

}  // namespace host::services

#endif
