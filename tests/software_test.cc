// SPDX-License-Identifier: Apache-2.0
// How the CPU changes packets.
#include <gmock/gmock.h>

#include <algorithm>

#include "agent/rewriting.h"
#include "tests/support/frames.h"
#include "tests/support/random_flows.h"

namespace agent {
namespace {

using test::Dice;
using test::FrameFields;
using test::Octets;
using Kind = Action::Kind;

FrameFields random_frame(Dice &dice) {
  FrameFields fields;
  constexpr uint16_t types[] = {0x0800, 0x0800, 0x0800, 0x0806, 0x86dd};
  constexpr uint8_t protocols[] = {1, 6, 17, 17, 132, 47};
  constexpr uint16_t fragments[] = {0, 0, 0x4000, 0x2000, 0x2001, 0x00b9};
  fields.type = dice.pick(types);
  fields.protocol = dice.pick(protocols);
  fields.fragment = dice.pick(fragments);
  fields.tos = static_cast<uint8_t>(dice.below(256));
  fields.nw_src = dice.below(0xffffffff);
  fields.nw_dst = dice.below(0xffffffff);
  fields.tp_src = static_cast<uint16_t>(dice.below(256));
  fields.tp_dst = static_cast<uint16_t>(dice.below(256));
  fields.options = dice.one_in(4) ? 4 * dice.below(11) : 0;
  fields.no_checksum = dice.one_in(6);
  if (dice.one_in(2)) {
    fields.tag = static_cast<uint16_t>(dice.below(0x10000));
  }
  fields.padding = dice.below(9);
  fields.payload.resize(dice.below(80));
  std::ranges::generate(fields.payload, [&] { return static_cast<uint8_t>(dice.below(256)); });
  return fields;
}

// Values near the ends of their ranges, where sums carry.
Action random_change(Dice &dice) {
  constexpr uint64_t highest[] = {0,          0xfff,      7,    0,      0xffffffffffff, 0xffffffffffff,
                                  0xffffffff, 0xffffffff, 0xff, 0xffff, 0xffff};
  const uint32_t kind = 1 + dice.below(10);
  const uint64_t most = highest[kind];
  const uint64_t value = dice.one_in(4) ? 0 : dice.one_in(3) ? most : (uint64_t{dice.below(~0U)} << 16) & most;
  return {.kind = static_cast<Kind>(kind), .value = value};
}

TEST(Rewriting, ChangesFramesAsTheirFieldsSay) {
  Dice dice(1);
  for (int round = 0; round < 20000 && !testing::Test::HasFailure(); ++round) {
    FrameFields fields = random_frame(dice);
    Octets frame = fields.octets();
    for (uint32_t i = 1 + dice.below(4); i > 0; --i) {
      const Action action = random_change(dice);
      rewrite(frame, action);
      fields.apply(action);
      ASSERT_EQ(frame, fields.octets()) << "round " << round << ", action " << static_cast<int>(action.kind);
    }
  }
}

// What ends before a field, or is not what it seems, is left alone.
TEST(Rewriting, LeavesAloneWhatIsNotThere) {
  FrameFields fields{.tp_src = 53, .tp_dst = 54, .payload = Octets(20, 9)};
  const Octets whole = fields.octets();
  struct Change {
    Kind kind;
    uint64_t value;
    size_t from;  // the shortest frame that it changes
  };
  for (const Change &change : {Change{Kind::SetDlDst, 0xa, 6},
                               {Kind::SetDlSrc, 0xb, 12},
                               {Kind::SetVlanVid, 5, 14},
                               {Kind::StripVlan, 0, 100},
                               {Kind::SetNwSrc, 7, 34},
                               {Kind::SetNwDst, 0xffff0000, 34},
                               {Kind::SetNwTos, 4, 34},
                               {Kind::SetTpSrc, 99, 42},
                               {Kind::SetTpDst, 98, 42}}) {
    const Action action{.kind = change.kind, .value = change.value};
    Octets changed = whole;
    rewrite(changed, action);
    for (size_t length = 0; length < whole.size(); ++length) {
      Octets cut(whole.begin(), whole.begin() + static_cast<long>(length));
      rewrite(cut, action);
      const Octets &like = length < change.from ? whole : changed;
      const size_t compared = length == 41 ? 40 : cut.size();  // a cut checksum stays
      EXPECT_TRUE(std::ranges::equal(std::span(cut).first(compared), std::span(like).first(compared))) << length;
    }
  }
  for (const auto &[at, value] : {std::pair{14, 0x55}, {14, 0x44}, {14, 0x4f}, {17, 19}, {20, 1}, {23, 50}}) {
    Octets odd = whole;
    odd[static_cast<size_t>(at)] = static_cast<uint8_t>(value);
    const Octets before = odd;
    rewrite(odd, {.kind = Kind::SetTpSrc, .value = 99});
    EXPECT_EQ(odd, before) << at;
  }
}

// A checksum that the sender left to the hardware sums up the pseudo-header alone.
TEST(Rewriting, KeepsAnOpenChecksumOpen) {
  FrameFields fields{.protocol = 6, .tp_src = 53};
  Octets frame = fields.octets();
  frame[50] = 0x14;  // 0a000001 + 0a000002 + 6 + 20
  frame[51] = 0x1d;
  for (const Action action :
       {Action{.kind = Kind::SetNwDst, .value = 0x0b000002}, Action{.kind = Kind::SetTpDst, .value = 77}}) {
    rewrite(frame, action, TransportChecksum::Due);
    fields.apply(action);
  }
  Octets due = fields.octets();
  due[50] = 0x15;
  due[51] = 0x1d;
  EXPECT_EQ(frame, due);
}

}  // namespace
}  // namespace agent
