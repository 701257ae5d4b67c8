#include "app/syntax/match_syntax.h"

#include <algorithm>
#include <iterator>

#include "app/syntax/field_values.h"

namespace app {

using namespace agent;

namespace {

struct FieldSyntax {
  std::string_view name;
  Field field;
  FieldReader read;
};

constexpr FieldSyntax kFields[] = {
    {"in_port", Field::InPort, read_in_port},
    {"dl_src", Field::DlSrc, read_mac},
    {"dl_dst", Field::DlDst, read_mac},
    {"dl_type", Field::DlType, read_ethertype},
    {"dl_vlan", Field::DlVlan, read_vlan},
    {"nw_src", Field::NwSrc, read_ip},
    {"nw_dst", Field::NwDst, read_ip},
    {"nw_tos", Field::NwTos, read_tos},
    {"nw_proto", Field::NwProto, read_protocol},
    {"tp_src", Field::TpSrc, read_transport_port},
    {"tp_dst", Field::TpDst, read_transport_port},
    {"icmp_type", Field::TpSrc, read_icmp_number},
    {"icmp_code", Field::TpDst, read_icmp_number},
};

struct Shorthand {
  std::string_view name;
  uint16_t ethertype;
  std::optional<uint8_t> protocol;
};

constexpr Shorthand kShorthands[] = {
    {"ip", kIpv4, std::nullopt}, {"arp", kArp, std::nullopt}, {"tcp", kIpv4, kTcp},
    {"udp", kIpv4, kUdp},        {"icmp", kIpv4, kIcmp},
};

// Fields of the standard syntax for which the hardware's keys have no place.
constexpr std::string_view kUnmatchable[] = {
    "dl_vlan_pcp", "vlan_tci", "vlan_vid", "vlan_pcp",   "rarp",    "ipv6",    "tcp6",     "udp6",
    "icmp6",       "ipv6_src", "ipv6_dst", "ipv6_label", "sctp",    "mpls",    "mplsm",    "mpls_label",
    "mpls_tc",     "mpls_bos", "arp_op",   "arp_spa",    "arp_tpa", "arp_sha", "arp_tha",  "nw_ecn",
    "nw_ttl",      "nw_frag",  "ip_frag",  "tcp_flags",  "tun_id",  "tun_src", "tun_dst",  "metadata",
    "nd_target",   "nd_sll",   "nd_tll",   "ct_state",   "ct_zone", "ct_mark", "ct_label", "pkt_mark",
};

// Settings of the standard syntax that flows do not have here.
constexpr std::string_view kUnsupported[] = {
    "cookie",    "table",         "idle_timeout",  "hard_timeout", "importance",       "out_port",
    "out_group", "send_flow_rem", "check_overlap", "reset_counts", "no_packet_counts", "no_byte_counts",
    "duration",  "n_packets",     "n_bytes",       "idle_age",     "hard_age",
};

template <typename Table>
bool contains(const Table &table, std::string_view name) {
  return std::find(std::begin(table), std::end(table), name) != std::end(table);
}

template <typename Row, size_t Count>
const Row *find_named(const Row (&table)[Count], std::string_view name) {
  const auto row = std::find_if(std::begin(table), std::end(table), [&](const Row &each) { return each.name == name; });
  return row == std::end(table) ? nullptr : row;
}

[[noreturn]] void refuse(const Word &name) {
  if (contains(kUnmatchable, name.text)) {
    throw TextError(name.column, "the hardware cannot match " + quoted(name));
  }
  if (contains(kUnsupported, name.text)) {
    throw TextError(name.column, quoted(name) + " is not supported");
  }
  throw TextError(name.column, "unknown field " + quoted(name));
}

bool is_exactly(const Masked &field, uint64_t value) {
  return field.mask != 0 && field.value == value;
}

}  // namespace

std::vector<SplitWord> split_items(std::string_view text, size_t column) {
  constexpr std::string_view separators = ", \t\r\n";
  std::vector<SplitWord> items;
  for (size_t at = text.find_first_not_of(separators); at != std::string_view::npos;) {
    const size_t end = std::min(text.find_first_of(separators, at), text.size());
    items.push_back(split_at({text.substr(at, end - at), column + at}, '='));
    at = text.find_first_not_of(separators, end);
  }
  return items;
}

const Word &value_of(const SplitWord &item) {
  if (!item.behind || item.behind->text.empty()) {
    throw TextError(item.before.column, quoted(item.before) + " needs a value");
  }
  return *item.behind;
}

bool is_shorthand(std::string_view word) {
  return find_named(kShorthands, word) != nullptr;
}

void MatchReader::take(const SplitWord &item) {
  if (!take_shorthand(item) && !take_field(item)) {
    refuse(item.before);
  }
}

bool MatchReader::take_shorthand(const SplitWord &item) {
  const Shorthand *shorthand = find_named(kShorthands, item.before.text);
  if (shorthand == nullptr) {
    return false;
  }
  if (item.behind) {
    throw TextError(item.before.column, quoted(item.before) + " takes no value");
  }
  set(Field::DlType, {shorthand->ethertype, kExactEthertype}, item.before);
  if (shorthand->protocol) {
    set(Field::NwProto, {*shorthand->protocol, kExactProtocol}, item.before);
  }
  return true;
}

bool MatchReader::take_field(const SplitWord &item) {
  const FieldSyntax *syntax = find_named(kFields, item.before.text);
  if (syntax == nullptr) {
    return false;
  }
  set(syntax->field, syntax->read(value_of(item), interfaces_), item.before);
  return true;
}

void MatchReader::note_once(const std::string &name, const Word &word) {
  const auto [before, first] = names_.emplace(name, word);
  if (!first) {
    throw TextError(word.column,
                    concat(quoted(word), " is given twice (before at column ", before->second.column, ")"));
  }
}

void MatchReader::set(Field field, Masked masked, const Word &word) {
  const auto [before, first] = given_.emplace(field, word);
  if (!first) {
    throw TextError(word.column,
                    concat(quoted(word), " repeats ", quoted(before->second), " at column ", before->second.column));
  }
  match_[field] = masked;
}

Match MatchReader::finish() const {
  check_network_fields();
  check_transport_fields();
  return match_;
}

void MatchReader::check_network_fields() const {
  const Masked &type = match_[Field::DlType];
  if (is_exactly(type, kIpv4)) {
    return;
  }
  for (const Field field : {Field::NwSrc, Field::NwDst, Field::NwTos, Field::NwProto}) {
    if (const auto place = given_.find(field); place != given_.end()) {
      const std::string name = quoted(place->second);
      throw TextError(place->second.column, is_exactly(type, kArp)
                                                ? concat("the hardware cannot match ", name, " in ARP packets")
                                                : name + " needs IPv4: ip, tcp, udp, icmp or dl_type=0x0800");
    }
  }
}

void MatchReader::check_transport_fields() const {
  const Masked &protocol = match_[Field::NwProto];
  const bool icmp = is_exactly(protocol, kIcmp);
  const bool has_ports = is_exactly(protocol, kTcp) || is_exactly(protocol, kUdp);
  for (const Field field : {Field::TpSrc, Field::TpDst}) {
    const auto place = given_.find(field);
    if (place == given_.end()) {
      continue;
    }
    const Word &name = place->second;
    const bool icmp_name = name.text.starts_with("icmp");
    if (icmp_name ? !icmp : !icmp && !has_ports) {
      throw TextError(name.column, concat(quoted(name), " needs ", icmp_name ? "icmp" : "tcp, udp or icmp"));
    }
    if (icmp && match_[field].value > 255) {
      throw TextError(name.column, "an ICMP type or code is a number from 0 to 255");
    }
  }
}

}  // namespace app
