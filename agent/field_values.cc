// SPDX-License-Identifier: Apache-2.0
#include "agent/field_values.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdio>

#include "agent/interface_names.h"

namespace agent {
namespace {

constexpr uint64_t kTagged = 0x1000;  // tells an id from none

// Reads `count` numbers with `separator` between them as one number, `bits` bits each.
std::optional<uint64_t> read_parts(std::string_view text, int count, char separator, int base, int bits) {
  uint64_t whole = 0;
  for (int i = 0; i < count; ++i) {
    const size_t end = i + 1 == count ? text.size() : std::min(text.find(separator), text.size());
    unsigned part = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + end, part, base);
    if (error != std::errc() || stop != text.data() + end || part >> bits != 0) {
      return std::nullopt;
    }
    whole = whole << bits | part;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return whole;
}

uint64_t ip_mask_bits(const Word &word) {
  if (word.text.find('.') != std::string_view::npos) {
    return ip_named(word);
  }
  const uint64_t length = number_in(without_zeros(word), 0, 32, "a prefix length");
  return kExactIp << (32 - length) & kExactIp;
}

// The key has 16 bits for each of these numbers.
Masked masked_number(const Word &word, uint64_t highest, const std::string &what) {
  const SplitWord parts = split_at(word, '/');
  return {number_in(parts.before, 0, highest, what),
          parts.behind ? number_in(*parts.behind, 0, highest, what + "'s mask") : kExactPort};
}

}  // namespace

uint64_t mac_named(const Word &word) {
  if (const auto address = read_parts(word.text, 6, ':', 16, 8)) {
    return *address;
  }
  throw TextError(word.column, "a MAC address has the form 00:11:22:33:44:55, not " + quoted(word));
}

uint64_t ip_named(const Word &word) {
  if (const auto address = read_parts(word.text, 4, '.', 10, 8)) {
    return *address;
  }
  throw TextError(word.column, "an IPv4 address has the form 10.0.0.1, not " + quoted(word));
}

Masked read_in_port(const Word &value) {
  return {possible_port_named(value), kExactIfindex};
}

Masked read_mac(const Word &value) {
  const SplitWord parts = split_at(value, '/');
  return {mac_named(parts.before), parts.behind ? mac_named(*parts.behind) : kExactMac};
}

Masked read_ip(const Word &value) {
  const SplitWord parts = split_at(value, '/');
  return {ip_named(parts.before), parts.behind ? ip_mask_bits(*parts.behind) : kExactIp};
}

Masked read_ethertype(const Word &value) {
  return {number_in(value, 0, 0xFFFF, "dl_type"), kExactEthertype};
}

Masked read_vlan(const Word &value) {
  return {number_in(value, 0, kExactVlan, "dl_vlan"), kExactVlan};
}

Masked read_vlan_vid(const Word &value) {
  const SplitWord parts = split_at(value, '/');
  const uint64_t number = number_in(parts.before, 0, 0x1FFF, "vlan_vid");
  if (parts.behind && number_in(*parts.behind, 0, 0x1FFF, "vlan_vid's mask") != 0x1FFF) {
    throw TextError(parts.behind->column, "the hardware matches the whole of a VLAN id: vlan_vid's mask is 0x1fff");
  }
  if (number == 0) {
    return {kUntagged, kExactVlan};
  }
  if (number < kTagged) {
    throw TextError(value.column, "a VLAN id stands above 0x1000 here: dl_vlan takes it as it is");
  }
  return {number - kTagged, kExactVlan};
}

Masked read_vlan_tci(const Word &value) {
  const SplitWord parts = split_at(value, '/');
  const uint64_t number = number_in(parts.before, 0, 0xFFFF, "vlan_tci");
  const uint64_t mask = parts.behind ? number_in(*parts.behind, 0, 0xFFFF, "vlan_tci's mask") : 0xFFFF;
  const bool id_alone = mask == (kTagged | 0x0FFF);
  if (!id_alone && (mask != 0xFFFF || number != 0)) {
    throw TextError(value.column,
                    "OpenFlow 1.0 matches a whole tag, 0x1000 and above, its id with mask 0x1fff, or none at all, 0");
  }
  return read_vlan_vid(parts.before);
}

Masked read_vlan_pcp(const Word &value) {
  return {number_in(value, 0, 7, "a VLAN priority"), kExactVlanPcp};
}

Masked read_tos(const Word &value) {
  return {number_in(value, 0, 255, "nw_tos"), kExactTos};
}

Masked read_dscp(const Word &value) {
  return {number_in(value, 0, 63, "ip_dscp") << 2, kExactTos};
}

Masked read_protocol(const Word &value) {
  return {number_in(value, 0, 255, "nw_proto"), kExactProtocol};
}

Masked read_arp_opcode(const Word &value) {
  return {number_in(value, 0, 255, "an ARP opcode"), kExactProtocol};
}

Masked read_transport_port(const Word &value) {
  return masked_number(value, 0xFFFF, "a transport port");
}

Masked read_icmp_number(const Word &value) {
  return masked_number(value, 0xFF, "an ICMP type or code");
}

std::string port_text(const Masked &field) {
  return interface_name(static_cast<uint32_t>(field.value));
}

std::string masked_mac_text(const Masked &field) {
  return (field.mask & kExactMac) == kExactMac ? mac_text(field.value)
                                               : concat(mac_text(field.value), "/", mac_text(field.mask));
}

std::string masked_ip_text(const Masked &field) {
  const auto bits = static_cast<uint32_t>(field.mask);
  std::string address = ip_text(static_cast<uint32_t>(field.value));
  const int length = std::countl_one(bits);
  if (bits == kExactIp) {
    return address;
  }
  const bool prefix = length + std::countr_zero(bits) == 32;
  return concat(address, "/", prefix ? std::to_string(length) : ip_text(bits));
}

std::string ethertype_text(const Masked &field) {
  return hex(field.value, 4);
}

std::string vlan_text(const Masked &field) {
  return field.value == kUntagged ? hex(field.value) : number_text(field);
}

std::string number_text(const Masked &field) {
  return std::to_string(field.value);
}

std::string transport_port_text(const Masked &field) {
  return field.mask == kExactPort ? number_text(field) : concat(hex(field.value, 4), "/", hex(field.mask, 4));
}

std::string ip_text(uint32_t address) {
  char text[16];
  std::snprintf(text, sizeof text, "%u.%u.%u.%u", address >> 24, address >> 16 & 255, address >> 8 & 255,
                address & 255);
  return text;
}

std::array<uint8_t, 6> mac_octets(uint64_t address) {
  std::array<uint8_t, 6> octets;
  for (auto octet = octets.rbegin(); octet != octets.rend(); ++octet, address >>= 8) {
    *octet = static_cast<uint8_t>(address);
  }
  return octets;
}

uint64_t mac_address(const std::array<uint8_t, 6> &octets) {
  uint64_t address = 0;
  for (const uint8_t octet : octets) {
    address = address << 8 | octet;
  }
  return address;
}

std::string mac_text(uint64_t address) {
  return mac_text(mac_octets(address));
}

std::string mac_text(const std::array<uint8_t, 6> &octets) {
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1], octets[2], octets[3],
                octets[4], octets[5]);
  return text;
}

}  // namespace agent
