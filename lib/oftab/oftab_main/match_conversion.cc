// SPDX-License-Identifier: Apache-2.0
// Match conversion: a flow becomes a complete software entry.
//
// The key has three formats, which differ in their class, in the place of the ethertype and in whether they carry IP
// fields. One routine serves all three, driven by a description of the format.
#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/action_translation.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/port_bitmap.h"
#include "oftab/trace.h"
#include "platform/interface_manager.h"

using namespace oftab;
using common_key = hw::ip_key;  // what all formats share stands at the same place in each

namespace {

constexpr uint32_t ETHERTYPE_IPV4 = 0x0800;
constexpr uint32_t ETHERTYPE_ARP = 0x0806;

struct key_format {
  const char *function;  // the converter, for the traces
  uint8_t class_value;
  uint8_t class_mask;
  hw::field ethertype;
  bool has_ip_fields;
};

constexpr key_format IP_FORMAT = {"oftab_convert_vmr_to_hw_ip_vmr", hw::CLASS_IP, 3, hw::ip_key::ethertype, true};
constexpr key_format ARP_FORMAT = {"oftab_convert_vmr_to_hw_arp_vmr", hw::CLASS_ARP, 0, hw::arp_key::ethertype, false};
constexpr key_format ETHERNET_FORMAT = {"oftab_convert_vmr_to_hw_eth_vmr", hw::CLASS_ETHERNET, 0,
                                        hw::ethernet_key::ethertype, false};

void set_match(cache_unified_entry &hw_entry, hw::field where, uint64_t value, uint64_t bits) {
  hw::set(hw_entry.key, where, value);
  hw::set(hw_entry.mask, where, bits);
}

void convert_ip_fields(cache_unified_entry &to, const oftab_match_t &value, const oftab_match_t &bits) {
  set_match(to, hw::ip_key::ip_sa, value.ip_sa, bits.ip_sa);
  set_match(to, hw::ip_key::ip_da, value.ip_da, bits.ip_da);
  set_match(to, hw::ip_key::proto, value.protocol, bits.protocol);
  set_match(to, hw::ip_key::dscp, value.tos, bits.tos);
  set_match(to, hw::ip_key::src_port, value.sport, bits.sport);
  set_match(to, hw::ip_key::dst_port, value.dport, bits.dport);
}

void convert_fields(cache_unified_entry &to, const oftab_flow_t &flow, const key_format &format) {
  set_match(to, common_key::class_, format.class_value, format.class_mask);
  set_match(to, common_key::mac_sa, hw::mac_number(flow.value.mac_sa), hw::mac_number(flow.mask.mac_sa));
  set_match(to, common_key::mac_da, hw::mac_number(flow.value.mac_da), hw::mac_number(flow.mask.mac_da));
  set_match(to, format.ethertype, flow.value.ethertype, flow.mask.ethertype);
  if (format.has_ip_fields) {
    convert_ip_fields(to, flow.value, flow.mask);
  }
}

// A VLAN is matched as its bridge domain, which is also remembered for the way back.
int32_t convert_vlan(cache_unified_entry &to, const oftab_flow_t &flow, const char *function) {
  const uint16_t vlan = flow.value.vlan;
  if (vlan == 0) {
    return OFTAB_OK;
  }
  vlan_to_bd block = {};
  block.vlan = vlan;
  if (libsdk_switch_config_get_batch(0, SWITCH_CONFIG_VLAN_TO_BD, &block) != 0) {
    TRACE_ERROR_IN(function, "%s: Failed to get bd for vlan %d.\n", function, vlan);
    return OFTAB_ERR_INVALID;
  }
  TRACE_DETAIL_IN(function, "%s: got bd:%d for vlan %d.\n", function, block.bd, vlan);
  set_match(to, common_key::bd, block.bd, flow.mask.vlan);
  oftab_hw_rsrc_g.bd_vlan[block.bd & (OFTAB_BD_COUNT - 1)] = vlan;
  return OFTAB_OK;
}

// A flow that names one interface matches its hardware id; any other matches the global interfaces.
int32_t convert_interface(cache_unified_entry &to, const oftab_flow_t &flow, const char *function) {
  const uint32_t ifindex = flow.value.ifindex;
  if (ifindex == 0 || (ifindex & flow.mask.ifindex) != ifindex) {
    set_match(to, common_key::l2lif, ifindex, hw::GLOBAL_LIF_BIT);
    TRACE_DETAIL_IN(function, "\nSetting global lif for  seq:%d ifindex:0x0%x mask intf_id:0x%x\n", flow.seq_no,
                    ifindex, hw::GLOBAL_LIF_BIT);
    return OFTAB_OK;
  }
  const uint16_t intf_id = hdmpd_qtr_get_intf_id_for_ifindex(ifindex);
  if (intf_id == INTF_ID_UNKNOWN) {
    TRACE_ERROR_IN(function, "%s:%d: l3lif_get_iif_for_ifindex_new failed  for %x\n", function, __LINE__, ifindex);
    return OFTAB_ERR_INVALID;
  }
  set_match(to, common_key::l2lif, intf_id, hw::ones(common_key::l2lif));
  TRACE_DETAIL_IN(function, "\nSetting Interface specic lif for seq:%d ifindex:0x0%x intf_id:0x%x\n", flow.seq_no,
                  ifindex, intf_id);
  return OFTAB_OK;
}

void set_result_basics(oftab_sw_entry_t &entry) {
  hw::set(entry.hw.result, hw::forward_result::entry_type, 1);
  hw::set(entry.hw.result, hw::forward_result::mtu_idx, 0);
  hw::set(entry.hw.result, hw::forward_result::adj_stats_ptr, entry.stats_id);
}

int32_t convert_action(oftab_sw_entry_t &entry, const oftab_flow_t &flow, const key_format &format) {
  const int32_t status = apply_action(entry, flow, {format.function, false});
  return status != OFTAB_OK ? status : oftab_add_controller_action(&entry, &flow);
}

int32_t convert_match(oftab_sw_entry_t &entry, const oftab_flow_t &flow, const key_format &format) {
  convert_fields(entry.hw, flow, format);
  int32_t status = convert_vlan(entry.hw, flow, format.function);
  if (status == OFTAB_OK) {
    status = convert_interface(entry.hw, flow, format.function);
  }
  if (status == OFTAB_OK) {
    set_match(entry.hw, common_key::vld, 1, 1);
  }
  return status;
}

int32_t convert_flow(oftab_sw_entry_t *entry, const oftab_flow_t *flow, const key_format &format) {
  if (entry == nullptr || flow == nullptr) {
    return OFTAB_ERR_INVALID;
  }
  memset(entry, 0, sizeof *entry);
  clear_ports(entry->out_ports);
  if (create_entry_counter(format.function, &entry->stats_id) != 0) {
    return OFTAB_ERR_COUNTER;
  }
  const int32_t status = convert_action(*entry, *flow, format);
  if (status != OFTAB_OK) {
    return status;
  }
  set_result_basics(*entry);
  return convert_match(*entry, *flow, format);
}

int32_t convert(oftab_sw_entry_t *entry, const oftab_flow_t *flow, const key_format &format) {
  TRACE_DETAIL_IN(format.function, "%s() Enter. \n", format.function);
  const int32_t status = convert_flow(entry, flow, format);
  TRACE_DETAIL_IN(format.function, "%s() Exit. Status:%d \n", format.function, status);
  return status;
}

}  // namespace

int32_t oftab_convert_vmr_to_hw_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  const uint32_t ethertype = flow == nullptr ? 0 : flow->value.ethertype & flow->mask.ethertype;
  switch (ethertype) {
    case ETHERTYPE_IPV4:
      return oftab_convert_vmr_to_hw_ip_vmr(entry, flow);
    case ETHERTYPE_ARP:
      return oftab_convert_vmr_to_hw_arp_vmr(entry, flow);
    default:
      return oftab_convert_vmr_to_hw_eth_vmr(entry, flow);
  }
}

int32_t oftab_convert_vmr_to_hw_ip_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  return convert(entry, flow, IP_FORMAT);
}

int32_t oftab_convert_vmr_to_hw_arp_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  return convert(entry, flow, ARP_FORMAT);
}

int32_t oftab_convert_vmr_to_hw_eth_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow) {
  return convert(entry, flow, ETHERNET_FORMAT);
}
