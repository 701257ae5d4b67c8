// The hardware's view: TCAM records decoded field by field, and the dumps of whole tables.
//
// Each line of a record's dump is a list of fields; name and place of a field come from its layout.
#include <syslog.h>

#include <cstdio>

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_debug/line_output.h"
#include "oftab/oftab_debug/table_header.h"
#include "oftab/table.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

enum class style { DECIMAL, HEX_WITH_MASK, IP_WITH_MASK, MAC_WITH_MASK, MAC, LTL_INDEX };

struct item {
  hw::field where = {};
  style how = style::DECIMAL;
};

constexpr size_t ITEMS_PER_LINE = 6;

// One line; items without a name end it.
struct dump_line {
  item items[ITEMS_PER_LINE] = {};
};

using k = hw::ip_key;
using f = hw::forward_result;
using r = hw::routed_result;

// Keys are decoded by the IPv4 format, whatever their class.
constexpr dump_line KEY_LINES[] = {
    {{{k::vld, style::DECIMAL},
      {k::class_, style::HEX_WITH_MASK},
      {k::l2lif, style::HEX_WITH_MASK},
      {k::fid, style::HEX_WITH_MASK},
      {k::vpn, style::HEX_WITH_MASK}}},
    {{{k::mac_sa, style::MAC_WITH_MASK}, {k::mac_da, style::MAC_WITH_MASK}}},
    {{{k::ip_sa, style::IP_WITH_MASK}, {k::ip_da, style::IP_WITH_MASK}}},
    {{{k::proto, style::HEX_WITH_MASK}, {k::dscp, style::HEX_WITH_MASK}, {k::iup, style::HEX_WITH_MASK}}},
    {{{k::src_port, style::HEX_WITH_MASK},
      {k::dst_port, style::HEX_WITH_MASK},
      {k::ethertype, style::HEX_WITH_MASK},
      {k::bd, style::HEX_WITH_MASK}}},
};

constexpr hw::field LTL_INDEX = {"l2_ltl_idx", 0, 0};  // joined from two fields

constexpr dump_line FORWARD_LINES[] = {
    {{{f::entry_type}, {f::adj_stats_ptr}, {f::drop}, {f::cp_to_cpu}}},
    {{{f::cpu_code}, {f::force_cache_miss}, {LTL_INDEX, style::LTL_INDEX}, {f::l3_mcst_grp_idx}}},
    {{{f::rpf_bd_2nd}, {f::rpf_type}, {f::rpf_bd}, {f::drop_rpf_fail}}},
    {{{f::s_star_prio}, {f::sg_entry}, {f::dvif}}},
    {{{f::v4_same_if_check}, {f::v6_same_if_check}, {f::mtu_idx}}},
    {{{f::nat_ptr}, {f::use_fwd_from_cache_fwd}}},
};

constexpr dump_line ROUTED_LINES[] = {
    {{{r::entry_type}, {r::adj_stats_ptr}, {r::drop}, {r::cp_to_cpu}}},
    {{{r::cpu_code}, {r::force_cache_miss}, {r::routed}, {r::l2mp_en}, {r::bd}}},
    {{{r::mac_da, style::MAC}, {r::router_ip}}},
    {{{r::def_route}, {r::l2mp_dvif}, {r::swid}, {r::sswid}}},
    {{{r::if_map_ptr}, {r::uc_ftag}, {r::v4_same_if_check}, {r::mac_sa_idx}}},
    {{{r::mtu_idx}, {r::nat_if}, {r::nat_ptr}, {r::use_fwd_from_cache_fwd}}},
    {{{r::lid}, {r::nat_kill_ah}}},
};

constexpr size_t TEXT_SIZE = 255;

unsigned upper16(uint64_t mac) {
  return static_cast<unsigned>(mac >> 32);
}

unsigned lower32(uint64_t mac) {
  return static_cast<unsigned>(mac);
}

// Formats one field of `part` (and of `bits`, its mask) into `out`. Returns the length.
int format_item(char *out, size_t size, const item &each, const uint8_t *part, const uint8_t *bits) {
  const char *name = each.where.name;
  const uint64_t value = hw::get(part, each.where);
  const uint64_t mask_value = bits != nullptr ? hw::get(bits, each.where) : 0;
  switch (each.how) {
    case style::HEX_WITH_MASK:
      return snprintf(out, size, "%s:0x%X/0x%X", name, lower32(value), lower32(mask_value));
    case style::IP_WITH_MASK:
      return snprintf(out, size, "%s:0x%08X/0x%08X", name, lower32(value), lower32(mask_value));
    case style::MAC_WITH_MASK:
      return snprintf(out, size, "%s:0x%04X%08X/0x%04X%08X", name, upper16(value), lower32(value), upper16(mask_value),
                      lower32(mask_value));
    case style::MAC:
      return snprintf(out, size, "%s:0x%04X%08X", name, upper16(value), lower32(value));
    case style::LTL_INDEX:
      return snprintf(out, size, "%s:%d", name, static_cast<int>(hw::ltl_idx(part)));
    case style::DECIMAL:
    default:
      return snprintf(out, size, "%s:%d", name, static_cast<int>(value));
  }
}

