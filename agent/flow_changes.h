// SPDX-License-Identifier: Apache-2.0
// Flow-mods, applied to the agent's table and to the library together by the rules of OpenFlow.
#ifndef AGENT_FLOW_CHANGES_H
#define AGENT_FLOW_CHANGES_H

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "agent/flow_mod.h"
#include "agent/flow_table.h"
#include "agent/pending_changes.h"
#include "host/switch.h"

namespace agent {

class FlowChanges {
 public:
  FlowChanges(host::Switch &device, FlowTable &table) : device_(device), table_(table), pending_(device, table) {}

  // Applies a run of flow-mods as though each had been applied before the next, in as few requests as that allows.
  // Afterwards the library's table holds the flows of the agent's. A change or deletion that has a sequence number
  // selects the flow of that number alone.
  FlowModResults apply(std::span<const FlowMod> mods, Time now);

  // Removes the flows whose time has come, by the latest reading of the counts.
  FlowModResults expire(Time now);

  // Tries again what failed before.
  FlowModResults finish_failed(Time now);

  // Makes the table hold the library's flows. Returns those that are gone.
  std::vector<TableEntry> reread(Time now) { return pending_.reread(now); }

 private:
  void begin(size_t changes, Time now);
  FlowModResults finish();

  void apply(size_t mod);
  void add(size_t mod);
  void add_new(size_t mod);
  void modify(size_t mod);
  void modify(size_t mod, const TableEntry &entry);
  void replace(size_t mod, const TableEntry &old, TableEntry by, std::optional<uint32_t> wanted);
  void erase(size_t mod);

  bool overlaps(const Flow &flow);
  TableEntry *identical(const Flow &flow);
  std::vector<TableEntry *> selected(const Flow &description, bool strict);
  uint32_t number(std::optional<uint32_t> wanted);
  void need_counts();
  void fail(size_t mod, AgentError error) { results_.errors[mod] = std::move(error); }

  host::Switch &device_;
  FlowTable &table_;
  PendingChanges pending_;

  // Of the run that is being applied.
  FlowMod change_;  // the one that is being applied, its match normalised
  FlowModResults results_;
  Time now_{};
  bool counted_ = false;
};

}  // namespace agent

#endif
