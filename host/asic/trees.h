// SPDX-License-Identifier: Apache-2.0
// Replication trees: the output ports behind each multicast index.
#ifndef HOST_ASIC_TREES_H
#define HOST_ASIC_TREES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "host/asic/sdk_error.h"
#include "platform/asic_sdk.h"

namespace host::asic {

// The ports of a port group, rising.
std::vector<uint8_t> ports_of(const port_group &group);

class Trees {
 public:
  static constexpr uint32_t kIndices = 1U << 14;

  SdkError create(uint32_t index);
  SdkError set_ports(uint32_t index, const port_group &group);
  void destroy(uint32_t index);  // an index without a tree: nothing happens

  // Takes note that a destruction failed before it got here; forgotten when one succeeds.
  void note_failed_destroy(uint32_t index) { destroy_failed_.insert(index); }
  bool last_destroy_failed(uint32_t index) const { return destroy_failed_.contains(index); }

  // Takes note that a creation or a change of ports failed; forgotten when a tree's ports are set.
  void note_failed_build(uint32_t index) { build_failed_.insert(index); }
  bool last_build_failed(uint32_t index) const { return build_failed_.contains(index); }

  // How many trees can exist at a time (16383 unless set).
  void set_capacity(size_t trees) { capacity_ = trees; }
  size_t capacity() const { return capacity_; }

  bool exists(uint32_t index) const { return trees_.contains(index); }
  std::vector<uint32_t> indices() const;             // of the trees that exist, rising
  std::vector<uint8_t> ports(uint32_t index) const;  // SDK ports, rising; none without a tree

 private:
  std::map<uint32_t, port_group> trees_;
  std::set<uint32_t> destroy_failed_;
  std::set<uint32_t> build_failed_;
  size_t capacity_ = kIndices - 1;
};

}  // namespace host::asic

#endif
