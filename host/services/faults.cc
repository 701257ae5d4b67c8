#include "host/services/faults.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <span>
#include <stdexcept>

namespace host::services {
namespace {

#define HOST_CALL_NAME(name) #name,
constexpr std::string_view kFaultable[] = {HOST_FAULTABLE_CALLS(HOST_CALL_NAME)};
constexpr std::string_view kNames[] = {HOST_FAULTABLE_CALLS(HOST_CALL_NAME) HOST_OTHER_CALLS(HOST_CALL_NAME)};
#undef HOST_CALL_NAME

constexpr size_t kLastSdkCall = static_cast<size_t>(Call::libsdk_port_static_match_enable_set);

bool is_faultable(Call call) {
  return static_cast<size_t>(call) < std::size(kFaultable);
}

// The call with this name, which is one of `among`, the beginning of kNames.
Call call_named(std::string_view wanted, std::span<const std::string_view> among) {
  const auto found = std::ranges::find(among, wanted);
  if (found == among.end()) {
    throw std::invalid_argument("no such host call: " + std::string(wanted));
  }
  return static_cast<Call>(found - among.begin());
}

}  // namespace

std::string_view name(Call call) {
  return kNames[static_cast<size_t>(call)];
}

void Faults::fail(std::string_view name, uint64_t nth, int32_t code, Repeat repeat) {
  arm({false, call_named(name, kFaultable), nth, code, repeat});
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
    const bool concerned = fault.any ? is_faultable(call) : fault.call == call;
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
  return calls(call_named(name, kNames));
}

uint64_t Faults::sdk_calls() const {
  return std::accumulate(counts_.begin(), counts_.begin() + kLastSdkCall + 1, uint64_t{0});
}

void Faults::reset() {
  counts_.fill(0);
  injected_.clear();
}

std::vector<std::string_view> Faults::names() {
  return {std::begin(kFaultable), std::end(kFaultable)};
}

}  // namespace host::services
