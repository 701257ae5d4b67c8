// SPDX-License-Identifier: Apache-2.0
// Requests and responses in the trace, for an operator who follows the exchange with the OpenFlow agent.
#include "oftab/oftab_debug/message_dumps.h"
#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

// Traces the start of a dump. False when there is no message to dump.
bool enter_dump(const char *function, const void *message) {
  TRACE_DETAIL_IN(function, "%s() Enter \n", function);
  if (message == nullptr) {
    TRACE_ERROR_IN(function, "%s() Exit. Null Parameter \n", function);
    return false;
  }
  return true;
}

void dump_macs(const char *function, const oftab_match_t &value, const oftab_match_t &bits) {
  const uint8_t *da = value.mac_da;
  const uint8_t *da_bits = bits.mac_da;
  const uint8_t *sa = value.mac_sa;
  const uint8_t *sa_bits = bits.mac_sa;
  TRACE_DETAIL_IN(function, "   mad_da:0x%x%x%x%x%x%x/0x%x%x%x%x%x%x  mad_sa:0x%x%x%x%x%x%x/0x%x%x%x%x%x%x\n", da[0],
                  da[1], da[2], da[3], da[4], da[5], da_bits[0], da_bits[1], da_bits[2], da_bits[3], da_bits[4],
                  da_bits[5], sa[0], sa[1], sa[2], sa[3], sa[4], sa[5], sa_bits[0], sa_bits[1], sa_bits[2], sa_bits[3],
                  sa_bits[4], sa_bits[5]);
}

void dump_match(const char *function, const oftab_match_t &value, const oftab_match_t &bits) {
  dump_macs(function, value, bits);
  TRACE_DETAIL_IN(function, "   ip_da:0x%x/0x%x    ip_sa:0x%x/0x%x\n", value.ip_da, bits.ip_da, value.ip_sa,
                  bits.ip_sa);
  TRACE_DETAIL_IN(function, "   protocol:0x%x/0x%x dport:0x%x/0x%x sport:0x%x/0x%x\n", value.protocol, bits.protocol,
                  value.dport, bits.dport, value.sport, bits.sport);
  TRACE_DETAIL_IN(function, "   ethertype:0x%x/0x%x ifindex:0x%x/0x%x vlan:0x%x/0x%x tos:0x%x/0x%x\n", value.ethertype,
                  bits.ethertype, value.ifindex, bits.ifindex, value.vlan, bits.vlan, value.tos, bits.tos);
}

void dump_action(const char *function, const oftab_flow_t *flow) {
  TRACE_DETAIL_IN(function, "Result \n");
  TRACE_DETAIL_IN(function, "  result_type:%d  app_id:%d \n", flow->result_type, flow->app_id);
  if (has_outputs(*flow)) {
    TRACE_DETAIL_IN(function, "  num_oif:%d\n", flow->num_oif);
    for (uint32_t i = 0; i < flow->num_oif; ++i) {
      TRACE_DETAIL_IN(function, "0x%x\n", output_ifindex(flow, i));
    }
  }
}

}  // namespace

void oftab::dump_stats_response(const oftab_stats_query_resp_t *response, uint16_t count) {
  static const char op[] = "oftab_dump_stats_query_resp";
  if (!enter_dump(op, response)) {
    return;
  }
  TRACE_DETAIL_IN(op, "op=%d num_entries:%d  status:%d \n", response->op, response->num_entries, response->status);
  const auto *records = records_of<const oftab_stats_resp_info_t>(response);
  for (uint16_t i = 0; i < count; ++i) {
    TRACE_DETAIL_IN(op, "  seq_no:%d  context:0x%x  status:%d  pkt_cnt:%lld byte_cnt:%lld\n", records[i].seq_no,
                    records[i].context, records[i].status, static_cast<long long>(records[i].pkt_cnt),
                    static_cast<long long>(records[i].byte_cnt));
  }
}

