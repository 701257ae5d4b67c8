#include "host/asic/packet_key.h"

#include <cstring>

#include "oftab/hw_entry.h"
#include "platform/asic_sdk.h"

namespace host::asic {
namespace {

namespace hw = oftab::hw;

constexpr uint16_t kIpv4 = 0x0800;
constexpr uint16_t kArp = 0x0806;

using Key = std::array<uint8_t, TCAM_KEY_SIZE>;

uint8_t class_of(const PacketHeader &packet) {
  if (packet.ethertype == kIpv4) {
    return hw::CLASS_IP;
  }
  return packet.ethertype == kArp ? hw::CLASS_ARP : hw::CLASS_ETHERNET;
}

// What stands at the same place in every format.
Key common_key(const PacketHeader &packet, uint16_t l2lif, uint16_t bd) {
  using fields = hw::ethernet_key;
  Key key{};
  hw::set(key.data(), fields::class_, class_of(packet));
  hw::set(key.data(), fields::l2lif, l2lif);
  hw::set(key.data(), fields::mac_sa, hw::mac_number(packet.mac_sa.data()));
  hw::set(key.data(), fields::mac_da, hw::mac_number(packet.mac_da.data()));
  hw::set(key.data(), fields::bd, bd);
  hw::set(key.data(), fields::vld, 1);
  return key;
}

void add_ip_fields(Key &key, const PacketHeader &packet) {
  using fields = hw::ip_key;
  hw::set(key.data(), fields::ip_sa, packet.ip_sa);
  hw::set(key.data(), fields::ip_da, packet.ip_da);
  hw::set(key.data(), fields::proto, packet.proto);
  hw::set(key.data(), fields::dscp, packet.tos);
  hw::set(key.data(), fields::src_port, packet.src_port);
  hw::set(key.data(), fields::dst_port, packet.dst_port);
}

KeyWords with_ethertype(Key key, hw::field where, uint16_t ethertype) {
  hw::set(key.data(), where, ethertype);
  return to_words(key);
}

}  // namespace

KeyWords to_words(std::span<const uint8_t> part) {
  KeyWords words{};
  memcpy(words.data(), part.data(), part.size());
  return words;
}

Format format_of(std::span<const uint8_t> key) {
  switch (hw::get(key.data(), hw::ip_key::class_)) {
    case hw::CLASS_IP:
      return kIpFormat;
    case hw::CLASS_ARP:
      return kArpFormat;
    default:
      return kEthernetFormat;
  }
}

PacketKeys::PacketKeys(const PacketHeader &packet, uint16_t l2lif, uint16_t bd) {
  Key key = common_key(packet, l2lif, bd);
  keys_[kArpFormat] = with_ethertype(key, hw::arp_key::ethertype, packet.ethertype);
  keys_[kEthernetFormat] = with_ethertype(key, hw::ethernet_key::ethertype, packet.ethertype);
  add_ip_fields(key, packet);
  keys_[kIpFormat] = with_ethertype(key, hw::ip_key::ethertype, packet.ethertype);
}

}  // namespace host::asic
