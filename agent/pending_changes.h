// SPDX-License-Identifier: Apache-2.0
// Changes that wait to go to the library together, and what becomes of the flow table when they do.
//
// Waiting: flows to be added, flows whose record another one replaces, flows with new actions; or flows to be deleted,
// never both. A replaced flow's new record is added before the old one is deleted, so that its packets never meet
// another flow in between.
#ifndef AGENT_PENDING_CHANGES_H
#define AGENT_PENDING_CHANGES_H

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include "agent/batch.h"
#include "agent/flow_mod.h"
#include "agent/flow_table.h"
#include "host/switch.h"

namespace agent {

class PendingChanges {
 public:
  PendingChanges(host::Switch &device, FlowTable &table) : device_(device), table_(table) {}

  // Changes of a run of flow-mods are known by their position in it. Nothing waits when a run begins.
  void begin(FlowModResults &results, Time now);

  // Something that failed is to be tried again, which each run does as it begins.
  bool unfinished() const;

  // Makes the table hold the library's flows. Returns those that are gone.
  std::vector<TableEntry> reread(Time now);

  // Whether a change of this flow waits.
  bool touch(const TableEntry &entry) const { return entry.change == change_; }
  bool additions_wait() const { return !additions_.empty() || !changes_.empty(); }
  bool removals_wait() const { return !removals_.empty(); }

  // Whether the library has room for one record more.
  bool has_room() const { return table_.size() + replaced_ + leftovers_.size() < FlowTable::kCapacity; }

  // Whether another flow with outputs may find no multicast index free.
  bool may_lack_index() const;

  // The flow stands in the table from now on. It has its sequence number.
  void add(size_t mod, TableEntry entry);

  // A record with a sequence number of its own takes the place of the one that the library has.
  void replace(size_t mod, TableEntry &old, TableEntry by);

  void change(size_t mod, TableEntry &entry, std::vector<Action> actions);

  // The flow leaves the table at once.
  void remove(size_t mod, uint32_t seq_no, RemovedFlow::Reason reason);

  // Sends what waits. A flow-mod that fails is undone as a whole, and gets its error.
  void send();

  // Lets go of what waits; whether it has reached the library is not known.
  void abandon();

  // At the end of a run: flows that the library has lost are added again, or wait for the next run.
  void finish();

  // For a library without room for a moment's second record, when nothing waits: deletes the old record and adds the
  // new one, under the same number.
  void replace_in_place(size_t mod, const TableEntry &old, TableEntry by);

 private:
  struct Addition {
    size_t mod;
    TableEntry *entry;  // in the table, or among the replacements
    std::optional<uint32_t> replaces;
    bool installed = false;
  };
  struct Change {
    size_t mod;
    uint32_t seq_no;
    std::vector<Action> actions;
  };
  struct Removal {
    size_t mod;
    RemovedFlow flow;
  };

  using Send = std::function<Statuses(const std::vector<const Flow *> &flows)>;

  // pending_recovery.cc: what becomes of it all when the library loses its flows
  template <typename Requests>
  bool survives(Requests requests);
  void recover();
  void fail_all();
  void add_again(const std::set<uint32_t> &seq_nos);
  std::set<uint32_t> all_seq_nos() const;

  // pending_modifications.cc: flows with new actions
  void send_changes();
  Flow changed_by(const Change &change) const;
  void modify(std::span<Flow> changed);
  void restore_failed();
  void mend(const TableEntry &broken);

  void begin();
  void send_all();
  void replace_record(size_t mod, const TableEntry &old, TableEntry by);
  int32_t add_one(Flow &flow);
  Statuses add_all(std::span<Flow *const> flows);
  Statuses send_with_room(std::span<Flow *const> flows, const Send &send);
  void send_additions();
  void settle(Addition &addition);
  void take_over(TableEntry entry, uint32_t from);
  void discard_records();
  void send_removals();
  void fail(size_t mod, int32_t status);
  bool has_failed(size_t mod) const { return results_->errors.contains(mod); }

  host::Switch &device_;
  FlowTable &table_;
  FlowModResults *results_ = nullptr;
  Time now_{};
  std::deque<Addition> additions_;
  std::deque<TableEntry> replacements_;
  std::vector<Change> changes_;
  std::vector<Removal> removals_;
  uint32_t change_ = 1;  // counts what is sent together
  size_t replaced_ = 0;

  // Sequence numbers of what is tried again in each run, as pending_changes.cc opens with.
  std::set<uint32_t> leftovers_;  // records that no flow has any more, to be deleted
  std::set<uint32_t> broken_;     // flows whose records could not get their actions back
  std::set<uint32_t> lost_;       // flows that the library has not, to be added again
};

}  // namespace agent

#endif
