// SPDX-License-Identifier: Apache-2.0
#include "agent/fields.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace agent {
namespace {

namespace hw = oftab::hw;

using host::asic::PacketHeader;
using host::asic::Vlans;

// --- Values and masks in the hardware's records ---

Masked key_bits(const oftab_sw_entry_t &record, hw::field where, const Vlans &) {
  const uint64_t bits = hw::get(record.hw.mask, where);
  return {hw::get(record.hw.key, where) & bits, bits};
}

// A record that matches one interface compares the whole interface id.
Masked interface_of(const oftab_sw_entry_t &record, hw::field where, const Vlans &) {
  const bool exact = hw::get(record.hw.mask, where) == hw::ones(where);
  return exact ? Masked{record.ifindex, kExactIfindex} : Masked{};
}

// A VLAN of the bridge domain that the record matches: the one that the library converted last, if it still has it.
Masked vlan_of(const oftab_sw_entry_t &record, hw::field where, const Vlans &vlans) {
  const Masked bd = key_bits(record, where, vlans);
  if (bd.mask == 0) {
    return {};
  }
  const uint64_t mask = bd.mask == hw::ones(where) ? kExactVlan : bd.mask;
  const uint16_t remembered = oftab_hw_rsrc_g.bd_vlan[bd.value % OFTAB_BD_COUNT];
  for (uint32_t vlan = remembered, tried = 0; tried < OFTAB_BD_COUNT; ++tried, vlan = (vlan + 1) % OFTAB_BD_COUNT) {
    if (vlans.bridge_domain(vlan) == bd.value) {
      return {vlan == Vlans::kPriorityTagged ? 0 : vlan, mask};
    }
  }
  return {remembered, mask};
}

// --- Values in packets ---

template <auto Member>
uint64_t number_of(const Packet &packet) {
  return packet.header.*Member;
}

template <auto Member>
void put_number(Packet &packet, uint64_t value) {
  auto &number = packet.header.*Member;
  number = static_cast<std::remove_reference_t<decltype(number)>>(value);
}

template <auto Member>
uint64_t address_of(const Packet &packet) {
  return mac_address(packet.header.*Member);
}

template <auto Member>
void put_address(Packet &packet, uint64_t value) {
  packet.header.*Member = mac_octets(value);
}

// IPv4 and ARP packets have the field at different places.
template <auto Ip, auto Arp>
uint64_t ip_or_arp_of(const Packet &packet) {
  return packet.header.ethertype == kArp ? packet.header.*Arp : packet.header.*Ip;
}

template <auto Ip, auto Arp>
void put_ip_or_arp(Packet &packet, uint64_t value) {
  if (packet.header.ethertype == kArp) {
    put_number<Arp>(packet, value);
  } else {
    put_number<Ip>(packet, value);
  }
}

uint64_t port_of(const Packet &packet) {
  return packet.ifindex;
}

void put_port(Packet &packet, uint64_t value) {
  packet.ifindex = static_cast<uint32_t>(value);
}

uint64_t vlan_of(const Packet &packet) {
  return packet.header.vlan ? *packet.header.vlan : kUntagged;
}

void put_vlan(Packet &packet, uint64_t value) {
  packet.header.vlan = value == kUntagged ? std::nullopt : std::optional(static_cast<uint16_t>(value));
}

// --- The table ---

constexpr Spelling kInPort[] = {{"in_port", Needs::Nothing, read_in_port, port_text},
                                {"in_port_oxm", Needs::Nothing, read_in_port, port_text}};
constexpr Spelling kDlSrc[] = {{"dl_src", Needs::Nothing, read_mac, masked_mac_text},
                               {"eth_src", Needs::Nothing, read_mac, masked_mac_text}};
constexpr Spelling kDlDst[] = {{"dl_dst", Needs::Nothing, read_mac, masked_mac_text},
                               {"eth_dst", Needs::Nothing, read_mac, masked_mac_text}};
constexpr Spelling kDlType[] = {{"dl_type", Needs::Nothing, read_ethertype, ethertype_text},
                                {"eth_type", Needs::Nothing, read_ethertype, ethertype_text}};
constexpr Spelling kDlVlan[] = {{"dl_vlan", Needs::Nothing, read_vlan, vlan_text},
                                {"vlan_vid", Needs::Nothing, read_vlan_vid, vlan_text},
                                {"vlan_tci", Needs::Nothing, read_vlan_tci, vlan_text}};
constexpr Spelling kDlVlanPcp[] = {{"dl_vlan_pcp", Needs::Tag, read_vlan_pcp, number_text},
                                   {"vlan_pcp", Needs::Tag, read_vlan_pcp, number_text}};
constexpr Spelling kNwSrc[] = {{"arp_spa", Needs::Arp, read_ip, masked_ip_text},
                               {"nw_src", Needs::IpOrArp, read_ip, masked_ip_text},
                               {"ip_src", Needs::Ip, read_ip, masked_ip_text}};
constexpr Spelling kNwDst[] = {{"arp_tpa", Needs::Arp, read_ip, masked_ip_text},
                               {"nw_dst", Needs::IpOrArp, read_ip, masked_ip_text},
                               {"ip_dst", Needs::Ip, read_ip, masked_ip_text}};
constexpr Spelling kNwTos[] = {{"nw_tos", Needs::Ip, read_tos, number_text},
                               {"ip_dscp", Needs::Ip, read_dscp, number_text}};
constexpr Spelling kNwProto[] = {{"arp_op", Needs::Arp, read_arp_opcode, number_text},
                                 {"nw_proto", Needs::IpOrArp, read_protocol, number_text},
                                 {"ip_proto", Needs::Ip, read_protocol, number_text}};
constexpr Spelling kTpSrc[] = {{"icmp_type", Needs::Icmp, read_icmp_number, transport_port_text},
                               {"tp_src", Needs::Ports, read_transport_port, transport_port_text},
                               {"tcp_src", Needs::Tcp, read_transport_port, transport_port_text},
                               {"udp_src", Needs::Udp, read_transport_port, transport_port_text},
                               {"sctp_src", Needs::Sctp, read_transport_port, transport_port_text}};
constexpr Spelling kTpDst[] = {{"icmp_code", Needs::Icmp, read_icmp_number, transport_port_text},
                               {"tp_dst", Needs::Ports, read_transport_port, transport_port_text},
                               {"tcp_dst", Needs::Tcp, read_transport_port, transport_port_text},
                               {"udp_dst", Needs::Udp, read_transport_port, transport_port_text},
                               {"sctp_dst", Needs::Sctp, read_transport_port, transport_port_text}};

#define REQUEST(member)                                            \
  Place {                                                          \
    offsetof(oftab_match_t, member), sizeof(oftab_match_t::member) \
  }

// A field that stands at the same place in every key format, and one that only IP keys have.
constexpr KeyPlaces everywhere(const hw::field &place) {
  return {&place, &place, &place};
}
constexpr KeyPlaces in_ip(const hw::field &place) {
  return {&place, nullptr, nullptr};
}

constexpr KeyPlaces kEthertypes = {&hw::ip_key::ethertype, &hw::arp_key::ethertype, &hw::ethernet_key::ethertype};

constexpr std::array<FieldRow, static_cast<size_t>(Field::kCount)> kRows = {{
    {Field::InPort,
     kExactIfindex,
     Needs::Nothing,
     kInPort,
     REQUEST(ifindex),
     everywhere(hw::ip_key::l2lif),
     interface_of,
     port_of,
     put_port,
     {{4, 2}, 0, 1}},
    {Field::DlVlan,
     kExactVlan,
     Needs::Nothing,
     kDlVlan,
     REQUEST(vlan),
     everywhere(hw::ip_key::bd),
     vlan_of,
     vlan_of,
     put_vlan,
     {{18, 2}, 1, 1}},
    {Field::DlVlanPcp,
     kExactVlanPcp,
     Needs::Tag,
     kDlVlanPcp,
     {},
     {},
     key_bits,
     number_of<&PacketHeader::vlan_pcp>,
     put_number<&PacketHeader::vlan_pcp>,
     {{20, 1}, 20, 1}},
    {Field::DlSrc,
     kExactMac,
     Needs::Nothing,
     kDlSrc,
     REQUEST(mac_sa),
     everywhere(hw::ip_key::mac_sa),
     key_bits,
     address_of<&PacketHeader::mac_sa>,
     put_address<&PacketHeader::mac_sa>,
     {{6, 6}, 2, 1}},
    {Field::DlDst,
     kExactMac,
     Needs::Nothing,
     kDlDst,
     REQUEST(mac_da),
     everywhere(hw::ip_key::mac_da),
     key_bits,
     address_of<&PacketHeader::mac_da>,
     put_address<&PacketHeader::mac_da>,
     {{12, 6}, 3, 1}},
    {Field::DlType,
     kExactEthertype,
     Needs::Nothing,
     kDlType,
     REQUEST(ethertype),
     kEthertypes,
     key_bits,
     number_of<&PacketHeader::ethertype>,
     put_number<&PacketHeader::ethertype>,
     {{22, 2}, 4, 1}},
    {Field::NwSrc,
     kExactIp,
     Needs::IpOrArp,
     kNwSrc,
     REQUEST(ip_sa),
     in_ip(hw::ip_key::ip_sa),
     key_bits,
     ip_or_arp_of<&PacketHeader::ip_sa, &PacketHeader::arp_spa>,
     put_ip_or_arp<&PacketHeader::ip_sa, &PacketHeader::arp_spa>,
     {{28, 4}, 8, 6}},
    {Field::NwDst,
     kExactIp,
     Needs::IpOrArp,
     kNwDst,
     REQUEST(ip_da),
     in_ip(hw::ip_key::ip_da),
     key_bits,
     ip_or_arp_of<&PacketHeader::ip_da, &PacketHeader::arp_tpa>,
     put_ip_or_arp<&PacketHeader::ip_da, &PacketHeader::arp_tpa>,
     {{32, 4}, 14, 6}},
    {Field::NwTos,
     kExactTos,
     Needs::Ip,
     kNwTos,
     REQUEST(tos),
     in_ip(hw::ip_key::dscp),
     key_bits,
     number_of<&PacketHeader::tos>,
     put_number<&PacketHeader::tos>,
     {{24, 1}, 21, 1}},
    {Field::NwProto,
     kExactProtocol,
     Needs::IpOrArp,
     kNwProto,
     REQUEST(protocol),
     in_ip(hw::ip_key::proto),
     key_bits,
     ip_or_arp_of<&PacketHeader::proto, &PacketHeader::arp_op>,
     put_ip_or_arp<&PacketHeader::proto, &PacketHeader::arp_op>,
     {{25, 1}, 5, 1}},
    {Field::TpSrc,
     kExactPort,
     Needs::Ports,
     kTpSrc,
     REQUEST(sport),
     in_ip(hw::ip_key::src_port),
     key_bits,
     number_of<&PacketHeader::src_port>,
     put_number<&PacketHeader::src_port>,
     {{36, 2}, 6, 1}},
    {Field::TpDst,
     kExactPort,
     Needs::Ports,
     kTpDst,
     REQUEST(dport),
     in_ip(hw::ip_key::dst_port),
     key_bits,
     number_of<&PacketHeader::dst_port>,
     put_number<&PacketHeader::dst_port>,
     {{38, 2}, 7, 1}},
}};

#undef REQUEST

// --- What a row must have ---

// Everything, in its place; and what a request can say has a place in the key.
constexpr bool complete(const FieldRow &row, Field field) {
  const bool in_hardware = row.key.ip != nullptr;
  return row.field == field && row.exact != 0 && !row.spellings.empty() && in_hardware == (row.request.size != 0) &&
         row.installed != nullptr && row.of_packet != nullptr && row.to_packet != nullptr && row.wire.place.size != 0 &&
         (row.wire.wildcard_bits == 1 || row.wire.wildcard_bits == 6);
}

constexpr bool complete(const Spelling &spelling) {
  return !spelling.name.empty() && spelling.read != nullptr && spelling.print != nullptr;
}

constexpr bool all_complete() {
  for (size_t i = 0; i < kRows.size(); ++i) {
    const auto spelled = [](const Spelling &spelling) { return complete(spelling); };
    if (!complete(kRows[i], static_cast<Field>(i)) || !std::ranges::all_of(kRows[i].spellings, spelled)) {
      return false;
    }
  }
  return true;
}
static_assert(all_complete(), "a field lacks something, or stands out of order");

// Each bit of `size` bytes belongs to at most one field.
template <typename GetPlace>
constexpr bool apart(size_t size, GetPlace place_of) {
  std::array<bool, 64> taken{};
  for (const FieldRow &row : kRows) {
    const Place place = place_of(row);
    for (size_t at = place.offset; at < place.offset + place.size; ++at) {
      if (at >= size || taken[at]) {
        return false;
      }
      taken[at] = true;
    }
  }
  return true;
}
static_assert(apart(sizeof(oftab_match_t), [](const FieldRow &row) { return row.request; }));
static_assert(apart(40, [](const FieldRow &row) { return row.wire.place; }));
static_assert(apart(22, [](const FieldRow &row) { return Place{row.wire.wildcard, row.wire.wildcard_bits}; }));

// Every word of the request but the reserved one is some field's: 38 of 40 bytes.
constexpr size_t request_bytes() {
  size_t bytes = 0;
  for (const FieldRow &row : kRows) {
    bytes += row.request.size;
  }
  return bytes;
}
static_assert(request_bytes() == sizeof(oftab_match_t) - sizeof(oftab_match_t::reserved));

constexpr Shorthand kShorthands[] = {
    {"tcp", kIpv4, kTcp},
    {"udp", kIpv4, kUdp},
    {"sctp", kIpv4, kSctp},
    {"icmp", kIpv4, kIcmp},
    {"ip", kIpv4, std::nullopt},
    {"arp", kArp, std::nullopt},
    {"rarp", kRarp, std::nullopt},
    {"ipv6", kIpv6, std::nullopt},
    {"ip6", kIpv6, std::nullopt},
    {"mpls", kMpls, std::nullopt},
    {"mplsm", kMplsMulticast, std::nullopt},
};

template <typename Test>
const Shorthand *find_shorthand(Test test) {
  const auto *const found = std::ranges::find_if(kShorthands, test);
  return found == std::end(kShorthands) ? nullptr : found;
}

bool is_type(const Match &match, uint64_t ethertype) {
  return match[Field::DlType] == Masked{ethertype, kExactEthertype};
}

bool is_protocol(const Match &match, uint64_t protocol) {
  return is_type(match, kIpv4) && match[Field::NwProto] == Masked{protocol, kExactProtocol};
}

struct Need {
  bool (*met)(const Match &match);
  const char *text;
};

constexpr Need kNeeds[] = {
    {[](const Match &) { return true; }, "nothing"},
    {[](const Match &match) {
       return match[Field::DlVlan] != Masked{kUntagged, kExactVlan};
     },
     "a VLAN tag"},
    {[](const Match &match) { return is_type(match, kIpv4); }, "IPv4: ip, tcp, udp, icmp or dl_type=0x0800"},
    {[](const Match &match) { return is_type(match, kArp); }, "arp"},
    {[](const Match &match) { return is_type(match, kIpv4) || is_type(match, kArp); },
     "IPv4 or ARP: ip, tcp, udp, icmp, arp or dl_type=0x0800"},
    {[](const Match &match) { return is_type(match, kIpv4) && !protocol_name(match[Field::NwProto].value).empty(); },
     "tcp, udp, sctp or icmp"},
    {[](const Match &match) { return is_protocol(match, kTcp); }, "tcp"},
    {[](const Match &match) { return is_protocol(match, kUdp); }, "udp"},
    {[](const Match &match) { return is_protocol(match, kSctp); }, "sctp"},
    {[](const Match &match) { return is_protocol(match, kIcmp); }, "icmp"},
};
static_assert(std::size(kNeeds) == static_cast<size_t>(Needs::kCount));

}  // namespace

