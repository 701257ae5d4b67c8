#include "app/syntax/field_values.h"

#include <algorithm>
#include <charconv>

#include "agent/interface_names.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

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

uint64_t mac_address(const Word &word) {
  if (const auto address = read_parts(word.text, 6, ':', 16, 8)) {
    return *address;
  }
  throw TextError(word.column, "a MAC address has the form 00:11:22:33:44:55, not " + quoted(word));
}

uint64_t ip_address(const Word &word) {
  if (const auto address = read_parts(word.text, 4, '.', 10, 8)) {
    return *address;
  }
  throw TextError(word.column, "an IPv4 address has the form 10.0.0.1, not " + quoted(word));
}

uint64_t ip_mask_bits(const Word &word) {
  if (word.text.find('.') != std::string_view::npos) {
    return ip_address(word);
  }
  const uint64_t length = number_in(word, 0, 32, "a prefix length");
  return kExactIp << (32 - length) & kExactIp;
}

// The key has 16 bits for each of these numbers.
Masked masked_number(const Word &word, uint64_t highest, const std::string &what) {
  const SplitWord parts = split_at(word, '/');
  return {number_in(parts.before, 0, highest, what),
          parts.behind ? number_in(*parts.behind, 0, kExactPort, what + "'s mask") : kExactPort};
}

}  // namespace

Masked read_in_port(const Word &value, const Interfaces &interfaces) {
  return {interface_named(value, interfaces), kExactIfindex};
}

Masked read_mac(const Word &value, const Interfaces &) {
  const SplitWord parts = split_at(value, '/');
  return {mac_address(parts.before), parts.behind ? mac_address(*parts.behind) : kExactMac};
}

Masked read_ip(const Word &value, const Interfaces &) {
  const SplitWord parts = split_at(value, '/');
  return {ip_address(parts.before), parts.behind ? ip_mask_bits(*parts.behind) : kExactIp};
}

Masked read_ethertype(const Word &value, const Interfaces &) {
  return {number_in(value, 0, 0xFFFF, "dl_type"), kExactEthertype};
}

Masked read_vlan(const Word &value, const Interfaces &) {
  if (read_number(value.text) == 0xFFFF) {
    throw TextError(value.column, "dl_vlan=0xffff: the hardware cannot match untagged packets only");
  }
  return {number_in(value, 1, 4094, "dl_vlan"), kExactVlan};
}

Masked read_tos(const Word &value, const Interfaces &) {
  return {number_in(value, 0, 255, "nw_tos"), kExactTos};
}

Masked read_protocol(const Word &value, const Interfaces &) {
  return {number_in(value, 0, 255, "nw_proto"), kExactProtocol};
}

Masked read_transport_port(const Word &value, const Interfaces &) {
  return masked_number(value, 0xFFFF, "a transport port");
}

Masked read_icmp_number(const Word &value, const Interfaces &) {
  return masked_number(value, 0xFF, "an ICMP type or code");
}

}  // namespace app
