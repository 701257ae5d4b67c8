#include "bench/call_costs.h"

#include <stdexcept>
#include <string>

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
constexpr uint32_t kFirstTree = 1;  // far below the library's trees

bool once_per_request(Call call) {
  return call == Call::hdm_ipq_handler_init || call == Call::ipq_payload_get || call == Call::fu_ipq_send_response;
}

}  // namespace

CallCosts::CallCosts() {
  for (int round = 0; round < kRounds; ++round) {
    time_tracing();
    time_tcam();
    time_counters();
    time_fanout();
    time_lookups();
    time_timer();
  }
}

double CallCosts::total(const host::services::Faults &faults) const {
  double sum = 0;
  for (size_t i = 0; i < samples_.size(); ++i) {
    const auto call = static_cast<Call>(i);
    if (faults.calls(call) == 0 || once_per_request(call)) {
      continue;
    }
    if (samples_[i].empty()) {
      throw std::logic_error("no bare cost of " + std::string(name(call)));
    }
    sum += static_cast<double>(faults.calls(call)) * median(samples_[i]);
  }
  return sum;
}

// `operation` takes the number of the call, below kCalls.
template <typename Operation>
void CallCosts::time(Call call, Operation operation) {
  const double all = nanoseconds([&] {
    for (uint32_t i = 0; i < kCalls; ++i) {
      operation(i);
    }
  });
  samples_[static_cast<size_t>(call)].push_back(all / kCalls);
}

void CallCosts::time_tracing() {
  time(Call::hdm_ds_trace_add, [](uint32_t i) { hdm_ds_trace_add(__FILE__, "time_tracing", __LINE__, 0, "%u\n", i); });
  time(Call::hdm_ds_add, [](uint32_t i) { hdm_ds_add(__FILE__, "time_tracing", __LINE__, "%u\n", i); });
  time(Call::trk_hist_event_subtype_check, [](uint32_t) { trk_hist_event_subtype_check(0x730000, 104); });
  time(Call::trk_chk_int, [](uint32_t) { trk_chk_int(104, 0, 0, 1); });
}

void CallCosts::time_tcam() {
  std::array<cache_unified_entry, kCalls> records{};  // written back as they were
  time(Call::qtr_custom_cache_unified_entry_get, [&](uint32_t i) {
    qtr_custom_cache_unified_entry_get(0, i, records[i].key, records[i].mask, records[i].result);
  });
  time(Call::qtr_custom_cache_unified_entry_set, [&](uint32_t i) {
    qtr_custom_cache_unified_entry_set(0, i, records[i].key, records[i].mask, records[i].result);
  });
}

void CallCosts::time_counters() {
  std::array<uint32_t, kCalls> ids{};
  time(Call::libsdk_l3_route_stats_create, [&](uint32_t i) {
    uint32_t block[4] = {0xffffffff, 0, 0, 0};
    libsdk_l3_route_stats_create(0, block);
    ids[i] = block[0];
  });
  time(Call::libsdk_l3_route_stats_get, [&](uint32_t i) {
    route_stats counts;
    libsdk_l3_route_stats_get(0, ids[i], 0, &counts);
  });
  time(Call::libsdk_l3_route_stats_destroy, [&](uint32_t i) { libsdk_l3_route_stats_destroy(0, ids[i]); });
}

void CallCosts::time_fanout() {
  static void *const set = bitset_create(OFTAB_MCST_IDX_COUNT);
  bitset_clear(set);
  time(Call::bitset_next_free_bit, [](uint32_t i) { bitset_next_free_bit(set, i); });
  time(Call::bitset_first_free_bit, [](uint32_t) { bitset_first_free_bit(set); });
  time(Call::bitset_set_bit, [](uint32_t i) { bitset_set_bit(set, i); });
  time(Call::bitset_clear_bit, [](uint32_t i) { bitset_clear_bit(set, i); });

  const port_group ports = {sizeof ports.port_bitmap, {0x60}};
  time(Call::libsdk_mcst_tree_create, [](uint32_t i) {
    uint32_t index = kFirstTree + i;
    libsdk_mcst_tree_create(0, 0, &index);
  });
  time(Call::libsdk_mcst_tree_group_add, [&](uint32_t i) { libsdk_mcst_tree_group_add(0, 0, kFirstTree + i, &ports); });
  time(Call::libsdk_mcst_tree_destroy, [](uint32_t i) { libsdk_mcst_tree_destroy(0, 0, kFirstTree + i); });
}

void CallCosts::time_lookups() {
  constexpr auto port = [](uint32_t i) {
    return host::services::Interfaces::port_ifindex(i % host::services::Interfaces::kPorts);
  };
  time(Call::HDM_HDIM_FIND_LIF, [&](uint32_t i) { HDM_HDIM_FIND_LIF(port(i)); });
  void *const lif = HDM_HDIM_FIND_LIF(port(0));
  time(Call::HDM_HDIM_LIF_IF, [&](uint32_t) { HDM_HDIM_LIF_IF(lif); });
  void *const interface = HDM_HDIM_LIF_IF(lif);
  time(Call::HDM_HDIM_IF_IS_PC, [&](uint32_t) { HDM_HDIM_IF_IS_PC(interface); });
  time(Call::if_index_get_port, [&](uint32_t i) {
    uint8_t asic_port = 0;
    if_index_get_port(port(i), &asic_port);
  });
  time(Call::hdmpd_qtr_get_intf_id_for_ifindex, [&](uint32_t i) { hdmpd_qtr_get_intf_id_for_ifindex(port(i)); });
  time(Call::libsdk_switch_config_get_batch, [](uint32_t i) {
    vlan_to_bd block = {i + 1, 0, {}};
    libsdk_switch_config_get_batch(0, SWITCH_CONFIG_VLAN_TO_BD, &block);
  });
}

void CallCosts::time_timer() {
  constexpr uint32_t interval[2] = {10, 0};
  time(Call::tg_is_timer_active, [](uint32_t) { tg_is_timer_active(oftab_stats_timer); });
  time(Call::tg_stop_timer, [](uint32_t) { tg_stop_timer(oftab_stats_timer); });
  time(Call::tg_start_timer, [&](uint32_t) { tg_start_timer(oftab_stats_timer, interval); });
}

}  // namespace bench
