// SPDX-License-Identifier: Apache-2.0
// The TCAM region: 4096 records, of which the first that matches a packet decides about it.
#ifndef HOST_ASIC_TCAM_H
#define HOST_ASIC_TCAM_H

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "host/asic/packet_key.h"
#include "host/asic/sdk_error.h"
#include "host/asic/ternary_search.h"
#include "host/services/violations.h"
#include "platform/asic_sdk.h"

namespace host::asic {

struct Record {
  Key key{};
  Key mask{};
  std::array<uint8_t, TCAM_RESULT_SIZE> result{};

  bool valid() const;  // the key's `vld`
  bool operator==(const Record &) const = default;
};

class Tcam {
 public:
  explicit Tcam(services::Violations &violations) : violations_(violations) {}

  // The SDK's write. Refuses an index out of range, one valid record too many, and any write in a NoTcamWrites scope.
  SdkError write(uint32_t index, const Record &record);

  // Takes note that this write to `index` failed, for whatever reason.
  void note_failed_write(uint32_t index, const Record &record);
  // What the most recent write to `index` was to put there, if that failed; else null.
  const Record *refused_at(uint16_t index) const;

  // How many valid records fit (4096 unless set).
  void set_capacity(size_t valid_records) { capacity_ = valid_records; }
  size_t capacity() const { return capacity_; }

  // Side door: the records as they stand; a record placed without any check.
  const std::array<Record, TCAM_INDICES> &records() const { return records_; }
  const Record &at(uint16_t index) const { return records_.at(index); }
  void put(uint16_t index, const Record &record);

  std::vector<uint16_t> valid_indices() const;

  // The lowest index whose record is valid and matches a packet's key (packet_key()).
  std::optional<uint16_t> lookup(const Key &packet) const;

  // The same, found by comparing record after record: what `lookup` means.
  std::optional<uint16_t> scan(const Key &packet) const;

 private:
  friend class NoTcamWrites;

  void make_searchable(uint16_t index) const;
  void follow_changes() const;

  services::Violations &violations_;
  std::array<Record, TCAM_INDICES> records_{};
  std::map<uint16_t, Record> refused_;
  size_t capacity_ = TCAM_INDICES;
  size_t valid_count_ = 0;
  int forbidden_ = 0;  // open NoTcamWrites scopes

  // The valid records, and the indices whose keys or masks changed since the last lookup.
  mutable TernarySearch search_{TCAM_INDICES};
  mutable std::vector<uint16_t> changed_;
  mutable std::bitset<TCAM_INDICES> is_changed_;
};

// While it lives, every TCAM write through the SDK is refused and recorded as a violation.
class NoTcamWrites {
 public:
  explicit NoTcamWrites(Tcam &tcam) : tcam_(tcam) { ++tcam_.forbidden_; }
  ~NoTcamWrites() { --tcam_.forbidden_; }
  NoTcamWrites(const NoTcamWrites &) = delete;
  NoTcamWrites &operator=(const NoTcamWrites &) = delete;

 private:
  Tcam &tcam_;
};

}  // namespace host::asic

#endif
