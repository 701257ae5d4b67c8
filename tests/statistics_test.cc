// SPDX-License-Identifier: Apache-2.0
// Counting packets, collecting the counts, and asking for them.
#include "tests/support/rig.h"

namespace test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Flows 1 to 3 at 2000 to 2002 with counters 2 to 4; the catch-all has counter 1.
class Statistics : public SwitchTest {
 protected:
  Statistics() {
    set_up({add({numbered_flow(1, 30), numbered_flow(2, 20, deny()), numbered_flow(3, 10)})});
    sw.tracing().clear();
    sw.call_log().set_on(true);
  }

  void inject(uint32_t seq_no, int packets, size_t length = 64) {
    for (int i = 0; i < packets; ++i) {
      sw.inject(port(0), packet_of(seq_no, length));
    }
  }

  std::string ask(const Bytes &request) { return hex(send(request, OFTAB_MSG_GET_STATS)); }

  // Of all flows: sequence number, packets and bytes of each.
  std::string totals() {
    std::string text;
    for (const auto &record : decode_stats(send(stats_request(OFTAB_STATS_ALL, {}), OFTAB_MSG_GET_STATS)).records) {
      text += (text.empty() ? "" : ", ") + std::to_string(record.seq_no) + ": ";
      text += std::to_string(record.pkt_cnt) + "/" + std::to_string(record.byte_cnt);
    }
    return text;
  }
};

TEST_F(Statistics, FailedReadsLoseNoPacketAndClearingForgetsWhatCanBeRead) {
  for (const uint32_t seq_no : {1U, 2U, 3U, 99U}) {
    inject(seq_no, 5);
  }
  sw.faults().fail("libsdk_l3_route_stats_get", 1, 77);
  sw.faults().fail("libsdk_l3_route_stats_get", 3, 77);
  sw.advance(10);
  EXPECT_THAT(sw.call_log().lines(),
              ElementsAre("libsdk_l3_route_stats_get(1) = 77", "libsdk_l3_route_stats_get(2) = 0",
                          "libsdk_l3_route_stats_get(3) = 77", "libsdk_l3_route_stats_get(4) = 0"));
  EXPECT_THAT(traced(102), ElementsAre("Error reading stats for stats idx:3 \n"));
  EXPECT_EQ(totals(), "1: 5/320, 2: 0/0, 3: 5/320");
  inject(2, 1);
  sw.advance(10);
  EXPECT_EQ(totals(), "1: 5/320, 2: 6/384, 3: 5/320");

  inject(1, 5);
  inject(2, 3);
  sw.call_log().clear();
  sw.faults().fail("libsdk_l3_route_stats_get", 2, 77);
  ask(stats_request(OFTAB_STATS_CLEAR, {}));
  EXPECT_THAT(sw.call_log().lines(),
              ElementsAre("libsdk_l3_route_stats_get(2) = 0", "libsdk_l3_route_stats_get(3) = 77",
                          "libsdk_l3_route_stats_get(4) = 0"));
  EXPECT_EQ(totals(), "1: 0/0, 2: 0/0, 3: 0/0");
  EXPECT_EQ(oftab_hw_rsrc_g.catch_all_entry.pkt_cnt, 5U);
  sw.advance(10);
  EXPECT_EQ(totals(), "1: 0/0, 2: 3/192, 3: 0/0");  // the counter that could not be restarted has its packets
}

TEST_F(Statistics, QueriesAreAnsweredByteByByte) {
  set_up({erase({2})});
  inject(1, 5);
  inject(3, 1, 0x0102);
  sw.advance(10);
  sw.call_log().clear();
  const Exchange cases[] = {
      {"05000000 0000 3412", 0, "05000000 0000 0000 00000000", "op=5 num_entries:0 \nop=5 num_entries:0  status:0 \n"},
      {"05000000 0300 0000 44332211 03000000 88776655 00000000 0c000000 01000000", 0,  // the hole is no flow 0
       "05000000 0300 0000 00000000"
       "00000000 44332211 03000000 0100000000000000 0201000000000000"
       "ffffffff 88776655 00000000 0000000000000000 0000000000000000"
       "00000000 0c000000 01000000 0500000000000000 4001000000000000",
       "op=5 num_entries:3 \n"
       "  seq_no:3  context:0x11223344 \n  seq_no:0  context:0x55667788 \n  seq_no:1  context:0xc \n"
       "Copied stats for idx:2002 pkts:1 bytes:258\nCopied stats for idx:2000 pkts:5 bytes:320\n"
       "op=5 num_entries:3  status:0 \n  seq_no:3  context:0x11223344  status:0  pkt_cnt:1 byte_cnt:258\n"
       "  seq_no:0  context:0x55667788  status:-1  pkt_cnt:0 byte_cnt:0\n"
       "  seq_no:1  context:0xc  status:0  pkt_cnt:5 byte_cnt:320\n"},
      {"06000000 0900 3412", 0,
       "06000000 0200 0000 00000000"
       "00000000 00000000 01000000 0500000000000000 4001000000000000"
       "00000000 00000000 03000000 0100000000000000 0201000000000000",
       "op=6 num_entries:9 \nCopied stats for idx:2000 pkts:5 bytes:320\nCopied stats for idx:2002 pkts:1 bytes:258\n"
       "op=6 num_entries:2  status:0 \n  seq_no:1  context:0x0  status:0  pkt_cnt:5 byte_cnt:320\n"
       "  seq_no:3  context:0x0  status:0  pkt_cnt:1 byte_cnt:258\n"},
      {"08000000 0500 3412", -4, "08000000 0500 0000 fcffffff",
       "op=8 num_entries:5 \nop=8 num_entries:5  status:-4 \n"},
      {"07000000 0900 3412", 0, "07000000 0200 0000 00000000",
       "op=7 num_entries:9 \nCleared stats for idx:2000 \nCleared stats for idx:2002 \n"
       "op=7 num_entries:2  status:0 \n"},
  };
  for (const Exchange &row : cases) {
    expect_exchange(OFTAB_MSG_GET_STATS, row);
  }
  EXPECT_EQ(sw.call_log().lines().size(), 2U);  // of the clear operation
}

