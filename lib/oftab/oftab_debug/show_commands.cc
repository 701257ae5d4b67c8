// The shows: the software table with its output ports, and the policy, one line per flow.
#include <cstdio>

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_debug/line_output.h"
#include "oftab/oftab_debug/table_header.h"
#include "oftab/port_bitmap.h"
#include "oftab/table.h"

using namespace oftab;
using ip_layout = hw::ip_key;

namespace {

constexpr unsigned PORTS_PER_LINE = 6;

constexpr size_t MAC_TEXT_SIZE = 15;
constexpr size_t IP_TEXT_SIZE = 16;

void print_ports(line_output &out, const port_group &ports) {
  unsigned printed = 0;
  for (unsigned port = next_port(ports, 0); port < PORT_WALK_END && !out.stopped(); port = next_port(ports, port + 1)) {
    PRINT(out, "Eth1/%d ", port);
    if (++printed % PORTS_PER_LINE == 0) {
      PRINT(out, "\n%38s", " ");
    }
  }
}

void print_sw_entry(line_output &out, const oftab_sw_entry_t &entry) {
  PRINT(out, "\n%6d   %6d  %6d   %1d  %6d        ", entry.tcam_index, entry.seq_no, entry.priority, is_used(entry),
        entry.stats_id);
  if (entry.result_kind == OFTAB_RESULT_OUTPORT) {
    print_ports(out, entry.out_ports);
  } else {
    PRINT(out, "----");
  }
}

// The bits of a key field from `from` upwards, `count` of them.
uint32_t slice(const oftab_sw_entry_t &entry, hw::field where, unsigned from, unsigned count) {
  return static_cast<uint32_t>(hw::get(entry.hw.key, where) >> from & ((uint64_t{1} << count) - 1));
}

// The VLAN that the entry matches; 0 when it matches none.
uint16_t vlan_of(const oftab_sw_entry_t &entry) {
  const bool matches_vlan = hw::get(entry.hw.mask, ip_layout::bd) != 0;
  return matches_vlan ? oftab_hw_rsrc_g.bd_vlan[slice(entry, ip_layout::bd, 0, 12)] : uint16_t{0};
}

// The columns of a policy row, as printf takes them.
struct policy_columns {
  policy_columns(const oftab_sw_entry_t &entry, hw::field ethertype_field);

  uint32_t l2lif;
  uint32_t ethertype;
  char source_mac[MAC_TEXT_SIZE];
  char destination_mac[MAC_TEXT_SIZE];
  char source_ip[IP_TEXT_SIZE];
  char destination_ip[IP_TEXT_SIZE];
  uint32_t protocol;
  uint32_t source_port;
  uint32_t destination_port;
  uint32_t tos;
  const char *result_text;
  long long frames;
  long long bytes;
};

policy_columns::policy_columns(const oftab_sw_entry_t &entry, hw::field ethertype_field)
    : l2lif(hw::get32(entry.hw.key, ip_layout::l2lif)),
      ethertype(hw::get32(entry.hw.key, ethertype_field)),
      protocol(hw::get32(entry.hw.key, ip_layout::proto)),
      source_port(hw::get32(entry.hw.key, ip_layout::src_port)),
      destination_port(hw::get32(entry.hw.key, ip_layout::dst_port)),
      tos(hw::get32(entry.hw.key, ip_layout::dscp)),
      result_text(oftab_get_result_string(entry.result_kind)),
      frames(static_cast<long long>(entry.pkt_cnt)),
      bytes(static_cast<long long>(entry.byte_cnt)) {
  oftab_convert_src_mac(slice(entry, ip_layout::mac_sa, 0, 25), slice(entry, ip_layout::mac_sa, 25, 23), source_mac);
  oftab_convert_dst_mac(slice(entry, ip_layout::mac_da, 0, 9), slice(entry, ip_layout::mac_da, 9, 32),
                        slice(entry, ip_layout::mac_da, 41, 7), destination_mac);
  oftab_convert_to_ip(slice(entry, ip_layout::ip_sa, 0, 19), slice(entry, ip_layout::ip_sa, 19, 13), source_ip);
  oftab_convert_to_ip(slice(entry, ip_layout::ip_da, 0, 19), slice(entry, ip_layout::ip_da, 19, 13), destination_ip);
}

void print_ip_row(line_output &out, const oftab_sw_entry_t &entry) {
  const policy_columns row(entry, ip_layout::ethertype);
  PRINT(out, " %04d    %04d 0x%04x 0x%04x %04d %-15s %-15s %-15s %-15s %04d %04d  %04d  0x%02d %-7s %020lld %020lld\n",
        entry.tcam_index, entry.seq_no, row.l2lif, row.ethertype, vlan_of(entry), row.source_mac, row.destination_mac,
        row.source_ip, row.destination_ip, row.protocol, row.source_port, row.destination_port, row.tos,
        row.result_text, row.frames, row.bytes);
}

// Like an IP row, but for the sequence number and the VLAN, which it has not.
void print_catch_all_row(line_output &out, const oftab_sw_entry_t &entry) {
  const policy_columns row(entry, ip_layout::ethertype);
  PRINT(out, " %04d    **** 0x%04x 0x%04x %04d %-15s %-15s %-15s %-15s %04d %04d  %04d  0x%02d %-7s %020lld %020lld\n",
        entry.tcam_index, row.l2lif, row.ethertype, 0, row.source_mac, row.destination_mac, row.source_ip,
        row.destination_ip, row.protocol, row.source_port, row.destination_port, row.tos, row.result_text, row.frames,
        row.bytes);
}

void print_layer2_row(line_output &out, const oftab_sw_entry_t &entry, hw::field ethertype) {
  const policy_columns row(entry, ethertype);
  PRINT(out, " %04d    %04d 0x%04x 0x%04x %04d %-15s %-15s %-15s %-15s %4s %4s  %4s  %4s %-7s %020lld %020lld\n",
        entry.tcam_index, entry.seq_no, row.l2lif, row.ethertype, vlan_of(entry), row.source_mac, row.destination_mac,
        "----------", "----------", "----", "----", "----", "----", row.result_text, row.frames, row.bytes);
}

void print_policy_row(line_output &out, const oftab_sw_entry_t &entry) {
  switch (hw::get(entry.hw.key, ip_layout::class_)) {
    case hw::CLASS_IP:
      print_ip_row(out, entry);
      break;
    case hw::CLASS_ARP:
      print_layer2_row(out, entry, hw::arp_key::ethertype);
      break;
    default:
      print_layer2_row(out, entry, hw::ethernet_key::ethertype);
      break;
  }
}

// A group of four hexadecimal digits of a 48-bit number.
unsigned hex_group(uint64_t number, unsigned group) {
  return static_cast<unsigned>(number >> (32 - 16 * group) & 0xFFFF);
}

void print_mac(uint64_t number, char *out) {
  snprintf(out, MAC_TEXT_SIZE, "%04x.%04x.%04x", hex_group(number, 0), hex_group(number, 1), hex_group(number, 2));
}

}  // namespace

