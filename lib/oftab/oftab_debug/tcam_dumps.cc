// SPDX-License-Identifier: Apache-2.0
// The hardware's view: TCAM records decoded field by field, and the dumps of whole tables.
#include <syslog.h>

#include <cstdio>

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_debug/line_output.h"
#include "oftab/oftab_debug/table_header.h"
#include "oftab/table.h"

using namespace oftab;

namespace {

// A key, mask or result, read field by field.
struct record_part {
  const uint8_t *bytes;

  // The field's value; the lower 32 bits of a MAC address.
  uint32_t operator[](hw::field where) const { return hw::get32(bytes, where); }
  uint32_t upper16(hw::field mac) const { return static_cast<uint32_t>(hw::get(bytes, mac) >> 32); }
};

record_part part(const void *bytes) {
  return {static_cast<const uint8_t *>(bytes)};
}

// Keys are decoded by the IPv4 format, whatever their class.
template <typename Output>
void print_key(Output &out, record_part key, record_part mask) {
  using k = hw::ip_key;
  PRINT(out, "vld:%d, class:0x%X/0x%X, l2lif:0x%X/0x%X, fid:0x%X/0x%X, vpn:0x%X/0x%X\n", key[k::vld], key[k::class_],
        mask[k::class_], key[k::l2lif], mask[k::l2lif], key[k::fid], mask[k::fid], key[k::vpn], mask[k::vpn]);
  PRINT(out, "mac_sa:0x%04X%08X/0x%04X%08X, mac_da:0x%04X%08X/0x%04X%08X\n", key.upper16(k::mac_sa), key[k::mac_sa],
        mask.upper16(k::mac_sa), mask[k::mac_sa], key.upper16(k::mac_da), key[k::mac_da], mask.upper16(k::mac_da),
        mask[k::mac_da]);
  PRINT(out, "ip_sa:0x%08X/0x%08X, ip_da:0x%08X/0x%08X\n", key[k::ip_sa], mask[k::ip_sa], key[k::ip_da],
        mask[k::ip_da]);
  PRINT(out, "proto:0x%X/0x%X, dscp:0x%X/0x%X, iup:0x%X/0x%X\n", key[k::proto], mask[k::proto], key[k::dscp],
        mask[k::dscp], key[k::iup], mask[k::iup]);
  PRINT(out, "src_port:0x%X/0x%X, dst_port:0x%X/0x%X, ethertype:0x%X/0x%X, bd:0x%X/0x%X\n", key[k::src_port],
        mask[k::src_port], key[k::dst_port], mask[k::dst_port], key[k::ethertype], mask[k::ethertype], key[k::bd],
        mask[k::bd]);
}

template <typename Output>
void print_forward_result(Output &out, record_part result) {
  using f = hw::forward_result;
  PRINT(out, "entry_type:%d, adj_stats_ptr:%d, drop:%d, cp_to_cpu:%d\n", result[f::entry_type],
        result[f::adj_stats_ptr], result[f::drop], result[f::cp_to_cpu]);
  PRINT(out, "cpu_code:%d, force_cache_miss:%d, l2_ltl_idx:%d, l3_mcst_grp_idx:%d\n", result[f::cpu_code],
        result[f::force_cache_miss], hw::ltl_idx(result.bytes), result[f::l3_mcst_grp_idx]);
  PRINT(out, "rpf_bd_2nd:%d, rpf_type:%d, rpf_bd:%d, drop_rpf_fail:%d\n", result[f::rpf_bd_2nd], result[f::rpf_type],
        result[f::rpf_bd], result[f::drop_rpf_fail]);
  PRINT(out, "s_star_prio:%d, sg_entry:%d, dvif:%d\n", result[f::s_star_prio], result[f::sg_entry], result[f::dvif]);
  PRINT(out, "v4_same_if_check:%d, v6_same_if_check:%d, mtu_idx:%d\n", result[f::v4_same_if_check],
        result[f::v6_same_if_check], result[f::mtu_idx]);
  PRINT(out, "nat_ptr:%d, use_fwd_from_cache_fwd:%d\n", result[f::nat_ptr], result[f::use_fwd_from_cache_fwd]);
}

template <typename Output>
void print_routed_result(Output &out, record_part result) {
  using r = hw::routed_result;
  PRINT(out, "entry_type:%d, adj_stats_ptr:%d, drop:%d, cp_to_cpu:%d\n", result[r::entry_type],
        result[r::adj_stats_ptr], result[r::drop], result[r::cp_to_cpu]);
  PRINT(out, "cpu_code:%d, force_cache_miss:%d, routed:%d, l2mp_en:%d, bd:%d\n", result[r::cpu_code],
        result[r::force_cache_miss], result[r::routed], result[r::l2mp_en], result[r::bd]);
  PRINT(out, "mac_da:0x%04X%08X, router_ip:%d\n", result.upper16(r::mac_da), result[r::mac_da], result[r::router_ip]);
  PRINT(out, "def_route:%d, l2mp_dvif:%d, swid:%d, sswid:%d\n", result[r::def_route], result[r::l2mp_dvif],
        result[r::swid], result[r::sswid]);
  PRINT(out, "if_map_ptr:%d, uc_ftag:%d, v4_same_if_check:%d, mac_sa_idx:%d\n", result[r::if_map_ptr],
        result[r::uc_ftag], result[r::v4_same_if_check], result[r::mac_sa_idx]);
  PRINT(out, "mtu_idx:%d, nat_if:%d, nat_ptr:%d, use_fwd_from_cache_fwd:%d\n", result[r::mtu_idx], result[r::nat_if],
        result[r::nat_ptr], result[r::use_fwd_from_cache_fwd]);
  PRINT(out, "lid:%d, nat_kill_ah:%d\n", result[r::lid], result[r::nat_kill_ah]);
}

// Heading, key and result of one record.
template <typename Output>
void print_record(Output &out, int index, record_part key, record_part mask, record_part result) {
  PRINT(out, "Key Value/Mask for Index %d\n", index);
  print_key(out, key, mask);
  PRINT(out, "\nResult:\n");
  if (result[hw::forward_result::entry_type] == 1) {
    print_forward_result(out, result);
  } else {
    print_routed_result(out, result);
  }
}

void show_record(line_output &out, int index, record_part key, record_part mask, record_part result) {
  print_record(out, index, key, mask, result);
  PRINT(out, "------------------------------------------------------------------------------------------\n");
}

void report_read_error(uint32_t index) {
  static constexpr char TEXT[] = "Error reading enry at %d \n";
  syslog(LOG_ALERT, TEXT, index);
  printf(TEXT, index);
}

}  // namespace

