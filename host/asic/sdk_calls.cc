// SPDX-License-Identifier: Apache-2.0
// The SDK's C operations, on the running switch's ASIC. Every call is counted, can be made to fail, and can be logged.
#include <algorithm>
#include <cstring>
#include <string>

#include "host/parts.h"
#include "platform/asic_sdk.h"

namespace {

using host::asic::Asic;
using host::asic::Record;
using host::asic::SdkError;
using host::services::Call;

// Every call of the SDK is logged here, and no other.
struct SdkCall : host::services::FailingCall {
  consteval SdkCall(Call named) : FailingCall(named) {  // NOLINT(google-explicit-constructor)
    if (!is(named, host::services::kSdk)) {
      throw "not a call of the SDK";
    }
  }
};

// Refusals that no state of the ASIC explains: the caller broke the contract.
bool is_breach(SdkError error) {
  return error == SdkError::BadUnit || error == SdkError::BadArgument || error == SdkError::BadBitmapSize;
}

template <typename Operation>
int32_t run(host::Parts &parts, Call call, uint32_t unit, Operation operation) {
  const SdkError error = unit == 0 ? operation(parts.asic) : SdkError::BadUnit;
  if (is_breach(error)) {
    parts.violations.add(std::string(name(call)) + ": " + host::asic::name(error));
  }
  return static_cast<int32_t>(error);
}

// One call: `operation` takes the Asic and gives an SdkError; `describe` gives the arguments for the log, and `answer`
// what a successful call answered.
template <typename Operation, typename Describe, typename Answer>
int32_t sdk_call(SdkCall entered, uint32_t unit, Operation operation, Describe describe, Answer answer) {
  host::Parts &parts = host::live();
  const Call call = entered.call;
  const int32_t injected = parts.faults.enter(entered);
  const int32_t code = injected != 0 ? injected : run(parts, call, unit, operation);
  if (parts.call_log.on()) {
    parts.call_log.add(std::string(name(call)) + "(" + describe() + ") = " + std::to_string(code) +
                       (code == 0 ? answer() : std::string()));
  }
  return code;
}

std::string no_answer() {
  return {};
}

std::string with(std::string text, uint32_t number) {
  return text += std::to_string(number);
}

// A call whose one argument is a number.
template <typename Operation>
int32_t sdk_call(SdkCall call, uint32_t unit, uint32_t argument, Operation operation) {
  return sdk_call(
      call, unit, operation, [argument] { return std::to_string(argument); }, no_answer);
}

bool any_null(std::initializer_list<const void *> pointers) {
  return std::ranges::any_of(pointers, [](const void *pointer) { return pointer == nullptr; });
}

Record make_record(const void *key, const void *mask, const void *result) {
  Record record;
  std::memcpy(record.key.data(), key, record.key.size());
  std::memcpy(record.mask.data(), mask, record.mask.size());
  std::memcpy(record.result.data(), result, record.result.size());
  return record;
}

std::string port_list(const void *group) {
  std::string list = "ports";
  if (group != nullptr) {
    for (const uint8_t port : host::asic::ports_of(*static_cast<const port_group *>(group))) {
      list += with(" ", port);
    }
  }
  return list;
}

int32_t noting_failed_build(int32_t code, uint32_t index) {
  if (code != 0) {
    host::live().asic.trees().note_failed_build(index);
  }
  return code;
}

SdkError bridge_domain(const Asic &asic, uint32_t attribute, vlan_to_bd *block) {
  if (attribute != SWITCH_CONFIG_VLAN_TO_BD) {
    return SdkError::UnknownAttribute;
  }
  const std::optional<uint16_t> bd = asic.vlans().bridge_domain(block->vlan);
  if (!bd) {
    return SdkError::NoBridgeDomain;
  }
  block->bd = *bd;
  return SdkError::None;
}

}  // namespace

uint32_t sdk_sm_id_lldp = host::asic::StaticMatches::kLldp;

int32_t qtr_custom_cache_unified_entry_set(uint32_t unit, uint32_t tcam_index, const void *key, const void *mask,
                                           const void *result) {
  const bool complete = !any_null({key, mask, result});
  const auto record = [=] { return complete ? make_record(key, mask, result) : Record{}; };
  const int32_t code = sdk_call(
      Call::qtr_custom_cache_unified_entry_set, unit,
      [&](Asic &asic) { return complete ? asic.tcam().write(tcam_index, record()) : SdkError::BadArgument; },
      [&] { return std::to_string(tcam_index) + (record().valid() ? ", vld=1" : ", vld=0"); }, no_answer);
  if (code != 0) {
    host::live().asic.tcam().note_failed_write(tcam_index, record());
  }
  return code;
}

