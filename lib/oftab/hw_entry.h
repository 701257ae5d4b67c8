// SPDX-License-Identifier: Apache-2.0
// Bit fields of the ASIC's TCAM record: one line per field, from which the conversions, the dumps and the checks come.
//
// Bit n of a part lies in byte n / 8 at position n % 8 (0: least significant). A field occupies `width` bits from
// `offset` upwards, least significant first, and may cross bytes. The mask has the key's layout.
#ifndef OFTAB_HW_ENTRY_H
#define OFTAB_HW_ENTRY_H

#include <cstddef>
#include <cstdint>

#include "platform/asic_sdk.h"

namespace oftab::hw {

struct field {
  uint16_t offset;
  uint16_t width;
};

// Values of the key's `class`: which format the rest of the key has.
enum key_class : uint8_t { CLASS_IP = 0, CLASS_ARP = 1, CLASS_ETHERNET = 3 };

// Interface ids with this bit clear are the ones that a flow without an interface of its own matches.
constexpr uint32_t GLOBAL_LIF_BIT = 0x1000;

// Codes under which packets reach the CPU: a copy beside another action, or of what no flow matched; the controller
// alone.
enum cpu_code : uint8_t { CPU_CODE_COPY = 4, CPU_CODE_PUNT = 5 };

// What the three key formats share.
#define OFTAB_COMMON_KEY_FIELDS(FIELD) \
  FIELD(class_, 0, 2)                  \
  FIELD(l2lif, 2, 13)                  \
  FIELD(fid, 15, 12)                   \
  FIELD(vpn, 27, 12)                   \
  FIELD(mac_sa, 39, 48)                \
  FIELD(mac_da, 87, 48)                \
  FIELD(bd, 327, 13)                   \
  FIELD(vld, 340, 1)

#define OFTAB_IP_KEY_FIELDS(FIELD) \
  OFTAB_COMMON_KEY_FIELDS(FIELD)   \
  FIELD(ip_sa, 173, 32)            \
  FIELD(ip_da, 205, 32)            \
  FIELD(proto, 237, 8)             \
  FIELD(dscp, 245, 8)              \
  FIELD(iup, 253, 3)               \
  FIELD(src_port, 256, 16)         \
  FIELD(dst_port, 272, 16)         \
  FIELD(ethertype, 290, 16)

#define OFTAB_ARP_KEY_FIELDS(FIELD) \
  OFTAB_COMMON_KEY_FIELDS(FIELD)    \
  FIELD(ethertype, 246, 16)

#define OFTAB_ETHERNET_KEY_FIELDS(FIELD) \
  OFTAB_COMMON_KEY_FIELDS(FIELD)         \
  FIELD(ethertype, 177, 16)

// What the two result layouts share.
#define OFTAB_COMMON_RESULT_FIELDS(FIELD) \
  FIELD(entry_type, 0, 1)                 \
  FIELD(adj_stats_ptr, 1, 13)             \
  FIELD(drop, 14, 1)                      \
  FIELD(cp_to_cpu, 15, 1)                 \
  FIELD(cpu_code, 16, 3)                  \
  FIELD(force_cache_miss, 19, 1)          \
  FIELD(v4_same_if_check, 125, 2)         \
  FIELD(mtu_idx, 129, 6)                  \
  FIELD(nat_ptr, 137, 11)                 \
  FIELD(use_fwd_from_cache_fwd, 148, 1)

// entry_type 1: the layout that conversions program.
#define OFTAB_FORWARD_RESULT_FIELDS(FIELD) \
  OFTAB_COMMON_RESULT_FIELDS(FIELD)        \
  FIELD(l2_ltl_idx__011_000, 20, 12)       \
  FIELD(l2_ltl_idx__013_012, 32, 2)        \
  FIELD(l3_mcst_grp_idx, 34, 13)           \
  FIELD(rpf_bd_2nd, 47, 13)                \
  FIELD(rpf_type, 60, 2)                   \
  FIELD(rpf_bd, 62, 13)                    \
  FIELD(drop_rpf_fail, 75, 1)              \
  FIELD(s_star_prio, 76, 1)                \
  FIELD(sg_entry, 77, 1)                   \
  FIELD(dvif, 78, 14)                      \
  FIELD(v6_same_if_check, 127, 2)

// entry_type 0: read back and shown, never programmed.
#define OFTAB_ROUTED_RESULT_FIELDS(FIELD) \
  OFTAB_COMMON_RESULT_FIELDS(FIELD)       \
  FIELD(routed, 20, 1)                    \
  FIELD(l2mp_en, 21, 1)                   \
  FIELD(bd, 22, 13)                       \
  FIELD(mac_da, 35, 48)                   \
  FIELD(router_ip, 83, 1)                 \
  FIELD(def_route, 84, 1)                 \
  FIELD(l2mp_dvif, 85, 2)                 \
  FIELD(swid, 87, 16)                     \
  FIELD(sswid, 103, 8)                    \
  FIELD(if_map_ptr, 111, 8)               \
  FIELD(uc_ftag, 119, 6)                  \
  FIELD(mac_sa_idx, 127, 2)               \
  FIELD(nat_if, 135, 2)                   \
  FIELD(lid, 149, 16)                     \
  FIELD(nat_kill_ah, 165, 1)

#define OFTAB_DECLARE_FIELD(id, offset, width) static constexpr field id{offset, width};
#define OFTAB_LIST_FIELD(id, offset, width)    id,

// One struct per layout: its fields by name, and all of them as a list.
#define OFTAB_DECLARE_LAYOUT(layout, FIELDS)                   \
  struct layout {                                              \
    FIELDS(OFTAB_DECLARE_FIELD)                                \
    static constexpr field all[] = {FIELDS(OFTAB_LIST_FIELD)}; \
  };

OFTAB_DECLARE_LAYOUT(ip_key, OFTAB_IP_KEY_FIELDS)
OFTAB_DECLARE_LAYOUT(arp_key, OFTAB_ARP_KEY_FIELDS)
OFTAB_DECLARE_LAYOUT(ethernet_key, OFTAB_ETHERNET_KEY_FIELDS)
OFTAB_DECLARE_LAYOUT(forward_result, OFTAB_FORWARD_RESULT_FIELDS)
OFTAB_DECLARE_LAYOUT(routed_result, OFTAB_ROUTED_RESULT_FIELDS)

#undef OFTAB_DECLARE_LAYOUT
#undef OFTAB_LIST_FIELD
#undef OFTAB_DECLARE_FIELD

// No two fields overlap and none reaches beyond its part.
template <size_t Count>
constexpr bool fits(const field (&fields)[Count], size_t part_size) {
  bool taken[8 * TCAM_KEY_SIZE] = {};
  for (const field &each : fields) {
    if (each.width == 0 || each.width > 48 || static_cast<size_t>(each.offset) + each.width > 8 * part_size) {
      return false;
    }
    for (size_t bit = each.offset; bit < static_cast<size_t>(each.offset) + each.width; ++bit) {
      if (taken[bit]) {
        return false;
      }
      taken[bit] = true;
    }
  }
  return true;
}

static_assert(fits(ip_key::all, TCAM_KEY_SIZE));
static_assert(fits(arp_key::all, TCAM_KEY_SIZE));
static_assert(fits(ethernet_key::all, TCAM_KEY_SIZE));
static_assert(fits(forward_result::all, TCAM_RESULT_SIZE));
static_assert(fits(routed_result::all, TCAM_RESULT_SIZE));

// Reads a field of `part` (a key, mask or result).
constexpr uint64_t get(const uint8_t *part, field where) {
  uint64_t value = 0;
  for (unsigned done = 0; done < where.width;) {
    const unsigned bit = where.offset + done;
    const unsigned taken = 8 - bit % 8 < where.width - done ? 8 - bit % 8 : where.width - done;
    const uint64_t piece = (static_cast<unsigned>(part[bit / 8]) >> bit % 8) & ((1U << taken) - 1);
    value |= piece << done;
    done += taken;
  }
  return value;
}

constexpr uint32_t get32(const uint8_t *part, field where) {
  return static_cast<uint32_t>(get(part, where));
}

// A value that sets every bit of a field.
constexpr uint64_t ones(field where) {
  return (uint64_t{1} << where.width) - 1;
}

// Replaces a field of `part` by the low bits of `value`; every other bit stays.
constexpr void set(uint8_t *part, field where, uint64_t value) {
  const unsigned shift = where.offset % 8U;
  const uint64_t bits = ones(where) << shift;
  const uint64_t shifted = (value << shift) & bits;
  const unsigned bytes = (shift + where.width + 7) / 8;
  for (unsigned i = 0; i < bytes; ++i) {
    uint8_t &byte = part[where.offset / 8 + i];
    byte = static_cast<uint8_t>((byte & ~(bits >> 8 * i)) | (shifted >> 8 * i));
  }
}

// The multicast index of a forward_result, joined from its two pieces.
constexpr uint32_t ltl_idx(const uint8_t *part) {
  return get32(part, forward_result::l2_ltl_idx__011_000) | get32(part, forward_result::l2_ltl_idx__013_012)
                                                                << forward_result::l2_ltl_idx__011_000.width;
}

constexpr void set_ltl_idx(uint8_t *part, uint32_t index) {
  set(part, forward_result::l2_ltl_idx__011_000, index);
  set(part, forward_result::l2_ltl_idx__013_012, index >> forward_result::l2_ltl_idx__011_000.width);
}

// A MAC address as the 48-bit number that the fields hold: its first octet most significant.
constexpr uint64_t mac_number(const uint8_t octets[6]) {
  uint64_t number = 0;
  for (int i = 0; i < 6; ++i) {
    number = number << 8 | octets[i];
  }
  return number;
}

}  // namespace oftab::hw

#endif
