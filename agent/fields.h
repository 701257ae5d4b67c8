// SPDX-License-Identifier: Apache-2.0
// The match fields of OpenFlow 1.0. What the agent knows of a field stands in one row of one table; whatever reads,
// prints, compares, sends or reads back a match walks it.
#ifndef AGENT_FIELDS_H
#define AGENT_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "agent/field_values.h"
#include "agent/flow.h"
#include "host/asic/packet.h"
#include "host/asic/vlans.h"
#include "oftab/hw_entry.h"
#include "oftab/oftab.h"

namespace agent {

// What else a match must say for a field to mean something.
enum class Needs : uint8_t { Nothing, Tag, Ip, Arp, IpOrArp, Ports, Tcp, Udp, Sctp, Icmp, kCount };

bool met(Needs needs, const Match &match);

// For people: "tcp, udp, sctp or icmp".
const char *to_text(Needs needs);

// One way to write a field.
struct Spelling {
  std::string_view name;
  Needs needs;
  FieldReader read;
  FieldPrinter print;
};

// Where a field stands in a record, in bytes; nowhere if it has none. Six bytes are a MAC address.
struct Place {
  size_t offset = 0;
  size_t size = 0;
};

// Where a field stands in each of the hardware's key formats; null where the format has no place for it.
struct KeyPlaces {
  const oftab::hw::field *ip = nullptr;
  const oftab::hw::field *arp = nullptr;
  const oftab::hw::field *ethernet = nullptr;

  const oftab::hw::field *in(uint64_t key_class) const;
};

// Where a field stands in OpenFlow 1.0's match, and which of its wildcard bits are the field's: one bit that is set
// when the field is not compared, or six that count the low bits that are not.
struct WirePlace {
  Place place;
  uint8_t wildcard;  // the lowest of them
  uint8_t wildcard_bits;
};

// A packet as matches see it.
struct Packet {
  uint32_t ifindex = 0;  // that it came in by
  host::asic::PacketHeader header;
};

struct FieldRow {
  Field field;
  uint64_t exact;                       // the mask that selects the whole of it
  Needs needs;                          // compared only with that
  std::span<const Spelling> spellings;  // the first whose need a match meets is the one that is printed for it
  Place request;                        // in oftab_match_t
  KeyPlaces key;
  Masked (*installed)(const oftab_sw_entry_t &record, oftab::hw::field where, const host::asic::Vlans &vlans);
  uint64_t (*of_packet)(const Packet &packet);
  void (*to_packet)(Packet &packet, uint64_t value);  // behind the field that it needs
  WirePlace wire;
};

// In the order of Field.
std::span<const FieldRow> field_rows();

inline const FieldRow &row_of(Field field) {
  return field_rows()[static_cast<size_t>(field)];
}

// The field that is written with this name; null when there is none.
struct NamedField {
  const FieldRow *row;
  const Spelling *spelling;
};
std::optional<NamedField> field_named(std::string_view name);

// How a field of this match is written.
const Spelling &spelling_in(const Match &match, Field field);

// An ethertype, perhaps with an IP protocol, that a match names by one word.
struct Shorthand {
  std::string_view name;
  uint16_t ethertype;
  std::optional<uint8_t> protocol;
};
std::span<const Shorthand> shorthands();
const Shorthand *shorthand_named(std::string_view name);

// The one that says the most of what a match has; null when none fits.
const Shorthand *shorthand_of(const Match &match);

// "tcp"; empty for an IP protocol without a name.
std::string_view protocol_name(uint64_t protocol);

// The number by which the host knows a VLAN: frames of VLAN 0, whose tag carries a priority alone, have one that no tag
// can have.
uint32_t vlan_for_host(uint64_t vlan);

}  // namespace agent

#endif
