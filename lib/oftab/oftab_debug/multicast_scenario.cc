// SPDX-License-Identifier: Apache-2.0
// The multicast scenario: every index of the TCAM gets an entry that replicates to two ports.
#include <cstdio>
#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/interface_lookup.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/port_bitmap.h"
#include "oftab/trace.h"

using namespace oftab;
using key_layout = hw::ip_key;
using result_layout = hw::forward_result;

uint8_t key[TCAM_KEY_SIZE];
uint8_t mask[TCAM_KEY_SIZE];
uint8_t result[TCAM_RESULT_SIZE];
void *ip_key = nullptr;
void *ip_mask = nullptr;
void *mcst_ram = nullptr;
uint8_t mac_sa[8];
uint8_t mac_da[8];
uint8_t mac_sa2[8];
uint8_t mac_da2[8];
uint32_t use_cache_result = 0;
uint8_t cache_result[TCAM_RESULT_SIZE] = {0x01, 0x00, 0x60, 0x00, 0xFC, 0x7F, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00,
                                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x40, 0x00, 0x00, 0x00};

namespace {

const char op[] = "oftab_debug_test";

constexpr uint32_t OUTPUTS[] = {0x1a00d000, 0x1a010000};
constexpr int OUTPUT_COUNT = sizeof OUTPUTS / sizeof OUTPUTS[0];
constexpr uint32_t FIRST_LTL_INDEX = 1000;
constexpr uint32_t DESTINATION_IP = 0x09090909;
constexpr uint32_t FIRST_SOURCE_IP = 0x01010101;

// The key and the mask are written where ip_key and ip_mask point.
uint8_t *built_key() {
  return static_cast<uint8_t *>(ip_key);
}

uint8_t *built_mask() {
  return static_cast<uint8_t *>(ip_mask);
}

uint8_t *built_result() {
  return static_cast<uint8_t *>(mcst_ram);
}

cache_unified_entry built_record() {
  cache_unified_entry record;
  memcpy(record.key, built_key(), sizeof record.key);
  memcpy(record.mask, built_mask(), sizeof record.mask);
  memcpy(record.result, built_result(), sizeof record.result);
  return record;
}

void set_exact(hw::field where, uint64_t value) {
  hw::set(built_key(), where, value);
  hw::set(built_mask(), where, hw::ones(where));
}

void prepare() {
  memset(key, 0, sizeof key);
  memset(mask, 0, sizeof mask);
  memset(result, 0, sizeof result);
  ip_key = key;
  ip_mask = mask;
  mcst_ram = result;
  set_exact(key_layout::class_, hw::CLASS_IP);
  constexpr uint8_t DESTINATION[8] = {0, 0, 0, 6, 7, 8, 0, 0};
  memcpy(mac_da, DESTINATION, sizeof mac_da);
  memset(mac_da2, 0, sizeof mac_da2);
}

// Sets the port of each output. False when one is unknown.
bool set_outputs(port_group &ports) {
  for (int i = 0; i < OUTPUT_COUNT; ++i) {
    TRACE_DETAIL_IN(op, "oif[%d] = %d\n", i, OUTPUTS[i]);
    void *lif = HDM_HDIM_FIND_LIF(OUTPUTS[i]);
    if (lif == nullptr) {
      TRACE_ERROR_IN(op, "OIF-2-LTL: Cannot get pi-lif for Idx:%#x\n", OUTPUTS[i]);
      return false;
    }
    HDM_HDIM_LIF_IF(lif);
    uint8_t sdk_port = 0;
    if (find_sdk_port(op, OUTPUTS[i], &sdk_port)) {
      set_port(ports, sdk_port);
    }
    TRACE_DETAIL_IN(op, " %d/%d ,ifindex:%#x asic port:%d \n", i, OUTPUT_COUNT, OUTPUTS[i], sdk_port);
  }
  return true;
}

bool create_tree(const port_group &ports, uint32_t *ltl_index) {
  *ltl_index = FIRST_LTL_INDEX;
  if (libsdk_mcst_tree_create(0, 0, ltl_index) != 0) {
    TRACE_ERROR_IN(op, "%s:tree_create_batch failed for ltl_index : %d", op, *ltl_index);
    return false;
  }
  TRACE_DETAIL_IN(op, "%s:tree_create_batch success for ltl_index : %d", op, *ltl_index);
  const int32_t rc = libsdk_mcst_tree_group_add(0, 0, *ltl_index, &ports);
  if (rc != 0) {
    TRACE_ERROR_IN(op, "%s: Error programming LTL for mcast_id = %d Error= %d \n", op, *ltl_index, rc);
  }
  return rc == 0;
}

void build_key(uint32_t i) {
  const auto low = static_cast<uint8_t>(i);
  const uint8_t source[8] = {0, 0, 0, low, low, low, 0, 0};
  memcpy(mac_sa, source, sizeof mac_sa);
  memset(mac_sa2, 0, sizeof mac_sa2);
  set_exact(key_layout::mac_sa, hw::mac_number(mac_sa));
  set_exact(key_layout::mac_da, hw::mac_number(mac_da));
  set_exact(key_layout::ip_da, DESTINATION_IP);
  set_exact(key_layout::ip_sa, FIRST_SOURCE_IP + i);
  set_exact(key_layout::vld, 1);
  hw::set(built_key(), key_layout::bd, 0);
  hw::set(built_mask(), key_layout::bd, 0);
}

void build_result(uint32_t stats_id, uint32_t ltl_index) {
  hw::set(built_result(), result_layout::entry_type, 1);
  hw::set(built_result(), result_layout::adj_stats_ptr, stats_id);
  hw::set_ltl_idx(built_result(), ltl_index);
  hw::set(built_result(), result_layout::mtu_idx, 0);
}

// Replaces the result by the prepared one; only the counter stays the entry's own.
void apply_cache_result(uint32_t stats_id) {
  TRACE_DETAIL_IN(op, "Created result ... \n");
  test_cache_unified_entry_dump("result", built_result());
  memcpy(built_result(), cache_result, sizeof cache_result);
  TRACE_DETAIL_IN(op, "Copied result ... \n");
  test_cache_unified_entry_dump("result", built_result());
  hw::set(built_result(), result_layout::adj_stats_ptr, stats_id);
  TRACE_DETAIL_IN(op, "After changing stats id result ... \n");
  test_cache_unified_entry_dump("result", built_result());
}

void trace_entry(uint32_t i, uint32_t ltl_index) {
  TRACE_DETAIL_IN(op, "entry_type=0x%x l2_ltl_idx__011_000=0x%x l2_ltl_idx__013_012=0x%x\n",
                  hw::get32(built_result(), result_layout::entry_type),
                  hw::get32(built_result(), result_layout::l2_ltl_idx__011_000),
                  hw::get32(built_result(), result_layout::l2_ltl_idx__013_012));
  TRACE_DETAIL_IN(op, "i=%d ltl_index:0x%x phy_ltl_index=0x%x \n", i, ltl_index, 0);
  test_cache_unified_entry_dump("key", built_key());
  test_cache_unified_entry_dump("mask", built_mask());
  test_cache_unified_entry_dump("result", built_result());
}

void install_entry(uint32_t i, uint32_t stats_id, uint32_t ltl_index) {
  TRACE_DETAIL_IN(op, "\ninstalling the entry %d for ltl_index2 = 0x%x phy_ltl_index=0x%x", i, ltl_index, 0);
  build_key(i);
  build_result(stats_id, ltl_index);
  if (use_cache_result != 0) {
    apply_cache_result(stats_id);
  }
  trace_entry(i, ltl_index);
  const int32_t rc = qtr_custom_cache_unified_entry_set(0, i, built_key(), built_mask(), built_result());
  if (rc != 0) {
    TRACE_ERROR_IN(op, "\nFAiled installing entry  %d for ltl_index = %d, rc=%d", i, ltl_index, rc);
    return;
  }
  note_foreign_write(i, built_record());
  TRACE_DETAIL_IN(op, "\n SUCCESS installing the entry %d for ltl_index = %d", i, ltl_index);
}

// The part's 32-bit words, little-endian, as one text.
void trace_words(const char *function, const char *name, const uint8_t *part, size_t size) {
  char text[sizeof "0x00000000 " * (TCAM_KEY_SIZE / sizeof(uint32_t))];
  size_t length = 0;
  for (size_t at = 0; at < size; at += sizeof(uint32_t)) {
    const auto word = hw::get32(part, {static_cast<uint16_t>(8 * at), 32});
    length += static_cast<size_t>(snprintf(text + length, sizeof text - length, "0x%08X ", word));
  }
  TRACE_DETAIL_IN(function, "%s %s", name, text);
}

void trace_result_fields(const char *function, const uint8_t *part) {
  using f = result_layout;
  TRACE_DETAIL_IN(function, "\nResult Begin....\n\n");
  TRACE_DETAIL_IN(function, "entry_type:%d \n", hw::get32(part, f::entry_type));
  TRACE_DETAIL_IN(function, "adj_stats_ptr:%d \n", hw::get32(part, f::adj_stats_ptr));
  TRACE_DETAIL_IN(function, "drop:%d \n", hw::get32(part, f::drop));
  TRACE_DETAIL_IN(function, "cp_to_cpu:%d \n", hw::get32(part, f::cp_to_cpu));
  TRACE_DETAIL_IN(function, "cpu_code:%d \n", hw::get32(part, f::cpu_code));
  TRACE_DETAIL_IN(function, "l2_ltl_idx__011_000:%d \n", hw::get32(part, f::l2_ltl_idx__011_000));
  TRACE_DETAIL_IN(function, "l2_ltl_idx__013_012:%d \n", hw::get32(part, f::l2_ltl_idx__013_012));
  TRACE_DETAIL_IN(function, "l3_mcst_grp_idx:%d \n", hw::get32(part, f::l3_mcst_grp_idx));
  TRACE_DETAIL_IN(function, "s_star_prio:%d \n", hw::get32(part, f::s_star_prio));
  TRACE_DETAIL_IN(function, "sg_entry:%d \n", hw::get32(part, f::sg_entry));
  TRACE_DETAIL_IN(function, "mtu_idx:%d \n", hw::get32(part, f::mtu_idx));
  TRACE_DETAIL_IN(function, "use_fwd_from_cache_fwd:%d \n", hw::get32(part, f::use_fwd_from_cache_fwd));
  TRACE_DETAIL_IN(function, "Result End....\n\n");
}

}  // namespace