TEST_F(Statistics, EmptyTableIsAnsweredWithZeroes) {
  for (const Bytes &emptying : {erase({1, 2, 3}), purge()}) {
    set_up({emptying});
    sw.call_log().clear();
    sw.advance(10);
    EXPECT_THAT(sw.call_log().lines(), ElementsAre("libsdk_l3_route_stats_get(1) = 0"));
    EXPECT_EQ(ask(stats_request(OFTAB_STATS_LISTED, {1, 9})), "050000000200000000000000" + std::string(112, '0'));
    sw.tracing().clear();
    EXPECT_EQ(ask(unhex("07000000 0300 0000")), "070000000300000000000000");
    EXPECT_EQ(ask(unhex("06000000 0300 0000")), "060000000300000000000000");
    EXPECT_EQ(details(),
              "op=7 num_entries:3 \nop=7 num_entries:3  status:0 \n"
              "op=6 num_entries:3 \nop=6 num_entries:3  status:0 \n");
  }
}

TEST_F(Statistics, FirstOfTwinsAnswers) {
  Flow twin = numbered_flow(77, 5);
  twin.seq_no = 1;
  set_up({add({twin, numbered_flow(0, 4)})});
  inject(1, 2);
  inject(77, 3);
  inject(0, 4);
  sw.advance(10);
  EXPECT_EQ(totals(), "1: 2/128, 2: 0/0, 3: 0/0, 1: 3/192, 0: 4/256");
  EXPECT_EQ(decode_stats(send(stats_request(OFTAB_STATS_LISTED, {1}), OFTAB_MSG_GET_STATS)).records.at(0).pkt_cnt, 2U);
}

TEST_F(BareSwitchTest, CollectionBeforeInitialisationReadsTheCatchAllOnly) {
  std::ranges::fill(timer_arg, 9U);
  sw.faults().fail("tg_create_timer", 1, 77);
  EXPECT_EQ(oftab_init_stats_timer(sw.clock().context()), -1);
  EXPECT_THAT(traced(102), IsEmpty());
  sw.faults().fail("tg_start_timer", 1, 77);
  EXPECT_EQ(oftab_init_stats_timer(sw.clock().context()), -1);
  EXPECT_THAT(traced(102), ElementsAre("oftab_init_stats_timer() Error restarting timer n"));
  EXPECT_EQ(oftab_init_stats_timer(sw.clock().context()), 0);
  EXPECT_EQ(traced(104).back(), "oftab_init_stats_timer() Exit. Status=0 \n");
  EXPECT_THAT(timer_arg, ElementsAre(0, 0, 22, 0));
  sw.call_log().set_on(true);
  sw.advance(20);
  EXPECT_THAT(sw.call_log().lines(), testing::Each("libsdk_l3_route_stats_get(0) = 107"));
  EXPECT_EQ(sw.call_log().lines().size(), 2U);
}

TEST_F(Statistics, EachCollectionStartsTheTenSecondsAnew) {
  sw.advance(4);
  EXPECT_EQ(hdm_oftab_stats_timer_handler(), 0);
  EXPECT_EQ(sw.faults().calls("tg_stop_timer"), 1U);  // it was running
  inject(1, 1);
  sw.advance(9);
  EXPECT_EQ(totals(), "1: 0/0, 2: 0/0, 3: 0/0");
  sw.faults().fail("tg_start_timer", 1, 77);
  sw.advance(1);
  EXPECT_EQ(sw.faults().calls("tg_stop_timer"), 1U);
  EXPECT_THAT(traced(102), ElementsAre("hdm_oftab_stats_timer_handler() Error restarting timer n"));
  inject(1, 1);
  sw.advance(100);
  EXPECT_EQ(totals(), "1: 1/64, 2: 0/0, 3: 0/0");
}

}  // namespace
}  // namespace test
