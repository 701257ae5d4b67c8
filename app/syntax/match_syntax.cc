#include "app/syntax/match_syntax.h"

#include <algorithm>
#include <iterator>

namespace app {

using namespace agent;

namespace {

// Fields of the standard syntax for which the hardware's keys have no place.
constexpr std::string_view kUnmatchable[] = {
    "vlan_tci",   "vlan_vid",   "tcp6",    "udp6",      "sctp6",   "icmp6",   "ipv6_src", "ipv6_dst",
    "ipv6_label", "mpls_label", "mpls_tc", "mpls_bos",  "arp_sha", "arp_tha", "nw_ecn",   "ip_ecn",
    "nw_ttl",     "nw_frag",    "ip_frag", "tcp_flags", "tun_id",  "tun_src", "tun_dst",  "metadata",
    "nd_target",  "nd_sll",     "nd_tll",  "ct_state",  "ct_zone", "ct_mark", "ct_label", "pkt_mark",
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

[[noreturn]] void refuse(const Word &name) {
  if (contains(kUnmatchable, name.text)) {
    throw TextError(name.column, "the hardware cannot match " + quoted(name));
  }
  if (contains(kUnsupported, name.text)) {
    throw TextError(name.column, quoted(name) + " is not supported");
  }
  throw TextError(name.column, "unknown field " + quoted(name));
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

void MatchReader::take(const SplitWord &item) {
  if (!take_shorthand(item) && !take_field(item)) {
    refuse(item.before);
  }
}

bool MatchReader::take_shorthand(const SplitWord &item) {
  const Shorthand *shorthand = shorthand_named(item.before.text);
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
  const auto named = field_named(item.before.text);
  if (!named) {
    return false;
  }
  const Field field = named->row->field;
  set(field, named->spelling->read(value_of(item), interfaces_), item.before);
  spellings_.emplace(field, named->spelling);
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
  for (const auto &[field, spelling] : spellings_) {
    const Word &word = given_.at(field);
    if (!met(spelling->needs, match_)) {
      throw TextError(word.column, concat(quoted(word), " needs ", to_text(spelling->needs)));
    }
  }
  check_icmp_numbers();
  return match_;
}

void MatchReader::check_icmp_numbers() const {
  for (const Field field : {Field::TpSrc, Field::TpDst}) {
    if (met(Needs::Icmp, match_) && match_[field].value > 255) {
      throw TextError(given_.at(field).column, "an ICMP type or code is a number from 0 to 255");
    }
  }
}

Word MatchReader::place_of(Field field) const {
  const auto place = given_.find(field);
  return place == given_.end() ? Word{} : place->second;
}

}  // namespace app