int32_t oftab_debug_test(int vlan) {
  TRACE_ERROR("\n%s() called. vlan:%d \n", __func__, vlan);
  TRACE_DETAIL("%s called. vlan=%d \n", __func__, vlan);
  port_group ports;
  clear_ports(ports);
  prepare();
  uint32_t stats_id = 0;
  if (create_counter(__func__, &stats_id) == 0) {
    own_counter(static_cast<uint16_t>(stats_id));
  }
  uint32_t ltl_index = 0;
  const bool ready = set_outputs(ports) && create_tree(ports, &ltl_index);
  for (uint32_t i = 0; ready && i < TCAM_INDICES; ++i) {
    install_entry(i, stats_id, ltl_index);
  }
  release_unnamed(__func__);
  return ready ? OFTAB_OK : OFTAB_ERR_FAIL;
}

void test_cache_unified_entry_dump(const char *name, const void *part) {
  const auto *bytes = static_cast<const uint8_t *>(part);
  if (strcmp(name, "key") == 0 || strcmp(name, "mask") == 0) {
    trace_words(__func__, name, bytes, TCAM_KEY_SIZE);
    return;
  }
  if (strcmp(name, "result") != 0) {
    TRACE_ERROR("unknown entry type %s", name);
    return;
  }
  trace_words(__func__, name, bytes, TCAM_RESULT_SIZE);
  trace_result_fields(__func__, bytes);
}
