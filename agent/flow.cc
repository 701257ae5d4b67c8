#include "agent/flow.h"

#include <bit>
#include <cstdio>
#include <initializer_list>
#include <span>

#include "agent/interface_names.h"
#include "agent/text.h"

namespace agent {
namespace {

std::string port_text(const Masked &field) {
  return interface_name(static_cast<uint32_t>(field.value));
}

std::string masked_mac_text(const Masked &field) {
  return field.mask == kExactMac ? mac_text(field.value) : concat(mac_text(field.value), "/", mac_text(field.mask));
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

std::string hex_text(const Masked &field) {
  return hex(field.value, 4);
}

std::string number_text(const Masked &field) {
  return std::to_string(field.value);
}

std::string masked_number_text(const Masked &field) {
  return field.mask == kExactPort ? number_text(field) : concat(hex(field.value, 4), "/", hex(field.mask, 4));
}

struct Printer {
  Field field;
  const char *name;
  std::string (*text)(const Masked &field);
};

constexpr Printer kPrinters[] = {
    {Field::InPort, "in_port", port_text},          {Field::DlVlan, "dl_vlan", number_text},
    {Field::DlVlanPcp, "dl_vlan_pcp", number_text}, {Field::DlSrc, "dl_src", masked_mac_text},
    {Field::DlDst, "dl_dst", masked_mac_text},      {Field::DlType, "dl_type", hex_text},
    {Field::NwSrc, "nw_src", masked_ip_text},       {Field::NwDst, "nw_dst", masked_ip_text},
    {Field::NwTos, "nw_tos", number_text},          {Field::NwProto, "nw_proto", number_text},
    {Field::TpSrc, "tp_src", masked_number_text},   {Field::TpDst, "tp_dst", masked_number_text},
};

// ICMP type and code stand where TCP and UDP have their ports.
constexpr Printer kIcmpPrinters[] = {
    {Field::TpSrc, "icmp_type", masked_number_text},
    {Field::TpDst, "icmp_code", masked_number_text},
};

// Replaces ethertype and protocol by their shorthand, which it returns; empty when there is none.
std::string take_shorthand(Match &match) {
  Masked &type = match[Field::DlType];
  Masked &protocol = match[Field::NwProto];
  if (type == Masked{kArp, kExactEthertype}) {
    type = {};
    return "arp";
  }
  if (type != Masked{kIpv4, kExactEthertype}) {
    return "";
  }
  type = {};
  const char *name = protocol.mask == 0 ? nullptr : protocol_name(protocol.value);
  if (name == nullptr) {
    return "ip";
  }
  protocol = {};
  return name;
}

void append(std::string &list, const std::string &item) {
  list += concat(list.empty() ? "" : ",", item);
}

void print_fields(std::string &text, Match &match, std::span<const Printer> printers) {
  for (const Printer &printer : printers) {
    Masked &field = match[printer.field];
    if (field.mask != 0) {
      append(text, concat(printer.name, "=", printer.text(field)));
      field = {};
    }
  }
}

}  // namespace

const char *protocol_name(uint64_t protocol) {
  switch (protocol) {
    case kIcmp:
      return "icmp";
    case kTcp:
      return "tcp";
    case kUdp:
      return "udp";
    default:
      return nullptr;
  }
}

Match normalised(Match match) {
  const Masked type = match[Field::DlType];
  const bool ip = type == Masked{kIpv4, kExactEthertype};
  const bool arp = type == Masked{kArp, kExactEthertype};
  const Masked protocol = match[Field::NwProto];
  const bool has_ports = ip && protocol.mask == kExactProtocol && protocol_name(protocol.value) != nullptr;
  const auto keep = [&](std::initializer_list<Field> fields, bool kept) {
    for (const Field field : fields) {
      match[field].mask &= kept ? ~uint64_t{0} : 0;
    }
  };
  keep({Field::NwSrc, Field::NwDst, Field::NwProto}, ip || arp);
  keep({Field::NwTos}, ip);
  keep({Field::TpSrc, Field::TpDst}, has_ports);
  keep({Field::DlVlanPcp}, match[Field::DlVlan] != Masked{kUntagged, kExactVlan});
  for (Masked &field : match.fields) {
    field.value &= field.mask;
  }
  return match;
}

bool covers(const Match &outer, const Match &inner) {
  for (size_t i = 0; i < outer.fields.size(); ++i) {
    const Masked &out = outer.fields[i];
    const Masked &in = inner.fields[i];
    if ((in.mask & out.mask) != out.mask || ((in.value ^ out.value) & out.mask) != 0) {
      return false;
    }
  }
  return true;
}

std::string to_text(const Match &match) {
  Match rest = match;
  std::string text = take_shorthand(rest);
  std::string ports;
  if (text == "icmp") {
    print_fields(ports, rest, kIcmpPrinters);
  }
  print_fields(text, rest, kPrinters);
  if (!ports.empty()) {
    append(text, ports);
  }
  return text.empty() ? "any" : text;
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

std::string mac_text(uint64_t address) {
  const auto octets = mac_octets(address);
  char text[18];
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1], octets[2], octets[3],
                octets[4], octets[5]);
  return text;
}

}  // namespace agent
