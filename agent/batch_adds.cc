// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include "agent/batch.h"
#include "agent/batch_placement.h"
#include "agent/batch_requests.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

// Records that stand below the whole table for a moment: once they are gone, the range reaches as far down as they did,
// and the library compares priorities down to there. They match no frame, as a source address is never a group's.
class Fillers {
 public:
  explicit Fillers(size_t count) {
    for (uint32_t i = 0; i < count; ++i) {
      seq_nos_.push_back(kFirst + i);
      Flow &filler = flows_.emplace_back();
      filler.seq_no = kFirst + i;
      filler.priority = 0;
      filler.match[Field::DlSrc] = {kExactMac, kExactMac};
    }
  }

  // Returns the numbers of those that did not go.
  std::vector<uint32_t> come_and_go(host::Switch &device) const {
    ask(device, flow_request(OFTAB_ENTRY_ADD, pointers_to(flows_)));
    const Statuses statuses = delete_batch(device, seq_nos_);
    std::vector<uint32_t> left;
    for (size_t i = 0; i < statuses.size(); ++i) {
      if (statuses[i] != OFTAB_OK) {
        left.push_back(seq_nos_[i]);
      }
    }
    return left;
  }

 private:
  static constexpr uint32_t kFirst = 0xF0000000;  // beyond the sequence numbers of flows

  std::vector<uint32_t> seq_nos_;
  std::vector<Flow> flows_;
};

// Adding flows, in order by falling priority.
class Adding {
 public:
  Adding(host::Switch &device, std::span<const Flow *const> flows) : device_(device), flows_(flows) {
    priorities_.reserve(flows.size());
    std::ranges::transform(flows, std::back_inserter(priorities_),
                           [](const Flow *flow) { return library_priority(*flow); });
  }

  Added add_all() {
    std::vector<size_t> order(flows_.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, std::ranges::greater(), [this](size_t i) { return priorities_[i]; });
    add(order);
    return std::move(added_);
  }

 private:
  static constexpr size_t kFewerThanFillers = 3;  // requests: for so few flows, one each does as well

  // `order`: positions in the flows.
  void add(std::span<const size_t> order) {
    while (!order.empty()) {
      const size_t count = next_request(order);
      submit(order.first(count));
      order = order.subspan(count);
    }
  }

  std::vector<uint32_t> priorities(std::span<const size_t> order) const {
    std::vector<uint32_t> priorities(order.size());
    std::ranges::transform(order, priorities.begin(), [this](size_t i) { return priorities_[i]; });
    return priorities;
  }

  // How many of the flows can go in one request.
  size_t next_request(std::span<const size_t> order) {
    if (order.size() == 1) {
      return 1;
    }
    const auto all = priorities(order);
    const TableShape shape = table_shape();
    if (keeps_order(shape, all)) {
      return all.size();
    }
    if (all.size() > kFewerThanFillers && make_room_below(shape, all)) {
      return all.size();
    }
    const size_t above = std::clamp<size_t>(shape.start, 1, all.size());
    return keeps_order(table_shape(), std::span(all).first(above)) ? above : 1;
  }

  // Whether there is now so much room that one request will do. Not when all flows of the table are of priority 0:
  // fillers would go above them.
  bool make_room_below(const TableShape &shape, std::span<const uint32_t> all) {
    const size_t count = std::min(all.size(), OFTAB_FLOW_CAPACITY - 1 - shape.end);
    if (!added_.strays.empty() || first_index(shape, count, 0) != shape.start) {
      return false;
    }
    added_.strays = Fillers(count).come_and_go(device_);
    return keeps_order(table_shape(), all);
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
      added_.statuses[order[0]] = failure(response, 0);
    } else {
      add(order.first(order.size() / 2));
      add(order.subspan(order.size() / 2));
    }
  }

  Bytes request(std::span<const size_t> order) const {
    std::vector<const Flow *> flows(order.size());
    std::ranges::transform(order, flows.begin(), [this](size_t i) { return flows_[i]; });
    return flow_request(OFTAB_ENTRY_ADD, flows);
  }

  // Notes the failures that the response names. Returns the flows that it does not name and that do not stand in the
  // table: some may, although it did not come or says that all failed.
  std::vector<size_t> settle(std::span<const size_t> order, const std::optional<Response> &response) {
    const auto live = live_seq_nos();
    std::vector<size_t> others;
    for (size_t k = 0; k < order.size(); ++k) {
      const bool named = response && k < response->entries.size() && response->entries[k].status != OFTAB_OK;
      if (named) {
        added_.statuses[order[k]] = response->entries[k].status;
      } else if (!live.contains(*flows_[order[k]]->seq_no)) {
        others.push_back(order[k]);
      }
    }
    return others;
  }

  host::Switch &device_;
  std::span<const Flow *const> flows_;
  std::vector<uint32_t> priorities_;
  Added added_{Statuses(flows_.size(), OFTAB_OK), {}};
};

}  // namespace

Added add_batch(host::Switch &device, std::span<const Flow *const> flows) {
  return Adding(device, flows).add_all();
}

}  // namespace agent
