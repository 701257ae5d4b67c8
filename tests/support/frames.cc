// SPDX-License-Identifier: Apache-2.0
#include "tests/support/frames.h"

namespace test {
namespace {

void put(Octets &octets, uint64_t number, int count) {
  while (count-- > 0) {
    octets.push_back(static_cast<uint8_t>(number >> 8 * count));
  }
}

uint16_t checksum_of(Octets octets) {
  octets.resize(octets.size() + octets.size() % 2);
  uint64_t sum = 0;
  for (size_t i = 0; i < octets.size(); i += 2) {
    sum += octets[i] * uint64_t{256} + octets[i + 1];
  }
  while (sum > 0xffff) {
    sum = sum / 0x10000 + sum % 0x10000;
  }
  return static_cast<uint16_t>(0xffff - sum);
}

void put_at(Octets &octets, size_t at, uint16_t number) {
  octets[at] = static_cast<uint8_t>(number / 256);
  octets[at + 1] = static_cast<uint8_t>(number % 256);
}

Octets segment_of(const FrameFields &fields) {
  Octets segment;
  if (fields.is_later_fragment()) {
    return fields.payload;
  }
  const bool icmp = fields.protocol == 1;
  put(segment, fields.tp_src, icmp ? 1 : 2);
  put(segment, fields.tp_dst, icmp ? 1 : 2);
  segment.resize(fields.protocol == 6 ? 20 : 8);
  if (fields.protocol == 17) {
    put_at(segment, 4, static_cast<uint16_t>(8 + fields.payload.size()));
  }
  segment.insert(segment.end(), fields.payload.begin(), fields.payload.end());
  if (fields.has_ports() && !(fields.protocol == 17 && fields.no_checksum)) {
    Octets summed;
    put(summed, fields.nw_src, 4);
    put(summed, fields.nw_dst, 4);
    put(summed, fields.protocol, 2);
    put(summed, segment.size(), 2);
    summed.insert(summed.end(), segment.begin(), segment.end());
    const uint16_t checksum = checksum_of(summed);
    const bool udp = fields.protocol == 17;
    put_at(segment, udp ? 6 : 16, udp && checksum == 0 ? 0xffff : checksum);
  }
  return segment;
}

void put_ipv4(Octets &octets, const FrameFields &fields) {
  const Octets segment = segment_of(fields);
  Octets header;
  put(header, 0x45 + fields.options / 4, 1);
  put(header, fields.tos, 1);
  put(header, 20 + fields.options + segment.size(), 2);
  put(header, 7, 2);
  put(header, fields.fragment, 2);
  put(header, 64, 1);
  put(header, fields.protocol, 1);
  put(header, 0, 2);
  put(header, fields.nw_src, 4);
  put(header, fields.nw_dst, 4);
  header.resize(20 + fields.options, 1);
  put_at(header, 10, checksum_of(header));
  octets.insert(octets.end(), header.begin(), header.end());
  octets.insert(octets.end(), segment.begin(), segment.end());
}

void put_arp(Octets &octets, const FrameFields &fields) {
  put(octets, 0x000108000604, 6);
  put(octets, fields.protocol, 2);
  put(octets, 0x0a0b0c0d0e0f, 6);
  put(octets, fields.nw_src, 4);
  put(octets, 0, 6);
  put(octets, fields.nw_dst, 4);
}

}  // namespace

Octets FrameFields::octets() const {
  Octets octets;
  put(octets, dl_dst, 6);
  put(octets, dl_src, 6);
  if (tag) {
    put(octets, 0x81000000U + *tag, 4);
  }
  put(octets, type, 2);
  if (type == 0x0800) {
    put_ipv4(octets, *this);
  } else if (type == 0x0806) {
    put_arp(octets, *this);
  } else {
    octets.insert(octets.end(), payload.begin(), payload.end());
  }
  octets.resize(octets.size() + padding, 0xee);
  return octets;
}

void FrameFields::apply(const agent::Action &action) {
  using Kind = agent::Action::Kind;
  const auto value = static_cast<uint16_t>(action.value);
  const bool ip = type == 0x0800;
  switch (action.kind) {
    case Kind::SetVlanVid:
      tag = static_cast<uint16_t>((tag.value_or(0) & 0xf000) + value);
      break;
    case Kind::SetVlanPcp:
      tag = static_cast<uint16_t>((tag.value_or(0) & 0x1fff) + value * 0x2000);
      break;
    case Kind::StripVlan:
      tag.reset();
      break;
    case Kind::SetDlSrc:
      dl_src = action.value;
      break;
    case Kind::SetDlDst:
      dl_dst = action.value;
      break;
    case Kind::SetNwSrc:
      nw_src = ip ? static_cast<uint32_t>(action.value) : nw_src;
      break;
    case Kind::SetNwDst:
      nw_dst = ip ? static_cast<uint32_t>(action.value) : nw_dst;
      break;
    case Kind::SetNwTos:
      tos = static_cast<uint8_t>(ip ? (tos & 3) + (value & 0xfc) : tos);
      break;
    case Kind::SetTpSrc:
      tp_src = has_ports() ? value : tp_src;
      break;
    case Kind::SetTpDst:
      tp_dst = has_ports() ? value : tp_dst;
      break;
    default:
      break;
  }
}

}  // namespace test
