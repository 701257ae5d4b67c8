// SPDX-License-Identifier: Apache-2.0
// Statistics.
#include "agent/openflow/action_codec.h"
#include "agent/openflow/match_codec.h"
#include "agent/openflow/multipart.h"
#include "agent/openflow/port_codec.h"
#include "agent/openflow/session.h"
#include "agent/port_numbers.h"
#include "agent/text.h"

namespace agent::openflow {
namespace {

constexpr uint8_t kTable = 0;  // there is one
constexpr uint8_t kAllTables = 0xFF;

bool names_table(uint8_t table_id) {
  return table_id == kTable || table_id == kAllTables;
}

void append_flow(Bytes &record, const TableEntry &entry, Time now) {
  const Flow &flow = entry.flow;
  const Duration duration(now - entry.added);
  const Counts counts = entry.counts();
  append(record, wire::FlowStats{.table_id = kTable,
                                 .match = encode_match(flow.match),
                                 .duration_sec = duration.seconds,
                                 .duration_nsec = duration.nanoseconds,
                                 .priority = static_cast<uint16_t>(priority_of(flow)),
                                 .idle_timeout = flow.idle_timeout,
                                 .hard_timeout = flow.hard_timeout,
                                 .cookie = flow.cookie,
                                 .packet_count = counts.packets,
                                 .byte_count = counts.bytes});
  append_actions(record, flow.actions);
  FieldWriter{record.data()}(static_cast<uint16_t>(record.size()));
}

}  // namespace

struct Session::StatisticsKind {
  StatisticsType type;
  size_t size;
  void (Session::*handle)(const Message &message, ByteView request);
};

void Session::stats_request(const Message &message) {
  static constexpr StatisticsKind kKinds[] = {
      {OFPST_DESC, 0, &Session::desc_stats},
      {OFPST_FLOW, wire::FlowStatsRequest::kSize, &Session::flow_stats},
      {OFPST_AGGREGATE, wire::FlowStatsRequest::kSize, &Session::aggregate_stats},
      {OFPST_TABLE, 0, &Session::table_stats},
      {OFPST_PORT, wire::PortStatsRequest::kSize, &Session::port_stats},
      {OFPST_QUEUE, wire::QueueStatsRequest::kSize, &Session::queue_stats},
  };
  ByteView request = message.body();
  const auto head = take<wire::Statistics>(request);
  if (head.type == OFPST_VENDOR) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_VENDOR, "statistics of a vendor"};
  }
  const auto *kind = std::ranges::find_if(kKinds, [&](const StatisticsKind &each) { return each.type == head.type; });
  if (kind == std::end(kKinds)) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_STAT, concat("statistics of type ", head.type)};
  }
  if (request.size() != kind->size) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_LEN, "a statistics request of a wrong length"};
  }
  (this->*kind->handle)(message, request);
}

void Session::desc_stats(const Message &message, ByteView) {
  wire::DescStats desc;
  put_text(desc.mfr_desc, "liboftab");
  put_text(desc.hw_desc, "48 ports, simulated ASIC");
  put_text(desc.sw_desc, identity_.software);
  put_text(desc.serial_num, "None");
  put_text(desc.dp_desc, hex(identity_.datapath_id, 16));
  MultipartReply(out_, OFPST_DESC, message.header.xid).add(desc);
}

void Session::flow_stats(const Message &message, ByteView request) {
  const auto wanted = take<wire::FlowStatsRequest>(request);
  std::vector<const TableEntry *> entries;
  if (names_table(wanted.table_id)) {
    entries = agent_.flow_statistics(decode_match(wanted.match), port_numbered(wanted.out_port));
  }
  MultipartReply reply(out_, OFPST_FLOW, message.header.xid);
  Bytes record;
  for (const TableEntry *entry : entries) {
    record.clear();
    append_flow(record, *entry, agent_.now());
    reply.add(ByteView(record));
  }
}

void Session::aggregate_stats(const Message &message, ByteView request) {
  const auto wanted = take<wire::FlowStatsRequest>(request);
  Aggregate sum;
  if (names_table(wanted.table_id)) {
    sum = agent_.aggregate_statistics(decode_match(wanted.match), port_numbered(wanted.out_port));
  }
  MultipartReply(out_, OFPST_AGGREGATE, message.header.xid)
      .add(wire::AggregateStats{.packet_count = sum.counts.packets,
                                .byte_count = sum.counts.bytes,
                                .flow_count = static_cast<uint32_t>(sum.flows)});
}

void Session::table_stats(const Message &message, ByteView) {
  const TableStatistics table = agent_.table_statistics();
  wire::TableStats stats{.table_id = kTable,
                         .wildcards = OFPFW_ALL,
                         .max_entries = FlowTable::kCapacity,
                         .active_count = static_cast<uint32_t>(table.active),
                         .lookup_count = table.lookups,
                         .matched_count = table.matched};
  put_text(stats.name, "tcam");
  MultipartReply(out_, OFPST_TABLE, message.header.xid).add(stats);
}

void Session::port_stats(const Message &message, ByteView request) {
  const uint16_t wanted = take<wire::PortStatsRequest>(request).port_no;
  MultipartReply reply(out_, OFPST_PORT, message.header.xid);
  for (const auto &[ifindex, port] : agent_.ports().all()) {
    if (wanted == kPortNone || wanted == number_of(ifindex)) {
      reply.add(encode_port_counts(port));
    }
  }
}

// There are no queues, so that no port has statistics of one.
void Session::queue_stats(const Message &message, ByteView request) {
  const auto wanted = take<wire::QueueStatsRequest>(request);
  if (wanted.port_no != kPortAll) {
    require_port_of_queues(wanted.port_no);
  }
  if (wanted.queue_id != OFPQ_ALL) {
    throw ProtocolError{OFPET_QUEUE_OP_FAILED, OFPQOFC_BAD_QUEUE, concat("there is no queue ", wanted.queue_id)};
  }
  const MultipartReply nothing(out_, OFPST_QUEUE, message.header.xid);
}

}  // namespace agent::openflow
