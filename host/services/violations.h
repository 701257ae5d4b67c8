// SPDX-License-Identifier: Apache-2.0
// What the library did against the contracts of platform/.
#ifndef HOST_SERVICES_VIOLATIONS_H
#define HOST_SERVICES_VIOLATIONS_H

#include <string>
#include <utility>
#include <vector>

namespace host::services {

// A readable line for each breach, in order. A correct library leaves it empty.
class Violations {
 public:
  void add(std::string text) { list_.push_back(std::move(text)); }
  const std::vector<std::string> &list() const { return list_; }
  void clear() { list_.clear(); }

 private:
  std::vector<std::string> list_;
};

}  // namespace host::services

#endif
