// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/packet_syntax.h"

#include <algorithm>

#include "agent/interface_names.h"
#include "app/syntax/match_syntax.h"

namespace app {

using namespace agent;

namespace {

using host::asic::PacketHeader;
using host::services::Interfaces;

constexpr uint64_t kShortest = 14;  // an Ethernet header
constexpr uint64_t kLongest = 65535;
constexpr uint16_t k802Dot3 = 0x05FF;  // a frame with a length in place of an ethertype

Packet packet_from(const Match &match) {
  Packet packet;
  packet.ifindex = Interfaces::port_ifindex(0);
  packet.header.length = 64;
  for (const FieldRow &row : field_rows()) {
    if (const Masked &field = match[row.field]; field.mask != 0) {
      row.to_packet(packet, field.value);
    }
  }
  return packet;
}

void refuse_mask(const Item &item) {
  if (item.argument && item.name.text != "in_port" && item.argument->text.find('/') != std::string_view::npos) {
    throw TextError(item.argument->column, "a packet has one value in each field: no mask");
  }
}

// Flows can name ports that are not there and numbers that no tag has; packets have none of them.
void refuse_impossible(const Item &item, const Interfaces &interfaces) {
  const auto named = field_named(item.name.text);
  if (!named || !item.argument || item.argument->text == "*") {
    return;
  }
  if (named->row->field == Field::InPort) {
    if (is_reserved_port(port_or_reserved(*item.argument, interfaces))) {
      throw TextError(item.argument->column,
                      concat("a packet comes in on a port or a port channel, not ", quoted(*item.argument)));
    }
  } else if (item.name.text == "dl_vlan" && read_number(item.argument->text) != kUntagged) {
    number_in(*item.argument, 0, 4095, "dl_vlan");
  }
}

std::string protocol_text(uint8_t protocol) {
  const std::string_view name = protocol_name(protocol);
  return name.empty() ? concat("ip protocol ", protocol) : std::string(name);
}

std::string ipv4_text(const PacketHeader &packet) {
  const bool ports = packet.proto == kTcp || packet.proto == kUdp;
  const auto end_text = [&](uint32_t address, uint16_t port) {
    return ports ? concat(ip_text(address), ":", port) : ip_text(address);
  };
  return concat(end_text(packet.ip_sa, packet.src_port), " > ", end_text(packet.ip_da, packet.dst_port), " ",
                protocol_text(packet.proto));
}

std::string ethertype_text(uint16_t ethertype) {
  switch (ethertype) {
    case kArp:
      return "arp";
    case kIpv6:
      return "ipv6";
    case k802Dot3:
      return "802.3";
    default:
      return concat("type ", hex(ethertype, 4));
  }
}

std::string ethernet_text(const PacketHeader &packet) {
  return concat(mac_text(mac_address(packet.mac_sa)), " > ", mac_text(mac_address(packet.mac_da)), " ",
                ethertype_text(packet.ethertype));
}

}  // namespace

Packet parse_packet(std::string_view line, size_t start, const Interfaces &interfaces) {
  line = without_comment(line);
  start = std::min(start, line.size());
  MatchReader reader;
  size_t length = 0;
  for (const Item &item : split_items({line.substr(start), start + 1})) {
    if (item.name.text == "len") {
      length = number_in(argument_of(item), kShortest, kLongest, "a length");
      continue;
    }
    refuse_mask(item);
    refuse_impossible(item, interfaces);
    if (!reader.take(item)) {
      refuse_field(item.name, match_words());
    }
  }
  Packet packet = packet_from(reader.finish());
  packet.header.length = length == 0 ? packet.header.length : length;
  return packet;
}

std::string to_text(const PacketHeader &packet) {
  std::string text = packet.ethertype == kIpv4 ? ipv4_text(packet) : ethernet_text(packet);
  if (packet.vlan) {
    text += concat(" vlan ", *packet.vlan);
  }
  return concat(text, " length ", packet.length);
}

}  // namespace app
