// SPDX-License-Identifier: Apache-2.0
// Requests of any content into a booted switch. The host refuses those that are shorter than their counts say; the
// others must leave the tables and the hardware in agreement.
#include <fuzzer/FuzzedDataProvider.h>

#include <map>
#include <span>
#include <stdexcept>

#include "fuzz/fuzzed_switch.h"
#include "oftab/oftab.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Interfaces, and numbers that are none.
constexpr uint32_t kIfindexes[] = {0x1a000000, 0x1a001000, 0x1a02f000, 0x16000001, 0x16000002, 0x16000003, 0x1a030000};
constexpr uint32_t kFlows = 4;  // sequence numbers, so few that requests meet again
constexpr int kMostRequests = 4;

template <typename Record>
void append(Bytes &message, const Record &record) {
  const auto *const bytes = reinterpret_cast<const uint8_t *>(&record);
  message.insert(message.end(), bytes, bytes + sizeof record);
}

void append_flow(Bytes &message, FuzzedDataProvider &input) {
  oftab_flow_t flow{};
  input.ConsumeData(&flow, sizeof flow);
  flow.seq_no %= kFlows;
  flow.priority %= 8;
  flow.result_type %= 6;
  flow.num_oif %= 8;
  flow.app_id %= 10;
  flow.value.ifindex = input.PickValueInArray(kIfindexes);
  append(message, flow);
  const bool has_outputs = oftab_has_output_list(flow.result_type) != 0;
  for (int i = 0; has_outputs && i < flow.num_oif; ++i) {
    append(message, input.PickValueInArray(kIfindexes));
  }
}

// A record of any request but for flows: every word of it is the number of a flow or of an interface.
void append_number(Bytes &message, FuzzedDataProvider &input, size_t words) {
  const uint32_t flow = input.ConsumeIntegralInRange<uint32_t>(0, kFlows);
  const uint32_t number = input.ConsumeBool() ? flow : input.PickValueInArray(kIfindexes);
  for (size_t i = 0; i < words; ++i) {
    append(message, number);
  }
}

Bytes formed_request(FuzzedDataProvider &input, uint32_t code) {
  const uint32_t operation = input.ConsumeIntegralInRange<uint32_t>(0, 8);
  const uint32_t count = input.ConsumeIntegralInRange<uint32_t>(0, 5);
  Bytes message;
  append(message, operation);
  append(message, count);
  for (uint32_t i = 0; i < count; ++i) {
    if (code != OFTAB_MSG_ENTRY_UPDATE) {
      append_number(message, input, 2);
    } else if (operation == OFTAB_ENTRY_DELETE) {
      append_number(message, input, 3);
    } else {
      append_flow(message, input);
    }
  }
  return message;
}

// Earlier inputs left them: every input ends with a purge.
host::AuditExceptions exceptions;

// Flows that share their number share its bits, too: the first that goes, or changes its action, takes them along.
void excuse_twins() {
  const oftab_tcam_tbl_t &table = *oftab_hw_rsrc_g.current_table;
  std::map<uint32_t, host::FlowBits> bits;  // of the flows so far
  for (const oftab_sw_entry_t &record : std::span(table.tcam_entry, table.entries_allocated)) {
    if ((record.flags & OFTAB_ENTRY_USED) == 0) {
      continue;
    }
    const bool twin = bits.contains(record.seq_no);
    host::FlowBits &shared = bits[record.seq_no];
    for (const uint32_t pc : std::span(record.pc_ifindex, static_cast<size_t>(record.num_pc))) {
      shared.emplace(pc, record.seq_no);
    }
    if (twin) {
      exceptions.untracked.insert(shared.begin(), shared.end());
    }
  }
}

void submit(host::Switch &device, uint32_t code, const Bytes &request) try {
  excuse_twins();
  if (code == OFTAB_MSG_ENTRY_UPDATE && !request.empty() && request[0] == OFTAB_ENTRY_PURGE) {
    exceptions.purged.merge(host::flow_bits());
  }
  fuzz::require(device.submit(code, request).responses.size() == 1, "not answered once");
} catch (const std::invalid_argument &) {
}

void submit_all(host::Switch &device, FuzzedDataProvider &input) {
  for (int i = 0; i < kMostRequests && input.remaining_bytes() > 0; ++i) {
    const uint32_t code = input.ConsumeIntegralInRange<uint32_t>(OFTAB_MSG_ENTRY_UPDATE, OFTAB_MSG_GET_STATS);
    const std::string raw = input.ConsumeBool() ? input.ConsumeRandomLengthString() : "";
    submit(device, code, raw.empty() ? formed_request(input, code) : Bytes(raw.begin(), raw.end()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  host::Switch &device = fuzz::booted_switch();
  FuzzedDataProvider input(data, size);
  submit_all(device, input);
  fuzz::require_sound(device, exceptions);
  device.advance(10);
  submit(device, OFTAB_MSG_ENTRY_UPDATE, {OFTAB_ENTRY_PURGE, 0, 0, 0, 0, 0, 0, 0});
  fuzz::require_sound(device, exceptions);
  return 0;
}
