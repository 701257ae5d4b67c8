// SPDX-License-Identifier: Apache-2.0
// The show of the policy, one line per flow, and the formatters of its columns.
#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_debug/line_output.h"
#include "oftab/oftab_debug/table_header.h"
#include "oftab/table.h"

using namespace oftab;
using ip_layout = hw::ip_key;

namespace {

constexpr size_t ROW_SIZE = 255;  // terminator included
constexpr size_t MAC_TEXT_SIZE = 15;
constexpr size_t IP_TEXT_SIZE = 16;

// A row under way: the entry that it shows, and the text of the columns so far.
struct policy_row {
  const oftab_sw_entry_t &entry;
  hw::field ethertype;
  bool has_ip;
  bool is_flow;  // or else the catch-all, which has neither sequence number nor VLAN
  char text[ROW_SIZE] = {};
  size_t length = 0;
  size_t column_end = 0;  // what a column writes beyond is cut
};

void append(policy_row &row, const char *format, ...) __attribute__((format(printf, 2, 3)));

void append(policy_row &row, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const size_t room = row.column_end - row.length;
  const int needed = vsnprintf(row.text + row.length, room + 1, format, arguments);
  va_end(arguments);
  row.length += std::min(room, static_cast<size_t>(std::max(needed, 0)));
}

uint32_t number(const policy_row &row, hw::field where) {
  return hw::get32(row.entry.hw.key, where);
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

void print_seq_no(policy_row &row) {
  if (row.is_flow) {
    append(row, "%04d ", row.entry.seq_no);
  } else {
    append(row, "**** ");
  }
}

void print_source_mac(policy_row &row) {
  char text[MAC_TEXT_SIZE];
  oftab_convert_src_mac(slice(row.entry, ip_layout::mac_sa, 0, 25), slice(row.entry, ip_layout::mac_sa, 25, 23), text);
  append(row, "%-15s ", text);
}

void print_destination_mac(policy_row &row) {
  char text[MAC_TEXT_SIZE];
  oftab_convert_dst_mac(slice(row.entry, ip_layout::mac_da, 0, 9), slice(row.entry, ip_layout::mac_da, 9, 32),
                        slice(row.entry, ip_layout::mac_da, 41, 7), text);
  append(row, "%-15s ", text);
}

void print_ip(policy_row &row, hw::field where) {
  char text[IP_TEXT_SIZE] = "----------";
  if (row.has_ip) {
    oftab_convert_to_ip(slice(row.entry, where, 0, 19), slice(row.entry, where, 19, 13), text);
  }
  append(row, "%-15s ", text);
}

void print_ip_number(policy_row &row, hw::field where) {
  if (row.has_ip) {
    append(row, "%04d ", number(row, where));
  } else {
    append(row, "---- ");
  }
}

void print_port(policy_row &row, hw::field where) {
  print_ip_number(row, where);
  append(row, " ");
}

void print_tos(policy_row &row) {
  if (row.has_ip) {
    append(row, "0x%02d ", number(row, ip_layout::dscp));
  } else {
    append(row, "---- ");
  }
}

struct column {
  size_t widest;
  void (*print)(policy_row &row);
};

// From left to right.
constexpr column COLUMNS[] = {
    {10, [](policy_row &row) { append(row, " %04d    ", row.entry.tcam_index); }},
    {12, print_seq_no},
    {11, [](policy_row &row) { append(row, "0x%04x ", number(row, ip_layout::l2lif)); }},
    {11, [](policy_row &row) { append(row, "0x%04x ", number(row, row.ethertype)); }},
    {6, [](policy_row &row) { append(row, "%04d ", row.is_flow ? vlan_of(row.entry) : 0); }},
    {16, print_source_mac},
    {16, print_destination_mac},
    {16, [](policy_row &row) { print_ip(row, ip_layout::ip_sa); }},
    {16, [](policy_row &row) { print_ip(row, ip_layout::ip_da); }},
    {12, [](policy_row &row) { print_ip_number(row, ip_layout::proto); }},
    {13, [](policy_row &row) { print_port(row, ip_layout::src_port); }},
    {13, [](policy_row &row) { print_port(row, ip_layout::dst_port); }},
    {14, print_tos},
    {8, [](policy_row &row) { append(row, "%-7s ", oftab_get_result_string(row.entry.result_kind)); }},
    {21, [](policy_row &row) { append(row, "%020lld ", static_cast<long long>(row.entry.pkt_cnt)); }},
    {21, [](policy_row &row) { append(row, "%020lld\n", static_cast<long long>(row.entry.byte_cnt)); }},
};

constexpr size_t widest_row() {
  size_t width = 0;
  for (const column &each : COLUMNS) {
    width += each.widest;
  }
  return width;
}
static_assert(widest_row() < ROW_SIZE, "a row of the policy is too wide");

void print_row(line_output &out, policy_row row) {
  for (const column &each : COLUMNS) {
    row.column_end = row.length + each.widest;
    each.print(row);
  }
  PRINT(out, "%s", row.text);
}

void print_flow(line_output &out, const oftab_sw_entry_t &entry) {
  switch (hw::get(entry.hw.key, ip_layout::class_)) {
    case hw::CLASS_IP:
      print_row(out, {entry, ip_layout::ethertype, true, true});
      break;
    case hw::CLASS_ARP:
      print_row(out, {entry, hw::arp_key::ethertype, false, true});
      break;
    default:
      print_row(out, {entry, hw::ethernet_key::ethertype, false, true});
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
      print_flow(out, entry);
    }
  }
  print_row(out, {oftab_hw_rsrc_g.catch_all_entry, ip_layout::ethertype, true, false});
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
