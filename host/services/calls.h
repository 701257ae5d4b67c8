// SPDX-License-Identifier: Apache-2.0
// The library's calls into the host, and what each is: the one list that the imports, faults, the call log and the
// benchmarks go by.
#ifndef HOST_SERVICES_CALLS_H
#define HOST_SERVICES_CALLS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace host::services {

enum CallMark : uint8_t {
  kSdk = 1,      // of the ASIC's SDK: logged
  kCanFail = 2,  // can be made to fail
  kTimed = 4     // part of a request's floor: its bare cost is measured
};

#define HOST_CALLS(CALL)                                             \
  CALL(qtr_custom_cache_unified_entry_set, kSdk | kCanFail | kTimed) \
  CALL(qtr_custom_cache_unified_entry_get, kSdk | kCanFail | kTimed) \
  CALL(libsdk_l3_route_stats_create, kSdk | kCanFail | kTimed)       \
  CALL(libsdk_l3_route_stats_get, kSdk | kCanFail | kTimed)          \
  CALL(libsdk_l3_route_stats_destroy, kSdk | kCanFail | kTimed)      \
  CALL(libsdk_mcst_tree_create, kSdk | kCanFail | kTimed)            \
  CALL(libsdk_mcst_tree_group_add, kSdk | kCanFail | kTimed)         \
  CALL(libsdk_mcst_tree_destroy, kSdk | kCanFail | kTimed)           \
  CALL(libsdk_switch_config_get_batch, kSdk | kCanFail | kTimed)     \
  CALL(libsdk_port_static_match_enable_set, kSdk | kCanFail)         \
  CALL(hdm_ipq_handler_init, kCanFail)                               \
  CALL(ipq_payload_get, kCanFail)                                    \
  CALL(fu_ipq_send_response, kCanFail)                               \
  CALL(hdm_errcat2str, 0)                                            \
  CALL(HDM_HDIM_FIND_LIF, kCanFail | kTimed)                         \
  CALL(HDM_HDIM_LIF_IF, kTimed)                                      \
  CALL(HDM_HDIM_IF_IS_PC, kTimed)                                    \
  CALL(HDM_HDIM_IF_PC, 0)                                            \
  CALL(HDM_HDIM_PC_GET_NEXT_PIF, 0)                                  \
  CALL(HDM_HDIM_PIF_INDEX, 0)                                        \
  CALL(if_index_get_port, kCanFail | kTimed)                         \
  CALL(im_get_ifindex_openflow_state_list, kCanFail)                 \
  CALL(hdmpd_qtr_get_intf_id_for_ifindex, kCanFail | kTimed)         \
  CALL(tg_create_timer, kCanFail)                                    \
  CALL(tg_start_timer, kCanFail | kTimed)                            \
  CALL(tg_stop_timer, kTimed)                                        \
  CALL(tg_is_timer_active, kTimed)                                   \
  CALL(bitset_create, kCanFail)                                      \
  CALL(bitset_clear, 0)                                              \
  CALL(bitset_set_bit, kTimed)                                       \
  CALL(bitset_clear_bit, kTimed)                                     \
  CALL(bitset_first_free_bit, kTimed)                                \
  CALL(bitset_next_free_bit, kTimed)                                 \
  CALL(avl_create, kCanFail)                                         \
  CALL(avl_find, 0)                                                  \
  CALL(avl_insert, kCanFail)                                         \
  CALL(avl_delete, 0)                                                \
  CALL(hdm_ds_trace_add, kTimed)                                     \
  CALL(hdm_ds_add, kTimed)                                           \
  CALL(hdm_ctime, 0)                                                 \
  CALL(hdm_debug_elem_descr, 0)                                      \
  CALL(hdm_check_flush_dbg_out_file, 0)                              \
  CALL(trk_hist_event_subtype_check, kTimed)                         \
  CALL(trk_hist_event, 0)                                            \
  CALL(trk_chk_int, kTimed)                                          \
  CALL(trcout, 0)                                                    \
  CALL(cmd_prt, kCanFail)

#define HOST_CALL_ENUMERATOR(name, marks) name,
enum class Call : uint8_t { HOST_CALLS(HOST_CALL_ENUMERATOR) kCount };
#undef HOST_CALL_ENUMERATOR

constexpr size_t kCallCount = static_cast<size_t>(Call::kCount);

struct CallTraits {
  std::string_view name;  // in C
  uint8_t marks;
};

#define HOST_CALL_TRAITS(name, marks) CallTraits{#name, marks},
constexpr std::array<CallTraits, kCallCount> kCalls{HOST_CALLS(HOST_CALL_TRAITS)};
#undef HOST_CALL_TRAITS

constexpr std::string_view name(Call call) {
  return kCalls[static_cast<size_t>(call)].name;
}

constexpr bool is(Call call, CallMark mark) {
  return (kCalls[static_cast<size_t>(call)].marks & mark) != 0;
}

// A call that can be made to fail, and one that cannot: an import that goes by the wrong one does not compile.
struct FailingCall {
  consteval FailingCall(Call named) : call(named) {  // NOLINT(google-explicit-constructor)
    if (!is(named, kCanFail)) {
      throw "this call cannot be made to fail: count it";
    }
  }
  Call call;
};
struct UnfailingCall {
  consteval UnfailingCall(Call named) : call(named) {  // NOLINT(google-explicit-constructor)
    if (is(named, kCanFail)) {
      throw "this call can be made to fail: heed what Faults::enter says";
    }
  }
  Call call;
};

}  // namespace host::services

#endif
