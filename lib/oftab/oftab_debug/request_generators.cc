// SPDX-License-Identifier: Apache-2.0
// Generators of test requests: they build requests from a few numbers and dump them; nothing is submitted.
#include <cstdlib>

#include "oftab/message.h"
#include "oftab/oftab.h"
#include "oftab/trace.h"

using namespace oftab;

namespace {

constexpr uint32_t MAX_OUTPUT_ENTRIES = 20;
constexpr uint32_t MAX_DENY_ENTRIES = 10;
constexpr uint32_t MAX_DELETE_ENTRIES = 250;
constexpr uint32_t SEQ_STEP = 10;
constexpr uint32_t TEST_IFINDEX[] = {0x1a000000, 0x1a001000, 0x1a002000};
constexpr uint16_t OUTPUTS_PER_ENTRY = 2;

uint32_t at_most(uint32_t count, uint32_t limit) {
  return count < limit ? count : limit;
}

void trace_enter(const char *function) {
  TRACE_ERROR_IN(function, "%s() Enter. \n", function);
}

void trace_exit(const char *function) {
  TRACE_ERROR_IN(function, "%s() Exit. \n", function);
}

// An entry request has been built; it goes no further, which is reported as a failure.
void trace_built(const char *function) {
  TRACE_ERROR_IN(function, "%s()Req before calling oftab_process_entry_update \n", function);
}

void trace_not_submitted(const char *function) {
  TRACE_ERROR_IN(function, "%s() failure \n", function);
}

void require_memory(const void *memory, const char *function) {
  if (memory == nullptr) {
    TRACE_ERROR_IN(function, "%s() Mem failure Exit \n", function);
    abort();
  }
}

void name_flow(oftab_flow_t &flow, uint32_t seq_no, uint32_t ip_sa, uint32_t ip_da) {
  flow.seq_no = seq_no;
  flow.context = seq_no;
  flow.value.ip_sa = ip_sa;
  flow.value.ip_da = ip_da;
  flow.mask.ip_sa = 0xFFFFFFFFU;
  flow.mask.ip_da = 0xFFFFFFFFU;
}

void fill_output_flow(oftab_flow_t &flow, uint32_t base, uint32_t i) {
  name_flow(flow, base + SEQ_STEP * (i + 1), 0x02010101 + i, 0x01010101 + i);
  flow.priority = i + 1;
  flow.value.ifindex = TEST_IFINDEX[i % 2];
  flow.mask.ifindex = 0xFFFFFFFFU;
  flow.result_type = OFTAB_ACTION_OUTPORT;
  flow.num_oif = OUTPUTS_PER_ENTRY;
  memcpy(&flow + 1, TEST_IFINDEX, OUTPUTS_PER_ENTRY * sizeof TEST_IFINDEX[0]);
}

void fill_deny_flow(oftab_flow_t &flow, uint32_t base, uint32_t j) {
  name_flow(flow, base + SEQ_STEP * (j + 1), 0x04010101 + j, 0x03010101 + j);
  flow.result_type = OFTAB_ACTION_DENY;
}

void fill_add_request(oftab_entry_update_req_t *request, uint32_t base, uint32_t count_out, uint32_t count_deny) {
  request->entry_op = OFTAB_ENTRY_ADD;
  request->num_entries = static_cast<uint16_t>(count_out + count_deny);
  auto *flow = records_of<oftab_flow_t>(request);
  for (uint32_t i = 0; i < count_out; ++i) {
    fill_output_flow(*flow, base, i);
    flow = const_cast<oftab_flow_t *>(next_flow(flow));
  }
  for (uint32_t j = 0; j < count_deny; ++j) {
    fill_deny_flow(*flow, base + SEQ_STEP * count_out, j);
    ++flow;
  }
}

}  // namespace

void oftab_test_entry_update_req(int op, uint32_t base, uint32_t count_out, uint32_t count_deny) {
  trace_enter(__func__);
  if (op == OFTAB_ENTRY_ADD) {
    oftab_test_entry_add_req(base, count_out, count_deny);
  } else if (op == OFTAB_ENTRY_DELETE) {
    oftab_test_entry_del_req(base, count_deny);
  }
  trace_exit(__func__);
}

int32_t oftab_test_entry_add_req(uint32_t base, uint32_t count_out, uint32_t count_deny) {
  trace_enter(__func__);
  const uint32_t outputs = at_most(count_out, MAX_OUTPUT_ENTRIES);
  const uint32_t denies = at_most(count_deny, MAX_DENY_ENTRIES);
  const owned_memory memory(sizeof(oftab_entry_update_req_t) + (outputs + denies) * sizeof(oftab_flow_t) +
                            sizeof(uint32_t) * outputs * OUTPUTS_PER_ENTRY);
  auto *request = memory.as<oftab_entry_update_req_t>();
  require_memory(request, __func__);
  fill_add_request(request, base, outputs, denies);
  trace_built(__func__);
  trace_not_submitted(__func__);
  trace_exit(__func__);
  return 0;
}

int32_t oftab_test_entry_del_req(uint32_t base, uint32_t count) {
  trace_enter(__func__);
  const uint32_t entries = at_most(count, MAX_DELETE_ENTRIES);
  const owned_memory memory(sizeof(oftab_entry_del_req_t) + entries * sizeof(oftab_del_entry_t));
  auto *request = memory.as<oftab_entry_del_req_t>();
  require_memory(request, __func__);
  request->entry_op = OFTAB_ENTRY_DELETE;
  request->num_entries = static_cast<uint16_t>(entries);
  for (uint32_t i = 0; i < entries; ++i) {
    records_of<oftab_del_entry_t>(request)[i].seq_no = base + SEQ_STEP * (i + 1);
  }
  trace_built(__func__);
  oftab_dump_entry_del_req(request);
  trace_not_submitted(__func__);
  trace_exit(__func__);
  return 0;
}

void oftab_test_intf_update_req(uint32_t intf_op) {
  trace_enter(__func__);
  constexpr uint16_t COUNT = sizeof TEST_IFINDEX / sizeof TEST_IFINDEX[0];
  const owned_memory memory(sizeof(oftab_intf_update_req_t) + COUNT * sizeof(oftab_intf_req_info_t));
  auto *request = memory.as<oftab_intf_update_req_t>();
  if (request == nullptr) {
    abort();
  }
  request->intf_op = intf_op;
  request->num_intfs = COUNT;
  for (uint16_t i = 0; i < COUNT; ++i) {
    records_of<oftab_intf_req_info_t>(request)[i] = {TEST_IFINDEX[i], TEST_IFINDEX[i]};
  }
  oftab_dump_intf_update_req(request);
  trace_exit(__func__);
}
