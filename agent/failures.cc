// SPDX-License-Identifier: Apache-2.0
#include "agent/failures.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "agent/interface_names.h"
#include "agent/text.h"
#include "host/services/bitset.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

using host::asic::Asic;
using host::asic::SdkError;

// The number that `text` has next, which is taken from it; 0 when there is none.
uint32_t take_number(std::string_view &text, int base = 10) {
  constexpr std::string_view digits = "0123456789abcdef";
  text.remove_prefix(std::min(text.find_first_of(digits.substr(0, static_cast<size_t>(base))), text.size()));
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return number;
}

// A code of the SDK: by name if it is one of its own.
std::string sdk_text(uint32_t code) {
  const auto error = static_cast<SdkError>(code);
  const bool known = error >= SdkError::BadUnit && error <= SdkError::UnknownStaticMatch;
  return known ? concat("SDK error ", code, ", ", name(error)) : concat("SDK error ", code);
}

std::string vlan(std::string_view numbers, Asic &) {
  return concat("no bridge domain for VLAN ", take_number(numbers));
}

std::string interface(std::string_view numbers, Asic &) {
  return concat(interface_name(take_number(numbers, 16)), " has no hardware interface id");
}

std::string counter(std::string_view numbers, Asic &asic) {
  const uint32_t code = take_number(numbers);
  const std::string usage = usage_text(asic.counters().ids().size(), asic.counters().capacity());
  return code == static_cast<uint32_t>(SdkError::CountersExhausted)
             ? concat("no hardware counter left, ", usage, " in use without this request")
             : concat("no hardware counter (", sdk_text(code), ")");
}

std::string multicast_index(std::string_view, Asic &) {
  return concat("no multicast index left, ", usage_text(used_multicast_indices(), multicast_indices()),
                " in use without this request");
}

std::string tree(std::string_view numbers, Asic &asic) {
  return concat("the hardware refused a replication tree at multicast index ", take_number(numbers), ", ",
                usage_text(asic.trees().indices().size(), asic.trees().capacity()), " trees in use");
}

std::string tree_ports(std::string_view numbers, Asic &) {
  const uint32_t index = take_number(numbers);
  return concat("the hardware refused the ports of the tree at multicast index ", index, " (",
                sdk_text(take_number(numbers)), ")");
}

std::string tcam_write(std::string_view numbers, Asic &asic) {
  const uint32_t index = take_number(numbers);
  return concat("the write of TCAM index ", index, " was refused (", sdk_text(take_number(numbers)), "), ",
                usage_text(asic.tcam().valid_indices().size(), asic.tcam().capacity()), " records valid");
}

std::string places(std::string_view, Asic &) {
  const size_t free = oftab_hw_rsrc_g.current_table->free_entries;
  return concat(usage_text(OFTAB_FLOW_CAPACITY - free, OFTAB_FLOW_CAPACITY), " places for flows in use");
}

std::string not_ready(std::string_view, Asic &) {
  return "not initialised yet";
}

std::string memory(std::string_view, Asic &) {
  return "no memory";
}

std::string known_flows(std::string_view numbers, Asic &) {
  const uint32_t known = take_number(numbers);
  return concat(known, " of ", counted(take_number(numbers), "flow"), " known");
}

// A phrase of a traced text, and what it means; `numbers` is the text behind the phrase.
struct Explanation {
  std::string_view phrase;
  std::string (*words)(std::string_view numbers, Asic &asic);
};

constexpr Explanation kExplanations[] = {
    {"Failed to get bd for vlan", vlan},
    {"l3lif_get_iif_for_ifindex_new failed  for ", interface},
    {"creating stats_id failed, sdkrc", counter},
    {"mcst idx exhausted for openflow", multicast_index},
    {"create_batch failed for ltl_index", tree},
    {"create failed for ltl_index", tree},
    {"Error programming LTL for mcast_id", tree_ports},
    {"Failed installing entry", tcam_write},
    {"Failed Programming entry", tcam_write},
    {"Failed programming the entry", tcam_write},
    {"Update for Extra/unknown entries requested", known_flows},
    {"Exit. Capacity exceeded", places},
    {"Malloc failure", memory},
    {"Not Initialized yet", not_ready},
};

// What was traced, without line ends and without the function's name that most texts begin with.
std::string plain_text(const host::services::TraceRecord &failure) {
  constexpr std::string_view spaces = " \t\n";
  std::string_view text = failure.text;
  text.remove_prefix(std::min(text.find_first_not_of(spaces), text.size()));
  if (text.starts_with(failure.function)) {
    text.remove_prefix(failure.function.size());
    text.remove_prefix(std::min(text.find_first_not_of(": "), text.size()));
  }
  return std::string(text.substr(0, text.find_last_not_of(spaces) + 1));
}

}  // namespace

std::string failure_text(const host::services::TraceRecord &failure, host::Switch &device) {
  std::string text = plain_text(failure);
  for (const Explanation &each : kExplanations) {
    if (const size_t at = text.find(each.phrase); at != std::string::npos) {
      return each.words(std::string_view(text).substr(at + each.phrase.size()), device.asic());
    }
  }
  return text;
}

const host::services::TraceRecord *failure_since(uint64_t count, host::Switch &device) {
  constexpr std::string_view harmless = "g_oftab_mcast_idx_bmp is not created yet";
  const auto *failure = device.tracing().failure_since(count);
  while (failure != nullptr && failure->text.find(harmless) != std::string::npos) {
    failure = device.tracing().failure_since(++count);
  }
  return failure;
}

std::string usage_text(size_t used, size_t capacity) {
  return concat(used, " of ", capacity);
}

size_t used_multicast_indices() {
  return host::services::set_bits(g_oftab_mcast_idx_bmp).size();
}

size_t multicast_indices() {
  return g_oftab_mcst_idx_upper - g_oftab_mcst_idx_lower;
}

size_t free_multicast_indices() {
  return multicast_indices() - used_multicast_indices();
}

}  // namespace agent
