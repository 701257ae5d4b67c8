// SPDX-License-Identifier: Apache-2.0
#include "host/asic/packet_key.h"

#include "host/asic/protocols.h"
#include "oftab/hw_entry.h"

namespace host::asic {
namespace {

namespace hw = oftab::hw;
using fields = hw::ip_key;

constexpr hw::field kSharedFields[] = {fields::class_, fields::l2lif,  fields::fid, fields::vpn,
                                       fields::mac_sa, fields::mac_da, fields::bd,  fields::vld};

uint8_t class_of(const PacketHeader &packet) {
  if (packet.ethertype == kIpv4) {
    return hw::CLASS_IP;
  }
  return packet.ethertype == kArp ? hw::CLASS_ARP : hw::CLASS_ETHERNET;
}

hw::field ethertype_field(Format format) {
  switch (format) {
    case Format::Ip:
      return hw::ip_key::ethertype;
    case Format::Arp:
      return hw::arp_key::ethertype;
    default:
      return hw::ethernet_key::ethertype;
  }
}

}  // namespace

Format format_of(const Key &key) {
  switch (hw::get(key.data(), fields::class_)) {
    case hw::CLASS_IP:
      return Format::Ip;
    case hw::CLASS_ARP:
      return Format::Arp;
    default:
      return Format::Ethernet;
  }
}

Key reformat(const Key &key, Format from, Format to) {
  if (from == to) {
    return key;
  }
  Key other{};
  for (const hw::field shared : kSharedFields) {
    hw::set(other.data(), shared, hw::get(key.data(), shared));
  }
  hw::set(other.data(), ethertype_field(to), hw::get(key.data(), ethertype_field(from)));
  return other;
}

Key packet_key(const PacketHeader &packet, uint16_t l2lif, uint16_t bd) {
  Key key{};
  hw::set(key.data(), fields::class_, class_of(packet));
  hw::set(key.data(), fields::l2lif, l2lif);
  hw::set(key.data(), fields::mac_sa, hw::mac_number(packet.mac_sa.data()));
  hw::set(key.data(), fields::mac_da, hw::mac_number(packet.mac_da.data()));
  hw::set(key.data(), fields::ip_sa, packet.ip_sa);
  hw::set(key.data(), fields::ip_da, packet.ip_da);
  hw::set(key.data(), fields::proto, packet.proto);
  hw::set(key.data(), fields::dscp, packet.tos);
  hw::set(key.data(), fields::src_port, packet.src_port);
  hw::set(key.data(), fields::dst_port, packet.dst_port);
  hw::set(key.data(), fields::ethertype, packet.ethertype);
  hw::set(key.data(), fields::bd, bd);
  hw::set(key.data(), fields::vld, 1);
  return key;
}

}  // namespace host::asic
