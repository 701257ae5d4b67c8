// SPDX-License-Identifier: Apache-2.0
#include "host/asic/trees.h"

namespace host::asic {

std::vector<uint8_t> ports_of(const port_group &group) {
  std::vector<uint8_t> ports;
  for (unsigned port = 0; port < 8 * sizeof group.port_bitmap; ++port) {
    if ((group.port_bitmap[port / 8] & 0x80U >> port % 8) != 0) {
      ports.push_back(static_cast<uint8_t>(port));
    }
  }
  return ports;
}

SdkError Trees::create(uint32_t index) {
  if (index == 0 || index >= kIndices) {
    return SdkError::BadTreeIndex;
  }
  if (exists(index)) {
    return SdkError::TreeExists;
  }
  if (trees_.size() >= capacity_) {
    return SdkError::TreesExhausted;
  }
  trees_[index] = port_group{};
  return SdkError::None;
}

SdkError Trees::set_ports(uint32_t index, const port_group &group) {
  if (!exists(index)) {
    return SdkError::UnknownTree;
  }
  if (group.bitmap_size != sizeof group.port_bitmap) {
    return SdkError::BadBitmapSize;
  }
  trees_[index] = group;
  build_failed_.erase(index);
  return SdkError::None;
}

void Trees::destroy(uint32_t index) {
  trees_.erase(index);
  destroy_failed_.erase(index);
}

std::vector<uint32_t> Trees::indices() const {
  std::vector<uint32_t> indices;
  indices.reserve(trees_.size());
  for (const auto &[index, group] : trees_) {
    indices.push_back(index);
  }
  return indices;
}

std::vector<uint8_t> Trees::ports(uint32_t index) const {
  const auto tree = trees_.find(index);
  return tree == trees_.end() ? std::vector<uint8_t>{} : ports_of(tree->second);
}

}  // namespace host::asic
