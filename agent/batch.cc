// SPDX-License-Identifier: Apache-2.0
#include "agent/batch.h"

#include <algorithm>
#include <stdexcept>

#include "agent/batch_requests.h"
#include "agent/table_view.h"
#include "oftab/oftab.h"

namespace agent {

// A table that counts records and has none.
bool has_lost_flows() {
  const oftab_tcam_tbl_t *table = oftab_hw_rsrc_g.current_table;
  return table != nullptr && table->entries_allocated != 0 && table->tcam_entry == nullptr;
}

std::optional<Response> ask(host::Switch &device, const Bytes &request) {
  const bool had_flows = !has_lost_flows();
  std::optional<Response> response;
  try {
    response = submit_entries(device, request);
  } catch (const std::runtime_error &) {
    response.reset();
  }
  if (had_flows && has_lost_flows()) {
    throw FlowsLost();
  }
  return response;
}

std::unordered_set<uint32_t> live_seq_nos() {
  std::unordered_set<uint32_t> live;
  for (const oftab_sw_entry_t &record : table_records()) {
    if (is_live(record)) {
      live.insert(record.seq_no);
    }
  }
  return live;
}

int32_t failure(const std::optional<Response> &response, size_t position) {
  if (!response) {
    return OFTAB_ERR_MESSAGE;
  }
  const bool named = position < response->entries.size() && response->entries[position].status != OFTAB_OK;
  const int32_t status = named ? response->entries[position].status : response->status;
  return status == OFTAB_OK ? OFTAB_ERR_FAIL : status;
}

bool succeeded(const std::optional<Response> &response) {
  return response && response->status == OFTAB_OK &&
         std::ranges::all_of(response->entries, [](const auto &entry) { return entry.status == OFTAB_OK; });
}

void clean_up(host::Switch &device) {
  ask(device, delete_request({}));
}

Statuses modify_batch(host::Switch &device, std::span<const Flow *const> flows) {
  Statuses statuses(flows.size(), OFTAB_OK);
  if (flows.empty()) {
    return statuses;
  }
  const auto response = ask(device, flow_request(OFTAB_ENTRY_MODIFY, flows));
  for (size_t i = 0; i < flows.size() && !succeeded(response); ++i) {
    const bool fine = response && response->status == OFTAB_OK && response->entries.at(i).status == OFTAB_OK;
    statuses[i] = fine ? OFTAB_OK : failure(response, i);
  }
  if (!succeeded(response)) {
    clean_up(device);
  }
  return statuses;
}

Statuses delete_batch(host::Switch &device, std::span<const uint32_t> seq_nos) {
  Statuses statuses(seq_nos.size(), OFTAB_OK);
  if (seq_nos.empty()) {
    return statuses;
  }
  auto response = ask(device, delete_request(seq_nos));
  if (!succeeded(response)) {
    response = ask(device, delete_request(seq_nos));
  }
  if (!succeeded(response)) {
    const auto live = live_seq_nos();
    for (size_t i = 0; i < seq_nos.size(); ++i) {
      statuses[i] = live.contains(seq_nos[i]) ? failure(response, i) : OFTAB_OK;
    }
  }
  return statuses;
}

}  // namespace agent
