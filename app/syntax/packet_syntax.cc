#include "app/syntax/packet_syntax.h"

#include <algorithm>

#include "agent/flow.h"
#include "app/syntax/match_syntax.h"

namespace app {

using namespace agent;

namespace {

using host::asic::Mac;
using host::asic::PacketHeader;
using host::services::Interfaces;

constexpr uint64_t kShortest = 14;  // an Ethernet header
constexpr uint64_t kLongest = 65535;
constexpr uint16_t k802Dot3 = 0x05FF;  // a frame with a length in place of an ethertype

uint64_t to_number(const Mac &address) {
  uint64_t number = 0;
  for (const uint8_t octet : address) {
    number = number << 8 | octet;
  }
  return number;
}

PacketHeader header_from(const Match &match) {
  const auto value = [&](Field field) { return match[field].value; };
  PacketHeader header;
  header.mac_sa = mac_octets(value(Field::DlSrc));
  header.mac_da = mac_octets(value(Field::DlDst));
  header.ethertype = static_cast<uint16_t>(value(Field::DlType));
  if (match[Field::DlVlan].mask != 0) {
    header.vlan = static_cast<uint16_t>(value(Field::DlVlan));
  }
  header.ip_sa = static_cast<uint32_t>(value(Field::NwSrc));
  header.ip_da = static_cast<uint32_t>(value(Field::NwDst));
  header.tos = static_cast<uint8_t>(value(Field::NwTos));
  header.proto = static_cast<uint8_t>(value(Field::NwProto));
  header.src_port = static_cast<uint16_t>(value(Field::TpSrc));
  header.dst_port = static_cast<uint16_t>(value(Field::TpDst));
  header.length = 64;
  return header;
}

void refuse_mask(const SplitWord &item) {
  if (item.behind && item.before.text != "in_port" && item.behind->text.find('/') != std::string_view::npos) {
    throw TextError(item.behind->column, "a packet has one value in each field: no mask");
  }
}

std::string protocol_text(uint8_t protocol) {
  const char *name = protocol_name(protocol);
  return name == nullptr ? concat("ip protocol ", protocol) : name;
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
  return concat(mac_text(to_number(packet.mac_sa)), " > ", mac_text(to_number(packet.mac_da)), " ",
                ethertype_text(packet.ethertype));
}

}  // namespace

DescribedPacket parse_packet(std::string_view line, size_t start, const Interfaces &interfaces) {
  line = without_comment(line);
  start = std::min(start, line.size());
  DescribedPacket packet;
  MatchReader reader(interfaces);
  size_t length = 0;
  for (const SplitWord &item : split_items(line.substr(start), start + 1)) {
    if (item.before.text == "len") {
      reader.note_once(item);
      length = number_in(value_of(item), kShortest, kLongest, "a length");
      continue;
    }
    refuse_mask(item);
    reader.take(item);
  }
  const Match match = reader.finish();
  packet.header = header_from(match);
  packet.header.length = length == 0 ? packet.header.length : length;
  if (match[Field::InPort].mask != 0) {
    packet.ifindex = static_cast<uint32_t>(match[Field::InPort].value);
  }
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