int32_t qtr_custom_cache_unified_entry_get(uint32_t unit, uint32_t tcam_index, void *key, void *mask, void *result) {
  return sdk_call(Call::qtr_custom_cache_unified_entry_get, unit, tcam_index, [=](const Asic &asic) {
    if (any_null({key, mask, result})) {
      return SdkError::BadArgument;
    }
    if (tcam_index >= TCAM_INDICES) {
      return SdkError::IndexOutOfRange;
    }
    const Record &record = asic.tcam().at(static_cast<uint16_t>(tcam_index));
    std::memcpy(key, record.key.data(), record.key.size());
    std::memcpy(mask, record.mask.data(), record.mask.size());
    std::memcpy(result, record.result.data(), record.result.size());
    return SdkError::None;
  });
}

int32_t libsdk_l3_route_stats_create(uint32_t unit, uint32_t block[4]) {
  return sdk_call(
      Call::libsdk_l3_route_stats_create, unit,
      [=](Asic &asic) {
        const bool preset = block != nullptr && block[0] == 0xffffffffU && (block[1] | block[2] | block[3]) == 0;
        return preset ? asic.counters().create(block[0]) : SdkError::BadArgument;
      },
      [] { return std::string(); }, [=] { return with(", id ", block[0]); });
}

int32_t libsdk_l3_route_stats_get(uint32_t unit, uint32_t stats_id, uint32_t zero, void *record) {
  return sdk_call(Call::libsdk_l3_route_stats_get, unit, stats_id, [=](Asic &asic) {
    if (zero != 0 || record == nullptr) {
      return SdkError::BadArgument;
    }
    route_stats counts{};
    const SdkError error = asic.counters().read(stats_id, counts);
    if (error == SdkError::None) {
      std::memcpy(record, &counts, sizeof counts);
    }
    return error;
  });
}

int32_t libsdk_l3_route_stats_destroy(uint32_t unit, uint32_t stats_id) {
  const int32_t code = sdk_call(Call::libsdk_l3_route_stats_destroy, unit, stats_id,
                                [=](Asic &asic) { return asic.counters().destroy(stats_id); });
  if (code != 0) {
    host::live().asic.counters().note_failed_destroy(stats_id);
  }
  return code;
}

int32_t libsdk_mcst_tree_create(uint32_t unit, uint32_t zero, uint32_t *index) {
  const int32_t code = sdk_call(
      Call::libsdk_mcst_tree_create, unit,
      [=](Asic &asic) { return zero == 0 && index != nullptr ? asic.trees().create(*index) : SdkError::BadArgument; },
      [=] { return index == nullptr ? std::string("null") : std::to_string(*index); }, no_answer);
  return index == nullptr ? code : noting_failed_build(code, *index);
}

int32_t libsdk_mcst_tree_group_add(uint32_t unit, uint32_t zero, uint32_t index, const void *group) {
  const int32_t code = sdk_call(
      Call::libsdk_mcst_tree_group_add, unit,
      [=](Asic &asic) {
        return zero == 0 && group != nullptr ? asic.trees().set_ports(index, *static_cast<const port_group *>(group))
                                             : SdkError::BadArgument;
      },
      [=] { return with("", index) + ", " + port_list(group); }, no_answer);
  return noting_failed_build(code, index);
}

int32_t libsdk_mcst_tree_destroy(uint32_t unit, uint32_t zero, uint32_t index) {
  const int32_t code = sdk_call(Call::libsdk_mcst_tree_destroy, unit, index, [=](Asic &asic) {
    if (zero != 0) {
      return SdkError::BadArgument;
    }
    asic.trees().destroy(index);
    return SdkError::None;
  });
  if (code != 0) {
    host::live().asic.trees().note_failed_destroy(index);
  }
  return code;
}

int32_t libsdk_switch_config_get_batch(uint32_t unit, uint32_t attribute, void *block) {
  auto *const mapping = static_cast<vlan_to_bd *>(block);
  return sdk_call(
      Call::libsdk_switch_config_get_batch, unit,
      [=](const Asic &asic) {
        return mapping == nullptr ? SdkError::BadArgument : bridge_domain(asic, attribute, mapping);
      },
      [=] { return std::to_string(attribute) + (mapping == nullptr ? "" : ", vlan " + std::to_string(mapping->vlan)); },
      [=] { return with(", bd ", mapping->bd); });
}

int32_t libsdk_port_static_match_enable_set(uint32_t unit, uint32_t sdk_port, uint32_t static_match_id,
                                            uint32_t enable) {
  return sdk_call(
      Call::libsdk_port_static_match_enable_set, unit,
      [=](Asic &asic) { return asic.static_matches().set(sdk_port, static_match_id, enable); },
      [=] { return with("port ", sdk_port) + with(", match ", static_match_id) + with(", enable ", enable); },
      no_answer);
}