template <typename Print, size_t Count>
void print_lines(const Print &print, const dump_line (&lines)[Count], const uint8_t *part, const uint8_t *bits) {
  for (const dump_line &line : lines) {
    char text[TEXT_SIZE];
    size_t length = 0;
    for (const item &each : line.items) {
      if (each.where.name == nullptr) {
        break;
      }
      if (length > 0) {
        length += static_cast<size_t>(snprintf(text + length, sizeof text - length, ", "));
      }
      length += static_cast<size_t>(format_item(text + length, sizeof text - length, each, part, bits));
    }
    print("%s\n", text);
  }
}

// Heading, key and result of one record.
template <typename Print>
void print_record(const Print &print, int index, const uint8_t *hw_key, const uint8_t *hw_mask,
                  const uint8_t *hw_result) {
  print("Key Value/Mask for Index %d\n", index);
  print_lines(print, KEY_LINES, hw_key, hw_mask);
  print("\nResult:\n");
  if (hw::get(hw_result, f::entry_type) == 1) {
    print_lines(print, FORWARD_LINES, hw_result, nullptr);
  } else {
    print_lines(print, ROUTED_LINES, hw_result, nullptr);
  }
}

void report_read_error(uint32_t index) {
  constexpr int ALERT = 1;
  static_assert(ALERT == LOG_ALERT);
  syslog(ALERT, "Error reading enry at %d \n", static_cast<int>(index));
  printf("Error reading enry at %d \n", static_cast<int>(index));
}

}  // namespace

int oftab_display_cache_tcam(void *shell_context, uint32_t first, uint32_t last) {
  constexpr uint32_t LAST_INDEX = TCAM_INDICES - 1;
  const uint32_t end = last > LAST_INDEX ? LAST_INDEX : last;
  const uint32_t start = first > LAST_INDEX ? 0 : first;
  cache_unified_entry entry = {};
  for (uint32_t index = start; index <= end; ++index) {
    if (qtr_custom_cache_unified_entry_get(0, index, entry.key, entry.mask, entry.result) != 0) {
      report_read_error(index);
    } else {
      oftab_dump_tcam_entry(shell_context, static_cast<int>(index), entry.key, entry.mask, entry.result);
    }
  }
  return 0;
}

int oftab_dump_tcam_entry(void *shell_context, int index, const void *hw_key, const void *hw_mask,
                          const void *hw_result) {
  line_output out(shell_context);
  const auto print = [&out](const char *format, auto... arguments) { out.print(format, arguments...); };
  print_record(print, index, static_cast<const uint8_t *>(hw_key), static_cast<const uint8_t *>(hw_mask),
               static_cast<const uint8_t *>(hw_result));
  print_rule(print, '-', 90);
  return out.result();
}

void oftab_dump_tcam_tbl(void) {
  const char *const function = __func__;
  const auto print = [function](const char *format, auto... arguments) {
    trace::point<trace::ERROR>({__FILE__, function, __LINE__}, format, arguments...);
  };
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  if (table == nullptr || table->tcam_entry == nullptr) {
    print("%s", NOT_INITIALIZED);
    return;
  }
  print("Showing Openflow TCAM Table \n");
  print_table_header(print, *table);
  for (const oftab_sw_entry_t &entry : current_view()) {
    print_record(print, entry.tcam_index, entry.hw.key, entry.hw.mask, entry.hw.result);
    print("\n");
  }
}

void oftab_dump_sw_tcam_tbl(const oftab_tcam_tbl_t *table, int is_shadow) {
  const char *const function = __func__;
  const auto print = [function](const char *format, auto... arguments) {
    trace::point<trace::DETAIL>({__FILE__, function, __LINE__}, format, arguments...);
  };
  if (table == nullptr || table->tcam_entry == nullptr) {
    print("%s", NOT_INITIALIZED);
    return;
  }
  const oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  print("Dumping TCAM Table \n");
  print_table_header(print, *table);
  if (is_shadow != 0) {
    print_interfaces(print, global.shadow_intf_count, global.shadow_intf_tbl);
  } else {
    print_interfaces(print, global.intf_count, global.intf_tbl);
  }
  print("TcamIndex    Seq   prio   Used  Stat-index \n");
  print_rule(print, '=', 43);
  const table_view rows = is_shadow != 0 ? full_view(table) : compact_view(table);
  if (table->entries_allocated == 0) {
    return;
  }
  for (const oftab_sw_entry_t &entry : rows) {
    print("%6d  %6d  %6d   %1d  %6d\n", entry.tcam_index, entry.seq_no, entry.priority, is_used(entry), entry.stats_id);
  }
}
