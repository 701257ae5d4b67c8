// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/match_codec.h"

#include <bit>

#include "agent/fields.h"
#include "agent/port_numbers.h"

namespace agent::openflow {
namespace {

constexpr size_t kWildcards = 0;  // where they stand
constexpr size_t kWildcardsSize = 4;
constexpr uint32_t kNothing = 32;  // low bits not compared: nothing is, as with any more

// What OpenFlow 1.0 knows of a match: SCTP has no ports there.
Match known(Match match) {
  if (met(Needs::Sctp, match)) {
    match[Field::TpSrc] = match[Field::TpDst] = {};
  }
  return match;
}

uint64_t number_at(const MatchOctets &octets, size_t offset, size_t count) {
  uint64_t number = 0;
  for (size_t i = 0; i < count; ++i) {
    number = number << 8 | octets[offset + i];
  }
  return number;
}

void put_number(MatchOctets &octets, size_t offset, size_t count, uint64_t number) {
  for (size_t i = count; i-- > 0; number >>= 8) {
    octets[offset + i] = static_cast<uint8_t>(number);
  }
}

uint64_t mask_of(const FieldRow &row, uint32_t wildcards) {
  const uint32_t bits = wildcards >> row.wire.wildcard & ((1U << row.wire.wildcard_bits) - 1);
  if (row.wire.wildcard_bits == 1) {
    return bits != 0 ? 0 : row.exact;
  }
  return bits >= kNothing ? 0 : row.exact << bits & row.exact;
}

uint32_t wildcards_of(const FieldRow &row, uint64_t mask) {
  if (row.wire.wildcard_bits == 1) {
    return mask == row.exact ? 0 : 1U << row.wire.wildcard;
  }
  const int compared = std::countl_one(static_cast<uint32_t>(mask));
  return (kNothing - static_cast<uint32_t>(compared)) << row.wire.wildcard;
}

// A match of all that untagged frames have says the same with their priority or without: it has no wildcards.
uint32_t without_needless(uint32_t wildcards, const Match &match) {
  const bool needless = !met(Needs::Tag, match) && wildcards == wildcards_of(row_of(Field::DlVlanPcp), 0);
  return needless ? 0 : wildcards;
}

}  // namespace

Match decode_match(const MatchOctets &octets) {
  const auto wildcards = static_cast<uint32_t>(number_at(octets, kWildcards, kWildcardsSize));
  Match match;
  for (const FieldRow &row : field_rows()) {
    const uint64_t mask = mask_of(row, wildcards);
    if (mask == 0) {
      continue;
    }
    const uint64_t number = number_at(octets, row.wire.place.offset, row.wire.place.size);
    const uint64_t value = row.field == Field::InPort ? port_numbered(static_cast<uint16_t>(number)) : number;
    match[row.field] = {value & mask, mask};
  }
  return known(normalised(match));
}

MatchOctets encode_match(const Match &match) {
  MatchOctets octets{};
  uint32_t wildcards = 0;
  const Match shown = known(match);
  for (const FieldRow &row : field_rows()) {
    const Masked &field = shown[row.field];
    const uint32_t bits = wildcards_of(row, field.mask);
    wildcards |= bits;
    if (bits == 0 || row.wire.wildcard_bits > 1) {
      const auto port = static_cast<uint32_t>(field.value);
      put_number(octets, row.wire.place.offset, row.wire.place.size,
                 row.field == Field::InPort ? number_of(port) : field.value);
    }
  }
  put_number(octets, kWildcards, kWildcardsSize, without_needless(wildcards, shown));
  return octets;
}

}  // namespace agent::openflow
