// SPDX-License-Identifier: Apache-2.0
// The TCAM's search against its plain scan: random records of all formats under random masks, changed while they are
// searched.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/asic/tcam.h"
#include "oftab/hw_entry.h"
#include "tests/support/random_flows.h"

namespace {

using host::asic::Format;
using host::asic::format_of;
using host::asic::Key;
using host::asic::Record;
using test::Dice;

constexpr int kSteps = 20000;

Key random_key(Dice &dice) {
  Key key;
  std::ranges::generate(key, [&] { return static_cast<uint8_t>(dice.below(256)); });
  return key;
}

// Nothing but a few bytes, everything, or anything.
Key random_mask(Dice &dice) {
  Key mask{};
  for (uint32_t bytes = dice.below(3); bytes > 0; --bytes) {
    mask[dice.below(sizeof mask)] = static_cast<uint8_t>(dice.below(256));
  }
  if (dice.one_in(8)) {
    mask.fill(0xff);
  }
  return dice.one_in(2) ? random_key(dice) : mask;
}

// A record of any format, which may ask for bits that its format does not have.
Record random_record(Dice &dice) {
  Record record{.key = random_key(dice), .mask = random_mask(dice)};
  if (const Format format = format_of(record.key); dice.one_in(2)) {
    record.key = reformat(reformat(record.key, format, Format::Arp), Format::Arp, format);
  }
  oftab::hw::set(record.key.data(), oftab::hw::ip_key::vld, dice.one_in(8) ? 0 : 1);
  return record;
}

// A packet that the record matches, if any does; of three, one that it misses by a bit.
Key packet_for(const Record &record, Dice &dice) {
  Key key = random_key(dice);
  for (size_t i = 0; i < key.size(); ++i) {
    key[i] = static_cast<uint8_t>((record.key[i] & record.mask[i]) | (key[i] & ~record.mask[i]));
  }
  if (dice.one_in(3)) {
    key[dice.below(sizeof key)] ^= static_cast<uint8_t>(1U << dice.below(8));
  }
  return reformat(key, format_of(record.key), Format::Ip);
}

TEST(TcamSearch, FindsWhatTheScanFinds) {
  Dice dice(20);
  host::services::Violations violations;
  host::asic::Tcam tcam(violations);
  int hits = 0;
  for (int step = 0; step < kSteps; ++step) {
    tcam.put(static_cast<uint16_t>(dice.below(TCAM_INDICES)), random_record(dice));
    const Key packet = packet_for(tcam.at(static_cast<uint16_t>(dice.below(TCAM_INDICES))), dice);
    const auto found = tcam.lookup(packet);
    ASSERT_EQ(found, tcam.scan(packet)) << "step " << step;
    hits += found ? 1 : 0;
  }
  EXPECT_GT(hits, kSteps / 4);
  EXPECT_LT(hits, kSteps);
}

}  // namespace
