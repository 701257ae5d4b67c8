// Counts the library's calls into the host and makes chosen ones fail.
#ifndef HOST_SERVICES_FAULTS_H
#define HOST_SERVICES_FAULTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host::services {

// Every operation that the library imports: those that can be made to fail, and those that cannot.
#define HOST_FAULTABLE_CALLS(CALL)          \
  CALL(qtr_custom_cache_unified_entry_set)  \
  CALL(qtr_custom_cache_unified_entry_get)  \
  CALL(libsdk_l3_route_stats_create)        \
  CALL(libsdk_l3_route_stats_get)           \
  CALL(libsdk_l3_route_stats_destroy)       \
  CALL(libsdk_mcst_tree_create)             \
  CALL(libsdk_mcst_tree_group_add)          \
  CALL(libsdk_mcst_tree_destroy)            \
  CALL(libsdk_switch_config_get_batch)      \
  CALL(libsdk_port_static_match_enable_set) \
  CALL(hdm_ipq_handler_init)                \
  CALL(ipq_payload_get)                     \
  CALL(fu_ipq_send_response)                \
  CALL(HDM_HDIM_FIND_LIF)                   \
  CALL(if_index_get_port)                   \
  CALL(im_get_ifindex_openflow_state_list)  \
  CALL(hdmpd_qtr_get_intf_id_for_ifindex)   \
  CALL(tg_create_timer)                     \
  CALL(tg_start_timer)                      \
  CALL(bitset_create)                       \
  CALL(avl_create)                          \
  CALL(avl_insert)                          \
  CALL(cmd_prt)

#define HOST_OTHER_CALLS(CALL)       \
  CALL(hdm_errcat2str)               \
  CALL(hdm_ds_trace_add)             \
  CALL(hdm_ds_add)                   \
  CALL(hdm_ctime)                    \
  CALL(hdm_debug_elem_descr)         \
  CALL(hdm_check_flush_dbg_out_file) \
  CALL(trk_hist_event_subtype_check) \
  CALL(trk_hist_event)               \
  CALL(trk_chk_int)                  \
  CALL(trcout)                       \
  CALL(HDM_HDIM_LIF_IF)              \
  CALL(HDM_HDIM_IF_IS_PC)            \
  CALL(HDM_HDIM_IF_PC)               \
  CALL(HDM_HDIM_PC_GET_NEXT_PIF)     \
  CALL(HDM_HDIM_PIF_INDEX)           \
  CALL(tg_stop_timer)                \
  CALL(tg_is_timer_active)           \
  CALL(bitset_clear)                 \
  CALL(bitset_set_bit)               \
  CALL(bitset_clear_bit)             \
  CALL(bitset_first_free_bit)        \
  CALL(bitset_next_free_bit)         \
  CALL(avl_find)                     \
  CALL(avl_delete)

#define HOST_CALL_ENUMERATOR(name) name,
enum class Call : uint8_t { HOST_FAULTABLE_CALLS(HOST_CALL_ENUMERATOR) HOST_OTHER_CALLS(HOST_CALL_ENUMERATOR) kCount };
#undef HOST_CALL_ENUMERATOR

// The C name of a call.
std::string_view name(Call call);

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
  int32_t enter(Call call) {
    ++counts_[static_cast<size_t>(call)];
    return armed_.empty() ? 0 : inject(call);
  }

 private:
  struct Armed {
    bool any;
    Call call;      // unless any
    uint64_t left;  // calls until it strikes
    int32_t code;
    Repeat repeat;
  };

  void arm(Armed fault);
  int32_t inject(Call call);

  std::array<uint64_t, static_cast<size_t>(Call::kCount)> counts_{};
  std::vector<Armed> armed_;
  std::vector<Call> injected_;
};

}  // namespace host::services

#endif
