// SPDX-License-Identifier: Apache-2.0
// Counts the library's calls into the host and makes chosen ones fail.
#ifndef HOST_SERVICES_FAULTS_H
#define HOST_SERVICES_FAULTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "host/services/calls.h"

namespace host::services {

enum class Repeat { Once, FromThenOn };

class Faults {
 public:
  // Makes the `nth` coming call (1: the next) of the operation with this C name fail with `code`. A call whose result
  // is not a code fails in its own way instead (null, 65535, -1). Several faults can be armed at a time.
  // Throws std::invalid_argument for a name that is not in names(), for nth 0 and for code 0.
  void fail(std::string_view name, uint64_t nth, int32_t code, Repeat repeat = Repeat::Once);

  // The same for the `nth` coming call of any operation that can fail.
  void fail_any(uint64_t nth, int32_t code, Repeat repeat = Repeat::Once);

  // Takes back every fault that is armed; counts stay.
  void disarm() { armed_.clear(); }
  bool armed() const { return !armed_.empty(); }

  // The calls that were made to fail since the last reset, in order.
  const std::vector<Call> &injected() const { return injected_; }

  // Calls since the last reset, failed ones included. Throws std::invalid_argument for an unknown name.
  uint64_t calls(std::string_view name) const;
  uint64_t calls(Call call) const { return counts_[static_cast<size_t>(call)]; }
  uint64_t sdk_calls() const;  // of all ASIC SDK operations together

  // Forgets counts and injected calls; armed faults stay.
  void reset();

  // The operations that can be made to fail, by C name.
  static std::vector<std::string_view> names();

  // For the imports: counts a call; 0 lets it go on, another value is the code to fail with.
  [[nodiscard]] int32_t enter(FailingCall entered) {
    note(entered.call);
    return armed_.empty() ? 0 : inject(entered.call);
  }
  void count(UnfailingCall counted) { note(counted.call); }

 private:
  struct Armed {
    bool any;
    Call call;      // unless any
    uint64_t left;  // calls until it strikes
    int32_t code;
    Repeat repeat;
  };

  void note(Call call) { ++counts_[static_cast<size_t>(call)]; }
  void arm(Armed fault);
  int32_t inject(Call call);

  std::array<uint64_t, kCallCount> counts_{};
  std::vector<Armed> armed_;
  std::vector<Call> injected_;
};

}  // namespace host::services

#endif
