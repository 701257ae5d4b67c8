// SPDX-License-Identifier: Apache-2.0
#include "host/services/faults.h"

#include <algorithm>
#include <stdexcept>

namespace host::services {
namespace {

Call call_named(std::string_view wanted) {
  const auto found = std::ranges::find(kCalls, wanted, &CallTraits::name);
  if (found == kCalls.end()) {
    throw std::invalid_argument("no such host call: " + std::string(wanted));
  }
  return static_cast<Call>(found - kCalls.begin());
}

}  // namespace

void Faults::fail(std::string_view name, uint64_t nth, int32_t code, Repeat repeat) {
  const Call call = call_named(name);
  if (!is(call, kCanFail)) {
    throw std::invalid_argument("this host call cannot be made to fail: " + std::string(name));
  }
  arm({false, call, nth, code, repeat});
}

void Faults::fail_any(uint64_t nth, int32_t code, Repeat repeat) {
  arm({true, Call::kCount, nth, code, repeat});
}

void Faults::arm(Armed fault) {
  if (fault.left == 0) {
    throw std::invalid_argument("a fault strikes the first coming call or a later one, not call 0");
  }
  if (fault.code == 0) {
    throw std::invalid_argument("code 0 means success: a fault needs another");
  }
  armed_.push_back(fault);
}

int32_t Faults::inject(Call call) {
  int32_t code = 0;
  for (Armed &fault : armed_) {
    const bool concerned = fault.any ? is(call, kCanFail) : fault.call == call;
    if (concerned && --fault.left == 0) {
      code = fault.code;
      fault.left = fault.repeat == Repeat::FromThenOn ? 1 : 0;
    }
  }
  std::erase_if(armed_, [](const Armed &fault) { return fault.left == 0; });
  if (code != 0) {
    injected_.push_back(call);
  }
  return code;
}

uint64_t Faults::calls(std::string_view name) const {
  return calls(call_named(name));
}

uint64_t Faults::sdk_calls() const {
  uint64_t sum = 0;
  for (size_t i = 0; i < kCallCount; ++i) {
    sum += is(static_cast<Call>(i), kSdk) ? counts_[i] : 0;
  }
  return sum;
}

void Faults::reset() {
  counts_.fill(0);
  injected_.clear();
}

std::vector<std::string_view> Faults::names() {
  std::vector<std::string_view> names;
  for (const CallTraits &call : kCalls) {
    if ((call.marks & kCanFail) != 0) {
      names.push_back(call.name);
    }
  }
  return names;
}

}  // namespace host::services
