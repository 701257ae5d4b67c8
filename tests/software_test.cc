// SPDX-License-Identifier: Apache-2.0
// How the CPU changes packets, where frames are not what they seem. AgentFlows has random changes of sound frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <span>

#include "agent/rewriting.h"
#include "tests/support/frames.h"

namespace agent {
namespace {

using test::FrameFields;
using test::Octets;
using Kind = Action::Kind;

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

// UDP's checksum of 0 would say that there is none.
TEST(Rewriting, WritesAChecksumOf0AsItsOtherForm) {
  FrameFields fields{.tp_src = 0, .payload = Octets(20, 9)};
  Octets frame = fields.octets();
  const Action change{.kind = Kind::SetTpSrc, .value = frame[40] * uint64_t{256} + frame[41]};  // what is left to add
  rewrite(frame, change);
  fields.apply(change);
  EXPECT_EQ(frame, fields.octets());
  EXPECT_EQ(frame[40] * 256 + frame[41], 0xffff);
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