int oftab_show_openflow_sw_table(void *shell_context) {
  line_output out(shell_context);
  if (!is_initialized(out, oftab_hw_rsrc_g.current_table != nullptr)) {
    return 0;
  }
  const oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  PRINT(out, "Dumping Openflow TCAM Table \n");
  print_table_header(out, *global.current_table);
  print_interfaces(out, global.intf_count, global.intf_tbl);
  PRINT(out, "TcamIndex    Seq    Prio  Used  Stat-index    OutPorts\n");
  PRINT(out, "=========================================================================================\n");
  for (const oftab_sw_entry_t &entry : current_view()) {
    if (out.stopped()) {
      break;
    }
    print_sw_entry(out, entry);
  }
  const oftab_sw_entry_t &catch_all = global.catch_all_entry;
  PRINT(out, "\n%6d   %6d  %6d   %1d  %6d         ----\n", catch_all.tcam_index, catch_all.seq_no, catch_all.priority,
        is_used(catch_all), catch_all.stats_id);
  return out.result();
}

int oftab_show_openflow_policy(void *shell_context) {
  line_output out(shell_context);
  if (!is_initialized(out, oftab_hw_rsrc_g.current_table != nullptr)) {
    return 0;
  }
  // Texts that people search for stay in one piece.
  // clang-format off
  PRINT(out, "\nTcamIdx  Seqno l2lif ethtyp vlan     macsa          macda         ipsa             ipda          prot sport dport tos  Result       frames               bytes\n");
  PRINT(out, "========================================================================================================================================================================\n");
  // clang-format on
  for (const oftab_sw_entry_t &entry : current_view()) {
    if (is_used(entry) && !out.stopped()) {
      print_policy_row(out, entry);
    }
  }
  print_catch_all_row(out, oftab_hw_rsrc_g.catch_all_entry);
  return out.result();
}

const char *oftab_get_result_string(uint32_t result_kind) {
  static const char *const names[] = {"permit", "deny", "outport", "cntrlr"};
  return result_kind < sizeof names / sizeof names[0] ? names[result_kind] : "error";
}

void oftab_convert_src_mac(uint32_t low25, uint32_t high23, char *out) {
  print_mac((uint64_t{high23} << 25) + low25, out);
}

void oftab_convert_dst_mac(uint32_t low9, uint32_t mid32, uint32_t high7, char *out) {
  print_mac((uint64_t{high7} << 41) + (uint64_t{mid32} << 9) + low9, out);
}

void oftab_convert_to_ip(uint32_t low19, uint32_t high13, char *out) {
  const uint32_t address = (high13 << 19) + low19;
  snprintf(out, IP_TEXT_SIZE, "%u.%u.%u.%u", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF, address & 0xFF);
}
