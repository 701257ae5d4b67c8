// SPDX-License-Identifier: Apache-2.0
#include "agent/rewriting.h"

#include <algorithm>
#include <optional>

#include "agent/field_values.h"
#include "host/asic/packet.h"

namespace agent {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kTagAt = 12;  // behind the addresses
constexpr size_t kTagSize = 4;
constexpr size_t kTypeSize = 2;
constexpr uint16_t kVlanId = 0x0fff;
constexpr uint16_t kVlanPriority = 0xe000;
constexpr unsigned kVlanPriorityShift = 13;

uint16_t word_at(const Bytes &bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

void put_word(Bytes &bytes, size_t at, uint16_t word) {
  bytes[at] = static_cast<uint8_t>(word >> 8);
  bytes[at + 1] = static_cast<uint8_t>(word);
}

// The sum in one's complement of what summed up to `sum` when `to` stood where `from` did.
uint16_t updated_sum(uint16_t sum, uint16_t from, uint16_t to) {
  uint32_t wide = sum + static_cast<uint16_t>(~from) + uint32_t{to};
  wide = (wide & 0xffffU) + (wide >> 16);
  return static_cast<uint16_t>((wide & 0xffffU) + (wide >> 16));
}

// A checksum is the complement of the sum.
uint16_t updated_checksum(uint16_t checksum, uint16_t from, uint16_t to) {
  return static_cast<uint16_t>(~updated_sum(static_cast<uint16_t>(~checksum), from, to));
}

// --- Ethernet ---

bool has_tag(const Bytes &frame) {
  if (frame.size() < kTagAt + kTypeSize) {
    return false;
  }
  const uint16_t type = word_at(frame, kTagAt);
  return type == kVlanTag || type == kServiceTag;
}

// Not for a frame that ends before its type, or within its tag.
void set_in_tag(Bytes &frame, uint16_t mask, uint64_t bits) {
  if (frame.size() < kTagAt + (has_tag(frame) ? kTagSize : kTypeSize)) {
    return;
  }
  if (!has_tag(frame)) {
    frame.insert(frame.begin() + kTagAt, kTagSize, uint8_t{0});
    put_word(frame, kTagAt, kVlanTag);
  }
  const uint16_t tag = word_at(frame, kTagAt + kTypeSize);
  put_word(frame, kTagAt + kTypeSize, static_cast<uint16_t>((tag & ~mask) | (bits & mask)));
}

void strip_tag(Bytes &frame) {
  if (has_tag(frame) && frame.size() >= kTagAt + kTagSize + kTypeSize) {
    frame.erase(frame.begin() + kTagAt, frame.begin() + kTagAt + kTagSize);
  }
}

void set_address(Bytes &frame, size_t at, uint64_t address) {
  const auto octets = mac_octets(address);
  if (frame.size() >= at + octets.size()) {
    std::ranges::copy(octets, frame.begin() + static_cast<Bytes::difference_type>(at));
  }
}

// --- IPv4 ---

// A packet of IPv4 within a frame, whose header is there whole.
class Ipv4 {
 public:
  static std::optional<Ipv4> in(Bytes &frame, TransportChecksum checksum);

  void set_type_of_service(uint8_t bits);
  void set_address(size_t at, uint32_t address);
  void set_port(size_t at, uint16_t port);

 private:
  static constexpr size_t kShortest = 20;
  static constexpr size_t kChecksum = 10;

  Ipv4(Bytes &frame, size_t start, TransportChecksum checksum) : frame_(frame), start_(start), checksum_(checksum) {}

  size_t header_length() const { return (frame_[start_] & 0x0fU) * size_t{4}; }
  bool is_whole() const;
  std::optional<size_t> transport_checksum() const;
  void set_word(size_t at, uint16_t word);
  void cover(size_t transport_checksum, uint16_t from, uint16_t to);

  Bytes &frame_;
  size_t start_;
  TransportChecksum checksum_;
};

std::optional<Ipv4> Ipv4::in(Bytes &frame, TransportChecksum checksum) {
  const host::asic::PacketHeader header = host::asic::parse_frame(frame, frame.size());
  if (header.ethertype != kIpv4 || frame.size() < header.payload_at + kShortest) {
    return std::nullopt;
  }
  const Ipv4 packet(frame, header.payload_at, checksum);
  return packet.is_whole() ? std::optional(packet) : std::nullopt;
}

bool Ipv4::is_whole() const {
  const size_t total = word_at(frame_, start_ + 2);
  return frame_[start_] >> 4 == 4 && header_length() >= kShortest && total >= header_length() &&
         frame_.size() >= start_ + header_length();
}

// Where the checksum of TCP or UDP is; nowhere in later fragments, and where the packet ends before it.
std::optional<size_t> Ipv4::transport_checksum() const {
  const uint8_t protocol = frame_[start_ + 9];
  const bool later_fragment = (word_at(frame_, start_ + 6) & 0x1fffU) != 0;
  if (later_fragment || (protocol != kTcp && protocol != kUdp)) {
    return std::nullopt;
  }
  const size_t at = start_ + header_length() + (protocol == kTcp ? 16 : 6);
  const size_t end = std::min(frame_.size(), start_ + word_at(frame_, start_ + 2));
  return at + 2 <= end ? std::optional(at) : std::nullopt;
}

// A word of the header.
void Ipv4::set_word(size_t at, uint16_t word) {
  const uint16_t before = word_at(frame_, start_ + at);
  const uint16_t checksum = word_at(frame_, start_ + kChecksum);
  put_word(frame_, start_ + at, word);
  put_word(frame_, start_ + kChecksum, updated_checksum(checksum, before, word));
}

// UDP has packets without checksum, which say 0; a checksum of 0 is written as its other form.
void Ipv4::cover(size_t transport_checksum, uint16_t from, uint16_t to) {
  const bool udp = frame_[start_ + 9] == kUdp;
  const uint16_t before = word_at(frame_, transport_checksum);
  if (checksum_ == TransportChecksum::Due) {
    return put_word(frame_, transport_checksum, updated_sum(before, from, to));
  }
  if (udp && before == 0) {
    return;
  }
  const uint16_t checksum = updated_checksum(before, from, to);
  put_word(frame_, transport_checksum, udp && checksum == 0 ? uint16_t{0xffff} : checksum);
}

// The lower two bits tell of congestion, and stay.
void Ipv4::set_type_of_service(uint8_t bits) {
  const uint16_t word = word_at(frame_, start_);
  set_word(0, static_cast<uint16_t>((word & ~kExactTos) | (bits & kExactTos)));
}

void Ipv4::set_address(size_t at, uint32_t address) {
  const auto transport = transport_checksum();
  for (const size_t half : {size_t{0}, size_t{2}}) {
    const uint16_t before = word_at(frame_, start_ + at + half);
    const auto word = static_cast<uint16_t>(half == 0 ? address >> 16 : address);
    set_word(at + half, word);
    if (transport) {
      cover(*transport, before, word);
    }
  }
}

void Ipv4::set_port(size_t at, uint16_t port) {
  const auto transport = transport_checksum();
  if (!transport) {
    return;
  }
  const size_t where = start_ + header_length() + at;
  const uint16_t before = word_at(frame_, where);
  put_word(frame_, where, port);
  if (checksum_ == TransportChecksum::Complete) {
    cover(*transport, before, port);
  }
}

template <typename Change>
void change_ipv4(Bytes &frame, TransportChecksum checksum, Change change) {
  if (auto packet = Ipv4::in(frame, checksum)) {
    change(*packet);
  }
}

}  // namespace

void rewrite(Bytes &frame, const Action &action, TransportChecksum checksum) {
  using Kind = Action::Kind;
  const auto number = static_cast<uint32_t>(action.value);
  const auto set_ip = [&](size_t at) { change_ipv4(frame, checksum, [&](Ipv4 &ip) { ip.set_address(at, number); }); };
  const auto set_port = [&](size_t at) {
    change_ipv4(frame, checksum, [&](Ipv4 &ip) { ip.set_port(at, static_cast<uint16_t>(number)); });
  };
  switch (action.kind) {
    case Kind::SetVlanVid:
      return set_in_tag(frame, kVlanId, action.value);
    case Kind::SetVlanPcp:
      return set_in_tag(frame, kVlanPriority, action.value << kVlanPriorityShift);
    case Kind::StripVlan:
      return strip_tag(frame);
    case Kind::SetDlSrc:
      return set_address(frame, 6, action.value);
    case Kind::SetDlDst:
      return set_address(frame, 0, action.value);
    case Kind::SetNwSrc:
      return set_ip(12);
    case Kind::SetNwDst:
      return set_ip(16);
    case Kind::SetNwTos:
      return change_ipv4(frame, checksum, [&](Ipv4 &ip) { ip.set_type_of_service(static_cast<uint8_t>(number)); });
    case Kind::SetTpSrc:
      return set_port(0);
    case Kind::SetTpDst:
      return set_port(2);
    case Kind::Output:
    case Kind::Enqueue:
    case Kind::kCount:
      return;
  }
}

}  // namespace agent
