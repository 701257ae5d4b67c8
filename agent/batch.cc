#include "agent/batch.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <unordered_set>

#include "agent/batch_placement.h"
#include "agent/requests.h"
#include "agent/responses.h"
#include "agent/table_view.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

// The response; none when the library did not answer, which says nothing about what it did.
std::optional<Response> ask(host::Switch &device, const Bytes &request) {
  try {
    return submit_entries(device, request);
  } catch (const std::runtime_error &) {
    return std::nullopt;
  }
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

// A code for what failed: that of the flow, else that of the request, else that there was no answer.
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

// Records that stand below the whole table for a moment: once they are gone, the range reaches as far down as they did,
// and the library compares priorities down to there. They match no frame, as a source address is never a group's.
class Fillers {
 public:
  static bool go_below(const TableShape &shape, size_t count) {
    return first_index(shape, count, 0) == shape.start;  // also where the table begins at index 0
  }

  explicit Fillers(size_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      seq_nos_.push_back(kFirst + i);
      Flow &filler = flows_.emplace_back();
      filler.seq_no = kFirst + i;
      filler.priority = 0;
      filler.match[Field::DlSrc] = {kExactMac, kExactMac};
    }
  }

  void come_and_go(host::Switch &device) const {
    ask(device, flow_request(OFTAB_ENTRY_ADD, flows_));
    delete_batch(device, seq_nos_);
  }

 private:
  static constexpr uint32_t kFirst = 0xF0000000;  // beyond the sequence numbers of flows

  std::vector<uint32_t> seq_nos_;
  std::vector<Flow> flows_;
};

// Adding flows that are in order by falling priority.
class Adding {
 public:
  Adding(host::Switch &device, std::span<const Flow> flows, Statuses &statuses)
      : device_(device), flows_(flows), statuses_(statuses) {}

  // `order`: positions in the flows.
  void add(std::span<const size_t> order) {
    while (!order.empty()) {
      const size_t count = next_request(order);
      submit(order.first(count));
      order = order.subspan(count);
    }
  }

 private:
  static constexpr size_t kFewerThanFillers = 3;  // requests, that as many flows can as well have for themselves

  std::vector<uint32_t> priorities(std::span<const size_t> order) const {
    std::vector<uint32_t> priorities(order.size());
    std::ranges::transform(order, priorities.begin(), [this](size_t i) { return library_priority(flows_[i]); });
    return priorities;
  }

  // How many of the flows can go in one request.
  size_t next_request(std::span<const size_t> order) {
    if (order.size() == 1) {
      return 1;
    }
    const auto all = priorities(order);
    TableShape shape = table_shape();
    if (keeps_order(shape, all)) {
      return order.size();
    }
    const size_t room_below = OFTAB_FLOW_CAPACITY - 1 - shape.end;
    const size_t fillers = std::min(order.size(), room_below);
    if (order.size() <= kFewerThanFillers || !Fillers::go_below(shape, fillers)) {
      // All flows of the table are of priority 0: what there is room for above them goes above them.
      return order.size() <= kFewerThanFillers ? 1 : std::clamp<size_t>(shape.start, 1, order.size());
    }
    Fillers(fillers).come_and_go(device_);
    return keeps_order(table_shape(), all) ? order.size() : 1;
  }

  // One request. Flows that it names as failed are left out of a second one; when it names none, halves are tried.
  void submit(std::span<const size_t> order) {
    const auto response = ask(device_, request(order));
    if (succeeded(response)) {
      return;
    }
    const std::vector<size_t> others = settle(order, response);
    if (others.empty() || order.size() == 1) {
      clean_up(device_);
    }
    if (others.size() < order.size()) {
      add(others);
    } else if (order.size() == 1) {
      statuses_[order[0]] = failure(response, 0);
    } else {
      add(order.first(order.size() / 2));
      add(order.subspan(order.size() / 2));
    }
  }

  Bytes request(std::span<const size_t> order) const {
    std::vector<Flow> flows(order.size());
    std::ranges::transform(order, flows.begin(), [this](size_t i) { return flows_[i]; });
    return flow_request(OFTAB_ENTRY_ADD, flows);
  }

  // Notes what became of flows that the response names as failed, or that stand in the table although it did not come
  // or says that all failed. Returns the others.
  std::vector<size_t> settle(std::span<const size_t> order, const std::optional<Response> &response) {
    const auto live = live_seq_nos();
    std::vector<size_t> others;
    for (size_t k = 0; k < order.size(); ++k) {
      const bool named = response && k < response->entries.size() && response->entries[k].status != OFTAB_OK;
      if (named) {
        statuses_[order[k]] = response->entries[k].status;
      } else if (!live.contains(*flows_[order[k]].seq_no)) {
        others.push_back(order[k]);
      }
    }
    return others;
  }

  host::Switch &device_;
  std::span<const Flow> flows_;
  Statuses &statuses_;
};

}  // namespace

void clean_up(host::Switch &device) {
  ask(device, delete_request({}));
}

Statuses add_batch(host::Switch &device, std::span<const Flow> flows) {
  std::vector<size_t> order(flows.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::ranges::stable_sort(order, std::ranges::greater(), [&](size_t i) { return library_priority(flows[i]); });
  Statuses statuses(flows.size(), OFTAB_OK);
  Adding(device, flows, statuses).add(order);
  return statuses;
}

Statuses modify_batch(host::Switch &device, std::span<const Flow> flows) {
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
