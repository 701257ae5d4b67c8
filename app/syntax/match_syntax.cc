// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/match_syntax.h"

#include <algorithm>
#include <iterator>

#include "app/syntax/suggestion.h"

namespace app {

using namespace agent;

namespace {

// Fields of later versions and of extensions.
constexpr std::string_view kLater[] = {
    "tcp6",        "udp6",      "sctp6",   "icmp6",     "ipv6_src",     "ipv6_dst",    "ipv6_label", "icmpv6_type",
    "icmpv6_code", "nd_sll",    "nd_tll",  "nd_target", "mpls_label",   "mpls_tc",     "mpls_bos",   "mpls_ttl",
    "arp_sha",     "arp_tha",   "nw_ecn",  "ip_ecn",    "nw_ttl",       "nw_frag",     "ip_frag",    "tcp_flags",
    "tun_id",      "tun_src",   "tun_dst", "metadata",  "ct_state",     "ct_zone",     "ct_mark",    "ct_label",
    "pkt_mark",    "recirc_id", "dp_hash", "conj_id",   "skb_priority", "packet_type",
};

// "reg0", "xreg1", "xxreg2".
bool is_register(std::string_view name) {
  name.remove_prefix(std::min(name.find_first_not_of('x'), name.size()));
  return name.starts_with("reg") && read_number(name.substr(3));
}

}  // namespace

std::set<std::string> match_words() {
  std::set<std::string> words;
  for (const Shorthand &shorthand : shorthands()) {
    words.emplace(shorthand.name);
  }
  for (const FieldRow &row : field_rows()) {
    for (const Spelling &spelling : row.spellings) {
      words.insert(concat(spelling.name, "="));
    }
  }
  return words;
}

void refuse_field(const Word &name, const std::set<std::string> &words) {
  if (is_register(name.text) || std::ranges::find(kLater, name.text) != std::end(kLater)) {
    throw TextError(name.column, concat("OpenFlow 1.0 cannot match ", quoted(name)));
  }
  const char *what = name.text.starts_with('-') ? "unknown option " : "unknown field ";
  throw TextError(name.column, concat(what, quoted(name), suggestion(name.text, words)));
}

bool MatchReader::take(const Item &item) {
  return take_shorthand(item) || take_field(item);
}

bool MatchReader::take_shorthand(const Item &item) {
  const Shorthand *shorthand = shorthand_named(item.name.text);
  if (shorthand == nullptr) {
    return false;
  }
  if (item.argument) {
    throw TextError(item.name.column, quoted(item.name) + " takes no value");
  }
  set(Field::DlType, {shorthand->ethertype, kExactEthertype}, {item.name, Needs::Nothing});
  if (shorthand->protocol) {
    set(Field::NwProto, {*shorthand->protocol, kExactProtocol}, {item.name, Needs::Nothing});
  }
  return true;
}

// "vlan_tci=0x3005" is all of a tag, which two fields have parts of. False when it says anything else.
bool MatchReader::take_tag(const Item &item) {
  constexpr uint64_t present = 0x1000;
  constexpr uint64_t all = 0xFFFF;
  const SplitWord parts = split_at(item.argument.value_or(Word{}), '/');
  const uint64_t tag = read_number(parts.before.text).value_or(0);
  const bool whole = !parts.behind || read_number(parts.behind->text) == all;
  if (item.name.text != "vlan_tci" || !whole || tag > all || (tag & present) == 0) {
    return false;
  }
  set(Field::DlVlan, {tag & 0xFFF, kExactVlan}, {item.name, Needs::Nothing});
  set(Field::DlVlanPcp, {tag >> 13, kExactVlanPcp}, {item.name, Needs::Tag});
  return true;
}

bool MatchReader::take_field(const Item &item) {
  if (take_tag(item)) {
    return true;
  }
  const auto named = field_named(item.name.text);
  if (!named) {
    return false;
  }
  if (const Word &value = argument_of(item); value.text != "*") {
    set(named->row->field, named->spelling->read(value), {item.name, named->spelling->needs});
  }
  return true;
}

void MatchReader::set(Field field, Masked masked, const Given &given) {
  auto [before, first] = given_.emplace(field, given);
  if (!first && match_[field] != masked) {
    const Word &word = before->second.word;
    throw TextError(given.word.column,
                    concat(quoted(given.word), " contradicts ", quoted(word), " at column ", word.column));
  }
  if (before->second.needs == Needs::Nothing) {
    before->second = given;
  }
  match_[field] = masked;
}

Match MatchReader::finish() const {
  for (const auto &[field, given] : given_) {
    if (!met(given.needs, match_)) {
      throw TextError(given.word.column, concat(quoted(given.word), " needs ", to_text(given.needs)));
    }
  }
  check_icmp_numbers();
  return match_;
}

void MatchReader::check_icmp_numbers() const {
  for (const Field field : {Field::TpSrc, Field::TpDst}) {
    if (met(Needs::Icmp, match_) && match_[field].value > 255) {
      throw TextError(place_of(field).column, "an ICMP type or code is a number from 0 to 255");
    }
  }
}

Word MatchReader::place_of(Field field) const {
  const auto place = given_.find(field);
  return place == given_.end() ? Word{} : place->second.word;
}

}  // namespace app