bool met(Needs needs, const Match &match) {
  return kNeeds[static_cast<size_t>(needs)].met(match);
}

const char *to_text(Needs needs) {
  return kNeeds[static_cast<size_t>(needs)].text;
}

const hw::field *KeyPlaces::in(uint64_t key_class) const {
  switch (key_class) {
    case hw::CLASS_IP:
      return ip;
    case hw::CLASS_ARP:
      return arp;
    default:
      return ethernet;
  }
}

std::span<const FieldRow> field_rows() {
  return kRows;
}

std::optional<NamedField> field_named(std::string_view name) {
  for (const FieldRow &row : kRows) {
    for (const Spelling &spelling : row.spellings) {
      if (spelling.name == name) {
        return NamedField{&row, &spelling};
      }
    }
  }
  return std::nullopt;
}

const Spelling &spelling_in(const Match &match, Field field) {
  const auto &spellings = row_of(field).spellings;
  const auto found = std::ranges::find_if(spellings, [&](const Spelling &each) { return met(each.needs, match); });
  return found == spellings.end() ? *std::ranges::find(spellings, row_of(field).needs, &Spelling::needs) : *found;
}

std::span<const Shorthand> shorthands() {
  return kShorthands;
}

const Shorthand *shorthand_named(std::string_view name) {
  return find_shorthand([&](const Shorthand &each) { return each.name == name; });
}

const Shorthand *shorthand_of(const Match &match) {
  return find_shorthand([&](const Shorthand &each) {
    return each.protocol ? is_protocol(match, *each.protocol) : is_type(match, each.ethertype);
  });
}

std::string_view protocol_name(uint64_t protocol) {
  const Shorthand *found = find_shorthand([&](const Shorthand &each) { return each.protocol == protocol; });
  return found == nullptr ? "" : found->name;
}

uint32_t vlan_for_host(uint64_t vlan) {
  return vlan == 0 ? Vlans::kPriorityTagged : static_cast<uint32_t>(vlan);
}

}  // namespace agent
