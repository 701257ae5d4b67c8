// SPDX-License-Identifier: Apache-2.0
// The audit of the table's records: the header, the TCAM, the trees.
#include "host/audit.h"

#include <algorithm>
#include <string>

#include "host/audit_checks.h"
#include "oftab/hw_entry.h"

namespace host {
namespace {

using Entry = oftab_sw_entry_t;

Finding about_flow(uint16_t index, const Entry &entry, std::string problem, State state = State::Disagreement,
                   Remedy remedy = Remedy::None) {
  return {.what = flow_at(index, entry),
          .problem = std::move(problem),
          .state = state,
          .remedy = remedy,
          .index = index,
          .flow = entry.seq_no};
}

void check_header(const AuditContext &context) {
  const oftab_tcam_tbl_t &table = *oftab_hw_rsrc_g.current_table;
  const auto find = [&](bool wrong, const std::string &problem) {
    context.find(wrong, {.what = "header", .problem = problem});
  };
  const size_t used = context.table.used().size();
  const bool empty = table.entries_allocated == 0;
  find(table.free_entries != OFTAB_FLOW_CAPACITY - used,
       std::to_string(table.free_entries) + " free, but " + std::to_string(used) + " used");
  find(empty && (table.tcam_st_idx != 0 || table.tcam_end_idx != 0), "an empty table has a range");
  find(!empty && (table.tcam_end_idx - table.tcam_st_idx + 1 != table.entries_allocated ||
                  table.tcam_end_idx >= OFTAB_FLOW_CAPACITY),
       "range " + std::to_string(table.tcam_st_idx) + " to " + std::to_string(table.tcam_end_idx) + " with " +
           std::to_string(table.entries_allocated) + " entries allocated");
  find(oftab_hw_rsrc_g.shadow_table->tcam_entry != nullptr, "the shadow table still has its array");
}

// Whether the index holds what is left of another flow, which does not stand at its own.
bool keeps_last_copy(const AuditContext &context, uint16_t index) {
  const asic::Tcam &tcam = context.asic.tcam();
  return std::ranges::any_of(context.table.used(), [&](const auto &used) {
    const auto &[place, entry] = used;
    return place != index && was_copy_of(tcam.at(index), *entry) && !is_copy_of(tcam.at(place), *entry);
  });
}

// Whether the index was to hold the flow, be it with another action.
bool was_refused(const asic::Tcam &tcam, uint16_t index, const Entry &entry, bool other_match) {
  const asic::Record *refused = tcam.refused_at(index);
  return refused != nullptr && was_copy_of(*refused, entry) &&
         (other_match ||
          (*refused != tcam.at(index) && (same_result(*refused, entry) || keeps_action(*refused, entry))));
}

void check_record(const AuditContext &context, uint16_t index, const Entry &entry) {
  context.find(entry.tcam_index != index,
               about_flow(index, entry, "names TCAM index " + std::to_string(entry.tcam_index)));
  const asic::Tcam &tcam = context.asic.tcam();
  const asic::Record &record = tcam.at(index);
  const bool other_match = !record.valid() || !is_copy_of(record, entry);
  if (!other_match && same_result(record, entry)) {
    return;
  }
  if (context.written.contains(index)) {
    context.find(true, about_flow(index, entry, "overwritten directly", State::Written, Remedy::Write));
  } else if (was_refused(tcam, index, entry, other_match) || keeps_last_copy(context, index)) {
    context.find(true, about_flow(index, entry, "does not stand in the TCAM, which refused it", State::RefusedWrite,
                                  Remedy::Write));
  } else if (!other_match && keeps_action(record, entry)) {
    context.find(true, about_flow(index, entry, "its modification failed, it keeps its action", State::FailedAction));
  } else {
    context.find(true, about_flow(index, entry,
                                  other_match ? "does not stand in the TCAM" : "stands in the TCAM with another result",
                                  State::Disagreement, Remedy::Write));
  }
}

// A flow to the controller may have outputs beside it; one that never had any has an empty bitmap.
bool needs_tree(const Entry &entry) {
  return entry.result_kind == OFTAB_RESULT_OUTPORT ||
         (entry.result_kind == OFTAB_RESULT_CONTROLLER && !asic::ports_of(entry.out_ports).empty());
}

// A flow to the controller without outputs: a refusal may have left ports in the tree of those that it had.
void check_left_ports(const AuditContext &context, uint16_t index, const Entry &entry) {
  const asic::Trees &trees = context.asic.trees();
  const State state = trees.last_destroy_failed(entry.mcst_idx) ? State::RefusedRelease
                      : trees.last_build_failed(entry.mcst_idx) ? State::RefusedTree
                                                                : State::Disagreement;
  Finding finding = about_flow(index, entry, "its tree has ports that its record has not", state, Remedy::ProgramTree);
  finding.resource = entry.mcst_idx;
  context.find(is_taken(entry.mcst_idx) && !trees.ports(entry.mcst_idx).empty(), finding);
}

// Whether the flow's index is that of another record in its place, which was to be replaced by its own.
bool is_kept_for_record(const AuditContext &context, uint16_t index, const Entry &entry) {
  const asic::Record &record = context.asic.tcam().at(index);
  return record.valid() && !same_result(record, entry) && oftab::hw::ltl_idx(record.result.data()) == entry.mcst_idx;
}

void check_unused_tree(const AuditContext &context, uint16_t index, const Entry &entry) {
  if (is_kept_for_record(context, index, entry)) {
    return;
  }
  if (entry.result_kind == OFTAB_RESULT_CONTROLLER) {
    check_left_ports(context, index, entry);
    return;
  }
  context.find(is_taken(entry.mcst_idx) && context.asic.trees().exists(entry.mcst_idx),
               about_flow(index, entry, "holds a tree that its action does not use"));
}

void check_fan_out(const AuditContext &context, uint16_t index, const Entry &entry) {
  if (!needs_tree(entry)) {
    check_unused_tree(context, index, entry);
    return;
  }
  const asic::Trees &trees = context.asic.trees();
  const bool held = is_taken(entry.mcst_idx);
  if (!held && entry.result_kind == OFTAB_RESULT_OUTPORT) {
    context.find(true, about_flow(index, entry, "its modification failed, it has no tree", State::FailedAction));
    return;
  }
  const bool exists = trees.exists(entry.mcst_idx);
  const bool refused = trees.last_build_failed(entry.mcst_idx);
  Finding finding = about_flow(index, entry, exists ? "its tree has other ports than its record" : "has no tree",
                               refused ? State::RefusedTree : State::Disagreement, Remedy::ProgramTree);
  finding.resource = entry.mcst_idx;
  context.find(!exists || trees.ports(entry.mcst_idx) != asic::ports_of(entry.out_ports), finding);
  context.find(oftab::hw::ltl_idx(entry.hw.result) != entry.mcst_idx,
               about_flow(index, entry, "its result names another multicast index than its record"));
}

void check_strays(const AuditContext &context) {
  for (const uint16_t index : context.table.strays()) {
    const bool stranded = context.table.stranded().contains(index);
    const bool explained = stranded && has_lost_its_array();
    const State state = context.written.contains(index) ? State::Written
                        : stranded                      ? State::Stranded
                                                        : State::Disagreement;
    context.find(!explained && index != OFTAB_CATCH_ALL_INDEX && !context.table.used().contains(index),
                 {.what = at_index(index),
                  .problem = "valid in the TCAM, but no flow is there",
                  .state = state,
                  .remedy = Remedy::Erase,
                  .index = index});
  }
}

void check_catch_all(const AuditContext &context) {
  const Entry &entry = oftab_hw_rsrc_g.catch_all_entry;
  const asic::Tcam &tcam = context.asic.tcam();
  const asic::Record &record = tcam.at(OFTAB_CATCH_ALL_INDEX);
  const bool written = context.written.contains(OFTAB_CATCH_ALL_INDEX);
  const bool refused =
      tcam.refused_at(OFTAB_CATCH_ALL_INDEX) != nullptr || entry.stats_id == OFTAB_STATS_ID_NONE;  // or its counter was
  const auto find = [&](bool wrong, const char *problem, State state, bool excused, Remedy remedy = Remedy::None) {
    context.find(wrong, {.what = "index 4095 (the catch-all)",
                         .problem = problem,
                         .state = excused ? state : State::Disagreement,
                         .remedy = remedy,
                         .index = OFTAB_CATCH_ALL_INDEX});
  };
  const uint32_t counter = counter_named_by(record);
  find(record.valid() && counter != 0 && !context.asic.counters().exists(counter), "its counter does not exist",
       State::Disagreement, false);
  find(!record.valid(), "there is none", State::NoCatchAll, written || refused);
  if (record.valid() && written) {
    find(true, "overwritten directly", State::Written, true, Remedy::Write);
    return;
  }
  // A direct write elsewhere leaves its own record where the catch-all's was, until the next flow request.
  find(record.valid() && context.written.empty() && (!same_match(record, entry) || !same_result(record, entry)),
       "its record does not stand in the TCAM", State::RefusedWrite, refused);
}

}  // namespace

void check_records(const AuditContext &context) {
  if (oftab_hw_rsrc_g.initialized != 0) {
    check_catch_all(context);
    if (!has_lost_its_array()) {
      check_header(context);
    }
  }
  context.find(has_lost_its_array(),
               {.what = "header", .problem = "the table counts entries but has no array", .state = State::LostTable});
  for (const auto &[index, entry] : context.table.used()) {
    check_record(context, index, *entry);
    check_fan_out(context, index, *entry);
  }
  check_strays(context);
}

std::set<uint16_t> AuditExceptions::written_indices(const asic::Asic &asic) const {
  std::set<uint16_t> indices;
  for (const auto &[index, record] : written) {
    if (asic.tcam().at(index) == record) {
      indices.insert(index);
    }
  }
  return indices;
}

std::vector<Finding> audit(const asic::Asic &asic, const AuditExceptions &exceptions) {
  std::vector<Finding> findings;
  const std::set<uint16_t> written = exceptions.written_indices(asic);
  const TableSnapshot table(asic, written);
  const AuditContext context{asic, exceptions, written, table, findings};
  check_records(context);
  check_resources(context);
  check_flow_masks(context);
  return findings;
}

std::set<uint16_t> stranded_indices(const asic::Asic &asic) {
  return TableSnapshot(asic).stranded();
}

}  // namespace host
