// SPDX-License-Identifier: Apache-2.0
#include "tests/support/rig.h"

#include "host/services/bitset.h"

namespace test {

std::span<const oftab_sw_entry_t> current_records() {
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  if (table == nullptr || table->tcam_entry == nullptr) {
    return {};
  }
  return {table->tcam_entry, table->entries_allocated};
}

Bytes Rig::send(const Bytes &request, uint32_t code) {
  const host::Reply reply = sw.submit(code, request);
  EXPECT_EQ(reply.responses.size(), 1U);
  return reply.responses.empty() ? Bytes(12) : reply.responses.front();
}

void Rig::expect_exchange(uint32_t code, const Exchange &exchange) {
  SCOPED_TRACE(exchange.request);
  sw.tracing().clear();
  const host::Reply reply = sw.submit(code, unhex(exchange.request));
  EXPECT_EQ(reply.handler_result, exchange.handler_result);
  EXPECT_EQ(hex(reply.responses.at(0)), hex(unhex(exchange.response)));
  EXPECT_EQ(details(), exchange.details);
}

void Rig::set_up(const std::vector<Bytes> &requests) {
  for (const Bytes &request : requests) {
    ASSERT_EQ(submit(request).status, OFTAB_OK);
  }
}

std::vector<std::string> Rig::traced(uint32_t level) {
  std::vector<std::string> texts;
  for (const host::services::HistoryEvent &event : sw.tracing().history()) {
    if (event.level == level) {
      texts.push_back(event.text);
    }
  }
  return texts;
}

std::string Rig::details() {
  std::string details;
  for (const std::string &text : traced(104)) {
    details += text.find("() ") == std::string::npos ? text : "";
  }
  return details;
}

host::FlowBits Rig::untracked() {
  host::FlowBits bits;
  for (const std::string &text : traced(102)) {
    if (const size_t at = text.find("no memory to track flow "); at != std::string::npos) {
      bits.emplace(std::stoul(text.substr(text.find("channel ") + 8), nullptr, 16), std::stoul(text.substr(at + 24)));
    }
  }
  return bits;
}

State Rig::state() {
  State state;
  if (const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table; table != nullptr) {
    state.header = {table->tcam_st_idx, table->tcam_end_idx, table->free_entries, table->entries_allocated};
  }
  for (const oftab_sw_entry_t &record : current_records()) {
    const auto *const bytes = reinterpret_cast<const uint8_t *>(&record);
    state.table.insert(state.table.end(), bytes, bytes + sizeof record);
  }
  state.tcam.assign(sw.asic().tcam().records().begin(), sw.asic().tcam().records().end());
  state.counters = sw.asic().counters().ids();
  state.trees = sw.asic().trees().indices();
  state.taken_indices = host::services::set_bits(g_oftab_mcast_idx_bmp);
  return state;
}

void Rig::expect_sound() {
  EXPECT_THAT(sw.violations().list(), testing::IsEmpty());
  for (const host::Finding &finding : host::audit(sw.asic(), exceptions)) {
    const uint32_t number = finding.flow.value_or(finding.index.value_or(0));
    EXPECT_TRUE(excused.contains({finding.state, number})) << finding.text();
  }
}

const oftab_sw_entry_t *find_record(uint32_t seq_no) {
  for (const oftab_sw_entry_t &record : current_records()) {
    if ((record.flags & OFTAB_ENTRY_USED) != 0 && record.seq_no == seq_no) {
      return &record;
    }
  }
  return nullptr;
}

}  // namespace test
