// SPDX-License-Identifier: Apache-2.0
#include "bench/table.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>

#include "oftab/oftab.h"

namespace bench {

host::Switch &the_switch() {
  static host::Switch instance;
  static const bool booted = [] {
    instance.boot();
    return true;
  }();
  static_cast<void>(booted);
  return instance;
}

void submit(uint32_t code, const Bytes &request) {
  Handling handling(code, request);
  handling.handle();
  handling.finish();
}

void fill_table(uint32_t flows) {
  submit(OFTAB_MSG_ENTRY_UPDATE, purge_request());
  if (flows > 0) {
    submit(OFTAB_MSG_ENTRY_UPDATE, add_request(consecutive(kFirstSeqNo, flows)));
  }
}

SeqNos consecutive(uint32_t first, uint32_t count) {
  SeqNos seq_nos(count);
  std::iota(seq_nos.begin(), seq_nos.end(), first);
  return seq_nos;
}

SeqNos spread(uint32_t count, uint32_t flows) {
  SeqNos seq_nos;
  for (uint32_t i = 0; i < count; ++i) {
    seq_nos.push_back(kFirstSeqNo + i * flows / count);
  }
  std::ranges::shuffle(seq_nos, std::mt19937(count));  // NOLINT: the same order in each run
  return seq_nos;
}

Handling::Handling(uint32_t code, const Bytes &request) : code_(code) {
  the_switch().messages().receive(code, request);
}

void Handling::handle() {
  host::services::Messages &messages = the_switch().messages();
  const auto handler = code_ == OFTAB_MSG_GET_STATS ? oftab_process_get_stats : oftab_process_entry_update;
  handler(messages.reply(), messages.message(), messages.dispatch_context());
}

void Handling::finish() {
  const std::vector<Bytes> responses = the_switch().messages().finish();
  int32_t status = -1;
  if (responses.size() == 1) {
    std::memcpy(&status, responses[0].data() + offsetof(oftab_entry_update_resp_t, status), sizeof status);
  }
  if (status != 0) {
    throw std::runtime_error("request failed: " + std::to_string(responses.size()) + " responses, status " +
                             std::to_string(status));
  }
}

}  // namespace bench
