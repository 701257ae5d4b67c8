// SPDX-License-Identifier: Apache-2.0
// Statistics: the periodic collection of the hardware counters, and the queries answered from its totals.
#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/oftab_debug/message_dumps.h"
#include "oftab/oftab_main/flow_index.h"
#include "oftab/statistics_timer.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/message_service.h"
#include "platform/timers.h"

using namespace oftab;

namespace {

const char handler[] = "oftab_process_get_stats";

// Adds the counts since the last read to the entry's totals. Returns the SDK's result.
int32_t collect(oftab_sw_entry_t &entry) {
  route_stats counts = {};
  const int32_t rc = libsdk_l3_route_stats_get(0, entry.stats_id, 0, &counts);
  if (rc == 0) {
    entry.byte_cnt += counts.bytes;
    entry.pkt_cnt += counts.packets;
  }
  return rc;
}

void collect_current_table() {
  for (oftab_sw_entry_t &entry : current_view()) {
    if (is_used(entry) && collect(entry) != 0) {
      TRACE_ERROR_IN("hdm_oftab_stats_timer_handler", "Error reading stats for stats idx:%d \n", entry.stats_id);
    }
  }
}

// The number of used entries by the current table's header.
uint16_t used_entries() {
  return static_cast<uint16_t>(oftab_hw_rsrc_g.tcam_capacity - oftab_hw_rsrc_g.current_table->free_entries);
}

// The records of a response, zeros at first.
struct response_records {
  oftab_stats_resp_info_t *first;
  uint16_t count;
};

void copy_counts(oftab_stats_resp_info_t *record, const oftab_sw_entry_t &entry, uint16_t tcam_index) {
  record->status = OFTAB_OK;
  record->seq_no = entry.seq_no;
  record->pkt_cnt = entry.pkt_cnt;
  record->byte_cnt = entry.byte_cnt;
  TRACE_DETAIL_IN(handler, "Copied stats for idx:%d pkts:%lld bytes:%lld\n", tcam_index,
                  static_cast<long long>(entry.pkt_cnt), static_cast<long long>(entry.byte_cnt));
}

// One record for each that was asked for.
void answer_listed(const oftab_stats_query_req_t *request, response_records records) {
  static flow_index flows;
  const table_view table = current_view();
  flows.build(table);
  const auto *asked = records_of<const oftab_stats_req_info_t>(request);
  for (uint16_t i = 0; i < records.count; ++i, ++asked) {
    oftab_stats_resp_info_t *record = records.first + i;
    record->status = OFTAB_ERR_FAIL;
    record->seq_no = asked->seq_no;
    record->context = asked->context;
    const oftab_sw_entry_t *entry = flows.find(table, asked->seq_no);
    if (entry != nullptr) {
      copy_counts(record, *entry, table.index_of(*entry));
    }
  }
}

void answer_all(const oftab_stats_query_req_t *, response_records records) {
  const table_view table = current_view();
  uint16_t filled = 0;
  for (const oftab_sw_entry_t &entry : table) {
    if (is_used(entry) && filled < records.count) {
      copy_counts(records.first + filled, entry, table.index_of(entry));
      ++filled;
    }
  }
}

void clear_all(const oftab_stats_query_req_t *, response_records) {
  const table_view table = current_view();
  for (oftab_sw_entry_t &entry : table) {
    if (is_used(entry)) {
      entry.pkt_cnt = 0;
      entry.byte_cnt = 0;
      oftab_dummy_stats_reader(entry.stats_id);
      TRACE_DETAIL_IN(handler, "Cleared stats for idx:%d \n", table.index_of(entry));
    }
  }
}

// A number that a response has: none, the request's, or that of the used entries.
enum class amount : uint8_t { NONE, REQUESTED, USED };

struct operation {
  uint32_t op;
  amount records;  // that the response carries
  // Of a table that is not empty; for an empty one the response keeps the number of the request, and records of zeros.
  amount num_entries;
  void (*carry_out)(const oftab_stats_query_req_t *request, response_records records);
};

constexpr operation OPERATIONS[] = {
    {OFTAB_STATS_LISTED, amount::REQUESTED, amount::REQUESTED, answer_listed},
    {OFTAB_STATS_ALL, amount::USED, amount::USED, answer_all},
    {OFTAB_STATS_CLEAR, amount::NONE, amount::USED, clear_all},
};

// Null for an unknown operation.
const operation *find_operation(uint32_t op) {
  for (const operation &each : OPERATIONS) {
    if (each.op == op) {
      return &each;
    }
  }
  return nullptr;
}

uint16_t number_of(amount what, uint16_t requested, uint16_t used) {
  if (what == amount::NONE) {
    return 0;
  }
  return what == amount::USED ? used : requested;
}

void fill_response(const oftab_stats_query_req_t *request, oftab_stats_query_resp_t *response, const operation *known,
                   uint16_t records, uint16_t used) {
  response->op = request->op;
  response->num_entries = request->num_entries;
  if (known == nullptr) {
    response->status = OFTAB_ERR_STATS_OP;
  } else if (used != 0) {
    response->num_entries = number_of(known->num_entries, request->num_entries, used);
    known->carry_out(request, {records_of<oftab_stats_resp_info_t>(response), records});
  }
}

int32_t answer(void *reply, void *buffer) {
  const auto *request = static_cast<const oftab_stats_query_req_t *>(ipq_payload_get(buffer));
  if (request == nullptr) {
    TRACE_ERROR_IN(handler, "%s() Exit. Null parameter \n", handler);
    return OFTAB_ERR_MESSAGE;
  }
  const uint16_t used = used_entries();
  oftab_dump_stats_query_req(request);
  const operation *known = find_operation(request->op);
  const uint16_t count = known == nullptr ? uint16_t{0} : number_of(known->records, request->num_entries, used);
  const size_t length = sizeof(oftab_stats_query_resp_t) + count * sizeof(oftab_stats_resp_info_t);
  const owned_memory memory(length);
  auto *response = memory.as<oftab_stats_query_resp_t>();
  if (response == nullptr) {
    TRACE_ERROR_IN(handler, "%s() Malloc failure \n", handler);
    return OFTAB_ERR_INVALID;
  }
  fill_response(request, response, known, count, used);
  const int32_t status = response->status;
  dump_stats_response(response, count);
  fu_ipq_send_response(reply, response, static_cast<uint32_t>(length), buffer, 0);
  TRACE_DETAIL_IN(handler, "%s() Exit. status=%d \n", handler, status);
  return status;
}

}  // namespace

int32_t hdm_oftab_stats_timer_handler(void) {
  if (tg_is_timer_active(oftab_stats_timer) != 0) {
    tg_stop_timer(oftab_stats_timer);
  }
  collect(oftab_hw_rsrc_g.catch_all_entry);
  if (oftab_hw_rsrc_g.initialized != 0) {
    collect_current_table();
  }
  start_statistics_timer(__func__);
  return 0;
}

int32_t oftab_process_get_stats(void *reply, void *message, void *dispatch_context) {
  TRACE_ENTER();
  if (!is_ready(__func__)) {
    return OFTAB_ERR_NOT_READY;
  }
  if (prepare_reply(__func__, message, dispatch_context, OFTAB_MSG_GET_STATS) != 0) {
    return OFTAB_ERR_MESSAGE;
  }
  return answer(reply, message_buffer(message));
}