void oftab_dump_entry_update_req(const oftab_entry_update_req_t *request) {
  if (!enter_dump(__func__, request)) {
    return;
  }
  TRACE_DETAIL("\nEntry Update Req\n");
  TRACE_DETAIL("entry_op:%d \n", request->entry_op);
  TRACE_DETAIL("num_entries:%d \n", request->num_entries);
  const auto *flow = records_of<const oftab_flow_t>(request);
  for (uint16_t i = 0; i < request->num_entries; ++i, flow = next_flow(flow)) {
    TRACE_DETAIL("Entry :%d \n", i);
    dump_match(__func__, flow->value, flow->mask);
    dump_action(__func__, flow);
  }
  TRACE_DETAIL("%s() Exit \n", __func__);
}

void oftab_dump_entry_del_req(const oftab_entry_del_req_t *request) {
  constexpr uint16_t PER_LINE = 6;
  if (!enter_dump(__func__, request)) {
    return;
  }
  const uint16_t count = request->num_entries;
  TRACE_DETAIL("\nEntry Del Req\n");
  TRACE_DETAIL("entry_op:%d \n", request->entry_op);
  TRACE_DETAIL("num_entries:%d \n", count);
  TRACE_DETAIL("Seq No: ");
  const auto *entries = records_of<const oftab_del_entry_t>(request);
  for (uint16_t i = 0; i < count; ++i) {
    TRACE_DETAIL("%4d ", entries[i].seq_no);
    if ((i + 1) % PER_LINE == 0 || i + 1 == count) {
      TRACE_DETAIL("\n");
    }
  }
  TRACE_DETAIL("%s() Exit \n", __func__);
}

void oftab_dump_entry_update_resp(const oftab_entry_update_resp_t *response) {
  if (!enter_dump(__func__, response)) {
    return;
  }
  TRACE_DETAIL("entry_op:%d  num_entries:%d status:%d \n", response->entry_op, entry_count(response), response->status);
  const auto *entries = records_of<const oftab_resp_entry_t>(response);
  for (uint16_t i = 0; i < entry_count(response); ++i) {
    TRACE_DETAIL("  seq:%d  context:0x%x  status:%d \n", entries[i].seq_no, entries[i].context, entries[i].status);
  }
}

void oftab_dump_intf_update_req(const oftab_intf_update_req_t *request) {
  if (!enter_dump(__func__, request)) {
    return;
  }
  TRACE_DETAIL("\nIntf Update Req\n");
  TRACE_DETAIL("intf_op:%d \n", request->intf_op);
  TRACE_DETAIL("num_intfs:%d ", request->num_intfs);
  const auto *interfaces = records_of<const oftab_intf_req_info_t>(request);
  for (uint16_t i = 0; i < request->num_intfs; ++i) {
    TRACE_DETAIL(" index=0x%x  context=0x%x ", interfaces[i].index, interfaces[i].context);
  }
  TRACE_DETAIL("\n");
  TRACE_DETAIL("%s() Exit.\n", __func__);
}

void oftab_dump_intf_update_resp(const oftab_intf_update_resp_t *response) {
  if (!enter_dump(__func__, response)) {
    return;
  }
  TRACE_DETAIL("intf_op:%d  num_intfs:%d status:%d \n", response->intf_op, response->num_intfs, response->status);
  const auto *interfaces = records_of<const oftab_intf_resp_info_t>(response);
  for (uint16_t i = 0; i < response->num_intfs; ++i) {
    TRACE_DETAIL("  index:0x%x  context:0x%x  status:%d \n", interfaces[i].index, interfaces[i].context,
                 interfaces[i].status);
  }
}

void oftab_dump_stats_query_req(const oftab_stats_query_req_t *request) {
  if (!enter_dump(__func__, request)) {
    return;
  }
  TRACE_DETAIL("op=%d num_entries:%d \n", request->op, request->num_entries);
  const uint16_t count = request->op == OFTAB_STATS_LISTED ? request->num_entries : 0;
  const auto *asked = records_of<const oftab_stats_req_info_t>(request);
  for (uint16_t i = 0; i < count; ++i) {
    TRACE_DETAIL("  seq_no:%d  context:0x%x \n", asked[i].seq_no, asked[i].context);
  }
}

void oftab_dump_stats_query_resp(const oftab_stats_query_resp_t *response) {
  const bool has_records = response != nullptr && response->status == OFTAB_OK &&
                           (response->op == OFTAB_STATS_LISTED || response->op == OFTAB_STATS_ALL);
  oftab::dump_stats_response(response, has_records ? response->num_entries : uint16_t{0});
}
