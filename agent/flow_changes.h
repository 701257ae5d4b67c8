// SPDX-License-Identifier: Apache-2.0
// Flow-mods, applied to the agent's table and to the library together by the rules of OpenFlow.
#ifndef AGENT_FLOW_CHANGES_H
#define AGENT_FLOW_CHANGES_H

#include <optional>
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

  // A run of flow-mods is applied as though each had been applied before the next, in as few requests as that allows.
  // At its end the library's table holds the flows of the agent's. A change or deletion that has a sequence number
  // selects the flow of that number alone.
  void begin(Time now);
  void apply(FlowMod &&mod);
  FlowModResults finish();
  void abandon() { pending_.abandon(); }  // a run that an exception has ended; the table is to be reread then

  // Removes the flows whose time has come, by the latest reading of the counts.
  FlowModResults expire(Time now);

  // Flows whose ports and VLANs have come, gone or changed get records that say so, and flows that waited for a
  // multicast index go to the hardware. Errors are for those that have not got there yet.
  FlowModResults follow_interfaces(Time now);

  // Tries again what failed before.
  FlowModResults finish_failed(Time now);

  // Makes the table hold the library's flows. Returns those that are gone.
  std::vector<TableEntry> reread(Time now) { return pending_.reread(now); }

 private:
  void add();
  void add_new();
  void modify();
  void modify(TableEntry &entry);
  void replace(TableEntry &old, TableEntry by, std::optional<uint32_t> wanted);
  void erase();

  bool overlaps(const Flow &flow);
  TableEntry *identical(const Flow &flow);
  std::vector<TableEntry *> selected(const Flow &description, bool strict);
  uint32_t number(std::optional<uint32_t> wanted);
  void need_counts();
  void fail(AgentError error) { results_.errors.insert_or_assign(mod_, std::move(error)); }

  host::Switch &device_;
  FlowTable &table_;
  PendingChanges pending_;

  // Of the run that is being applied.
  size_t mods_ = 0;  // how many there have been
  size_t mod_ = 0;   // the position of the one that is being applied
  FlowMod change_;   // that one, its match normalised
  FlowModResults results_;
  Time now_{};
  bool counted_ = false;
};

}  // namespace agent

#endif