int oftab_display_cache_tcam(void *shell_context, uint32_t first, uint32_t last) {
  constexpr uint32_t LAST_INDEX = TCAM_INDICES - 1;
  const uint32_t end = last > LAST_INDEX ? LAST_INDEX : last;
  const uint32_t start = first > LAST_INDEX ? 0 : first;
  line_output out(shell_context);
  cache_unified_entry entry = {};
  for (uint32_t index = start; index <= end && !out.stopped(); ++index) {
    if (qtr_custom_cache_unified_entry_get(0, index, entry.key, entry.mask, entry.result) != 0) {
      report_read_error(index);
    } else {
      show_record(out, static_cast<int>(index), part(entry.key), part(entry.mask), part(entry.result));
    }
  }
  return 0;
}

int oftab_dump_tcam_entry(void *shell_context, int index, const void *hw_key, const void *hw_mask,
                          const void *hw_result) {
  line_output out(shell_context);
  show_record(out, index, part(hw_key), part(hw_mask), part(hw_result));
  return out.result();
}

void oftab_dump_tcam_tbl(void) {
  const trace_output<trace::ERROR> out(__func__);
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  if (!is_initialized(out, table != nullptr && table->tcam_entry != nullptr)) {
    return;
  }
  PRINT(out, "Showing Openflow TCAM Table \n");
  print_table_header(out, *table);
  for (const oftab_sw_entry_t &entry : current_view()) {
    print_record(out, entry.tcam_index, part(entry.hw.key), part(entry.hw.mask), part(entry.hw.result));
    PRINT(out, "\n");
  }
}

void oftab_dump_sw_tcam_tbl(const oftab_tcam_tbl_t *table, int is_shadow) {
  const trace_output<trace::DETAIL> out(__func__);
  if (!is_initialized(out, table != nullptr && table->tcam_entry != nullptr)) {
    return;
  }
  const oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  PRINT(out, "Dumping TCAM Table \n");
  print_table_header(out, *table);
  if (is_shadow != 0) {
    print_interfaces(out, global.shadow_intf_count, global.shadow_intf_tbl);
  } else {
    print_interfaces(out, global.intf_count, global.intf_tbl);
  }
  PRINT(out, "TcamIndex    Seq   prio   Used  Stat-index \n");
  PRINT(out, "===========================================\n");
  if (table->entries_allocated == 0) {
    return;
  }
  for (const oftab_sw_entry_t &entry : is_shadow != 0 ? full_view(table) : compact_view(table)) {
    PRINT(out, "%6d  %6d  %6d   %1d  %6d\n", entry.tcam_index, entry.seq_no, entry.priority, is_used(entry),
          entry.stats_id);
  }
}
