// SPDX-License-Identifier: Apache-2.0
#include "tests/support/disturber.h"

#include <string_view>
#include <utility>

#include "tests/support/allocations.h"

namespace test {
namespace {

constexpr int32_t kCode = 77;  // of a failing call

}  // namespace

bool Disturber::during(const std::function<void()> &operate) {
  for (uint32_t left = one_in_ != 0 && dice_.one_in(one_in_) ? 1 + dice_.below(2) : 0; left > 0; --left) {
    arm();
  }
  if (next) {
    std::exchange(next, {})();
  }
  const auto struck = [this] { return faults_.injected().size() + failed_allocations(); };
  const uint64_t before = struck();
  operate();
  faults_.disarm();
  let_allocations_pass();
  const bool now = struck() > before;
  disturbed = disturbed || now;
  has_struck = has_struck || now;
  return now;
}

// Lets a call fail: any, or one of a kind, or an allocation; once, or from then on.
void Disturber::arm() {
  const bool lasting = dice_.one_in(4);
  const auto repeat = lasting ? host::services::Repeat::FromThenOn : host::services::Repeat::Once;
  const uint32_t what = dice_.below(10);
  const bool any = what < 5 && calls_.empty();
  const uint64_t nth = 1 + dice_.below(any ? 40 : 5);
  std::string_view call = "any call";
  if (any) {
    faults_.fail_any(nth, kCode, repeat);
  } else if (what == 5 || what == 6) {
    call = "an allocation";
    fail_allocation(nth, lasting);
  } else {
    const auto names = host::services::Faults::names();
    call = what == 7 ? "qtr_custom_cache_unified_entry_set" : dice_.pick(calls_.empty() ? std::span(names) : calls_);
    faults_.fail(call, nth, kCode, repeat);
  }
  log_ << " [" << call << " fails at " << nth << (lasting ? ", lastingly]" : "]");
}

}  // namespace test
