// SPDX-License-Identifier: Apache-2.0
#include "bench/call_costs.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/stopwatch.h"
#include "host/services/interfaces.h"
#include "oftab/oftab.h"
#include "platform/asic_sdk.h"
#include "platform/bitset.h"
#include "platform/interface_manager.h"
#include "platform/timers.h"
#include "platform/tracing.h"

namespace bench {
namespace {

using host::services::Call;

constexpr uint32_t kCalls = 2000;
constexpr int kRounds = 15;
constexpr uint32_t kCollectionPeriod[2] = {10, 0};  // seconds and their fraction
constexpr uint32_t kFirstTree = 1;                  // far below the library's trees

bool once_per_request(Call call) {
  return call == Call::hdm_ipq_handler_init || call == Call::ipq_payload_get || call == Call::fu_ipq_send_response;
}

// `operation` takes the number of the call, below kCalls. Nanoseconds of one call.
template <typename Operation>
double each(Operation operation) {
  return nanoseconds([&] {
           for (uint32_t i = 0; i < kCalls; ++i) {
             operation(i);
           }
         }) /
         kCalls;
}

uint32_t port(uint32_t i) {
  return host::services::Interfaces::port_ifindex(i % host::services::Interfaces::kPorts);
}

void *some_lif() {
  static void *const lif = HDM_HDIM_FIND_LIF(port(0));
  return lif;
}

void *some_set() {
  static void *const set = [] {
    void *created = bitset_create(OFTAB_MCST_IDX_COUNT);
    bitset_clear(created);
    return created;
  }();
  return set;
}

using CounterIds = std::array<uint32_t, kCalls>;

double create_counters(CounterIds &ids) {
  return each([&](uint32_t i) {
    uint32_t block[4] = {0xffffffff, 0, 0, 0};
    libsdk_l3_route_stats_create(0, block);
    ids[i] = block[0];
  });
}

double destroy_counters(const CounterIds &ids) {
  return each([&](uint32_t i) { libsdk_l3_route_stats_destroy(0, ids[i]); });
}

double create_trees() {
  return each([](uint32_t i) {
    uint32_t index = kFirstTree + i;
    libsdk_mcst_tree_create(0, 0, &index);
  });
}

double destroy_trees() {
  return each([](uint32_t i) { libsdk_mcst_tree_destroy(0, 0, kFirstTree + i); });
}

double rewrite(Call call) {
  std::array<cache_unified_entry, kCalls> records{};  // written back as they were
  const double read = each([&](uint32_t i) {
    qtr_custom_cache_unified_entry_get(0, i, records[i].key, records[i].mask, records[i].result);
  });
  const double written = each([&](uint32_t i) {
    qtr_custom_cache_unified_entry_set(0, i, records[i].key, records[i].mask, records[i].result);
  });
  return call == Call::qtr_custom_cache_unified_entry_get ? read : written;
}

// Nanoseconds of one bare call. A timed call without its own does not compile.
template <Call call>
double bare() = delete;

template <>
double bare<Call::hdm_ds_trace_add>() {
  return each([](uint32_t i) { hdm_ds_trace_add(__FILE__, "bare", __LINE__, 0, "%u\n", i); });
}
template <>
double bare<Call::hdm_ds_add>() {
  return each([](uint32_t i) { hdm_ds_add(__FILE__, "bare", __LINE__, "%u\n", i); });
}
template <>
double bare<Call::trk_hist_event_subtype_check>() {
  return each([](uint32_t) { trk_hist_event_subtype_check(0x730000, 104); });
}
template <>
double bare<Call::trk_chk_int>() {
  return each([](uint32_t) { trk_chk_int(104, 0, 0, 1); });
}
template <>
double bare<Call::qtr_custom_cache_unified_entry_get>() {
  return rewrite(Call::qtr_custom_cache_unified_entry_get);
}
template <>
double bare<Call::qtr_custom_cache_unified_entry_set>() {
  return rewrite(Call::qtr_custom_cache_unified_entry_set);
}
template <>
double bare<Call::libsdk_l3_route_stats_create>() {
  CounterIds ids{};
  const double cost = create_counters(ids);
  destroy_counters(ids);
  return cost;
}
template <>
double bare<Call::libsdk_l3_route_stats_get>() {
  CounterIds ids{};
  create_counters(ids);
  const double cost = each([&](uint32_t i) {
    route_stats counts;
    libsdk_l3_route_stats_get(0, ids[i], 0, &counts);
  });
  destroy_counters(ids);
  return cost;
}
template <>
double bare<Call::libsdk_l3_route_stats_destroy>() {
  CounterIds ids{};
  create_counters(ids);
  return destroy_counters(ids);
}
template <>
double bare<Call::bitset_next_free_bit>() {
  return each([](uint32_t i) { bitset_next_free_bit(some_set(), i); });
}
template <>
double bare<Call::bitset_first_free_bit>() {
  return each([](uint32_t) { bitset_first_free_bit(some_set()); });
}
template <>
double bare<Call::bitset_set_bit>() {
  return each([](uint32_t i) { bitset_set_bit(some_set(), i); });
}
template <>
double bare<Call::bitset_clear_bit>() {
  return each([](uint32_t i) { bitset_clear_bit(some_set(), i); });
}
template <>
double bare<Call::libsdk_mcst_tree_create>() {
  const double cost = create_trees();
  destroy_trees();
  return cost;
}
template <>
double bare<Call::libsdk_mcst_tree_group_add>() {
  const port_group ports = {sizeof ports.port_bitmap, {0x60}};
  create_trees();
  const double cost = each([&](uint32_t i) { libsdk_mcst_tree_group_add(0, 0, kFirstTree + i, &ports); });
  destroy_trees();
  return cost;
}
template <>
double bare<Call::libsdk_mcst_tree_destroy>() {
  create_trees();
  return destroy_trees();
}
template <>
double bare<Call::libsdk_switch_config_get_batch>() {
  return each([](uint32_t i) {
    vlan_to_bd block = {i + 1, 0, {}};
    libsdk_switch_config_get_batch(0, SWITCH_CONFIG_VLAN_TO_BD, &block);
  });
}
template <>
double bare<Call::HDM_HDIM_FIND_LIF>() {
  return each([](uint32_t i) { HDM_HDIM_FIND_LIF(port(i)); });
}
template <>
double bare<Call::HDM_HDIM_LIF_IF>() {
  return each([](uint32_t) { HDM_HDIM_LIF_IF(some_lif()); });
}
template <>
double bare<Call::HDM_HDIM_IF_IS_PC>() {
  void *const interface = HDM_HDIM_LIF_IF(some_lif());
  return each([&](uint32_t) { HDM_HDIM_IF_IS_PC(interface); });
}
template <>
double bare<Call::if_index_get_port>() {
  return each([](uint32_t i) {
    uint8_t asic_port = 0;
    if_index_get_port(port(i), &asic_port);
  });
}
template <>
double bare<Call::hdmpd_qtr_get_intf_id_for_ifindex>() {
  return each([](uint32_t i) { hdmpd_qtr_get_intf_id_for_ifindex(port(i)); });
}
template <>
double bare<Call::tg_is_timer_active>() {
  return each([](uint32_t) { tg_is_timer_active(oftab_stats_timer); });
}
template <>
double bare<Call::tg_stop_timer>() {
  return each([](uint32_t) { tg_stop_timer(oftab_stats_timer); });
}
template <>
double bare<Call::tg_start_timer>() {
  return each([](uint32_t) { tg_start_timer(oftab_stats_timer, kCollectionPeriod); });
}

template <Call call>
double median_cost() {
  if constexpr (!is(call, host::services::kTimed)) {
    return 0;
  } else {
    std::vector<double> samples(kRounds);
    std::ranges::generate(samples, bare<call>);
    return median(samples);
  }
}

template <size_t... calls>
std::array<double, host::services::kCallCount> median_costs(std::index_sequence<calls...>) {
  return {median_cost<static_cast<Call>(calls)>()...};
}

}  // namespace

CallCosts::CallCosts() : nanoseconds_(median_costs(std::make_index_sequence<host::services::kCallCount>())) {
  tg_start_timer(oftab_stats_timer, kCollectionPeriod);
}

double CallCosts::total(const host::services::Faults &faults) const {
  double sum = 0;
  for (size_t i = 0; i < nanoseconds_.size(); ++i) {
    const auto call = static_cast<Call>(i);
    if (faults.calls(call) == 0 || once_per_request(call)) {
      continue;
    }
    if (!is(call, host::services::kTimed)) {
      throw std::logic_error("no bare cost of " + std::string(name(call)));
    }
    sum += static_cast<double>(faults.calls(call)) * nanoseconds_[i];
  }
  return sum;
}

}  // namespace bench
