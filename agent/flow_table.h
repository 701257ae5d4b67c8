// SPDX-License-Identifier: Apache-2.0
// The agent's own table: every flow that the switch has, found by what people and controllers call it.
//
// A flow is identified by its match and its priority; the library knows it by its sequence number. Matches are
// normalised. The table decides nothing and sends nothing.
#ifndef AGENT_FLOW_TABLE_H
#define AGENT_FLOW_TABLE_H

#include <bitset>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <unordered_set>
#include <utility>
#include <vector>

#include "agent/classifier.h"
#include "agent/flow.h"
#include "oftab/oftab.h"

namespace agent {

using Time = std::chrono::nanoseconds;  // since the agent's start

struct Counts {
  uint64_t packets = 0;
  uint64_t bytes = 0;

  Counts &operator+=(const Counts &other) {
    packets += other.packets;
    bytes += other.bytes;
    return *this;
  }
  bool operator==(const Counts &) const = default;
};

struct TableEntry {
  Flow flow;           // with its sequence number and priority
  Time added{};        // durations and the hard timeout run from here
  Time used{};         // when a reading last found new packets; the idle timeout runs from here
  Counts collected{};  // by the hardware, of the library's record, as of the latest reading
  Counts punted{};     // what else the record has counted: packets that it brought to the CPU
  Counts others{};     // by the CPU, and of the records that stood for the flow before

  uint32_t change = 0;         // of PendingChanges: the latest that the flow is part of
  mutable uint32_t place = 0;  // the classifier's

  Counts counts() const { return Counts(collected) += others; }

  // What the hardware has counted for the flow, and what has been counted in all, when its record counts `record`.
  Counts collected_of(const Counts &record) const;
  Counts counts_of(const Counts &record) const { return collected_of(record) += others; }

  // The CPU took a packet for the flow.
  void took(size_t bytes, Time now) {
    others += {1, bytes};
    used = now;
  }
  // What the record counts from now on is for the CPU to count, or for the hardware again.
  void close_record() {
    punted += collected;
    others += std::exchange(collected, {});
  }
  // The record counts from 0, and so does the flow.
  void clear_counts() { collected = punted = others = {}; }
  // The flow goes on with another record, which counts from 0.
  void change_record() {
    close_record();
    punted = {};
  }
};

class FlowTable {
 public:
  static constexpr size_t kCapacity = OFTAB_FLOW_CAPACITY;

  FlowTable() { by_identity_.reserve(kCapacity); }

  // By sequence number, rising.
  const std::map<uint32_t, TableEntry> &entries() const { return entries_; }
  size_t size() const { return entries_.size(); }
  bool full() const { return size() >= kCapacity; }

  // The flow of exactly this match and priority, or of this sequence number; null when there is none.
  TableEntry *find(const Match &match, uint32_t priority);
  TableEntry *find(uint32_t seq_no);
  const TableEntry *find(const Match &match, uint32_t priority) const;
  const TableEntry *find(uint32_t seq_no) const;

  // The flows whose match `match` covers; every flow in turn.
  std::vector<TableEntry *> covered_by(const Match &match);
  template <typename Visit>
  void for_each(Visit visit) {
    for (auto &[seq_no, entry] : entries_) {
      visit(entry);
    }
  }

  // The flow that a packet meets by the rules of OpenFlow, whatever stands in the hardware; null when it meets none.
  TableEntry *winner(const Packet &packet);
  const TableEntry *winner(const Packet &packet) const { return classifier().find(packet); }

  // Whether a flow of this priority could meet a packet that `match` meets too.
  bool overlaps(const Match &match, uint32_t priority) const;

  // The lowest free sequence number of those whose flows port channels can follow, which is then taken. There is one as
  // long as fewer than kCapacity are taken.
  uint32_t take_seq_no();
  void take(uint32_t seq_no);
  void give_back(uint32_t seq_no);

  // The flow has its sequence number, new to the table, which is taken by that. It is found by its match and priority
  // in place of one that was there, which is left to be erased. Entries stay where they are until they are erased.
  TableEntry &insert(TableEntry entry);

  // Its sequence number is free again.
  TableEntry erase(uint32_t seq_no);

 private:
  // By match and priority.
  struct Identity {
    const Match &match;
    uint32_t priority;
  };
  static Identity identity(const Identity &identity) { return identity; }
  static Identity identity(const TableEntry *entry) { return {entry->flow.match, priority_of(entry->flow)}; }

  struct IdentityHash {
    using is_transparent = void;
    size_t operator()(const auto &flow) const { return hash(identity(flow)); }
  };
  struct SameIdentity {
    using is_transparent = void;
    bool operator()(const auto &one, const auto &other) const {
      return identity(one).priority == identity(other).priority && identity(one).match == identity(other).match;
    }
  };
  static size_t hash(const Identity &identity);
  const Classifier &classifier() const;

  std::map<uint32_t, TableEntry> entries_;
  std::unordered_set<TableEntry *, IdentityHash, SameIdentity> by_identity_;
  std::bitset<kCapacity + 1> taken_;  // sequence numbers
  uint32_t lowest_free_ = 1;
  mutable std::unique_ptr<Classifier> classifier_;  // from the first question on
};

// Whether some packet could meet both.
bool overlap(const Match &one, const Match &other);

}  // namespace agent

#endif
