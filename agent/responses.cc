// SPDX-License-Identifier: Apache-2.0
#include "agent/responses.h"

#include <cstring>

#include "agent/text.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

using Bytes = std::vector<uint8_t>;

template <typename Record>
Record record_at(const Bytes &message, size_t offset) {
  Record record;
  if (offset + sizeof record > message.size()) {
    throw std::runtime_error(concat("the response is cut short at byte ", message.size()));
  }
  std::memcpy(&record, message.data() + offset, sizeof record);
  return record;
}

// The records behind a header of `header` bytes.
template <typename Record>
std::vector<Record> records_behind(const Bytes &message, size_t header) {
  std::vector<Record> records;
  records.reserve(message.size() / sizeof(Record));
  for (size_t offset = header; offset < message.size(); offset += sizeof(Record)) {
    records.push_back(record_at<Record>(message, offset));
  }
  return records;
}

Bytes submit(host::Switch &device, uint32_t code, const Bytes &request) {
  host::Reply reply = device.submit(code, request);
  if (reply.responses.empty()) {
    const char *reason = oftab_hw_rsrc_g.initialized == 0 ? "the library is not initialised and" : "the library";
    throw std::runtime_error(concat(reason, " did not answer; its handler returned ", reply.handler_result));
  }
  return std::move(reply.responses.front());
}

template <typename Header, typename Record, typename GetId>
Response read_response(const Bytes &message, GetId id_of) {
  Response response{record_at<Header>(message, 0).status, {}};
  const auto records = records_behind<Record>(message, sizeof(Header));
  response.entries.reserve(records.size());
  for (const Record &record : records) {
    response.entries.push_back({id_of(record), record.status});
  }
  return response;
}

}  // namespace

Response submit_entries(host::Switch &device, const Bytes &request) {
  const auto seq_no = [](const oftab_resp_entry_t &record) { return record.seq_no; };
  return read_response<oftab_entry_update_resp_t, oftab_resp_entry_t>(submit(device, OFTAB_MSG_ENTRY_UPDATE, request),
                                                                      seq_no);
}

Response submit_interfaces(host::Switch &device, const Bytes &request) {
  const auto ifindex = [](const oftab_intf_resp_info_t &record) { return record.index; };
  return read_response<oftab_intf_update_resp_t, oftab_intf_resp_info_t>(submit(device, OFTAB_MSG_INTF_UPDATE, request),
                                                                         ifindex);
}

StatisticsResponse submit_statistics(host::Switch &device, const Bytes &request) {
  const Bytes message = submit(device, OFTAB_MSG_GET_STATS, request);
  const auto header = record_at<oftab_stats_query_resp_t>(message, 0);
  StatisticsResponse response{header.status, header.num_entries, {}};
  for (const auto &record : records_behind<oftab_stats_resp_info_t>(message, sizeof header)) {
    response.entries.push_back({record.seq_no, record.status, record.pkt_cnt, record.byte_cnt});
  }
  return response;
}

}  // namespace agent
