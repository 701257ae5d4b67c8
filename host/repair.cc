// SPDX-License-Identifier: Apache-2.0
#include "host/repair.h"

#include <algorithm>
#include <array>

#include "host/table_snapshot.h"
#include "oftab/oftab.h"

namespace host {
namespace {

const char *deed(const Finding &finding) {
  switch (finding.remedy) {
    case Remedy::Write:
      return "written";
    case Remedy::Erase:
      return "erased";
    case Remedy::ProgramTree:
      return "its tree has its ports";
    case Remedy::DestroyCounter:
    case Remedy::DestroyTree:
      return "released";
    case Remedy::None:
      break;
  }
  return "put right";
}

const oftab_sw_entry_t *record_at(const asic::Asic &asic, uint16_t index) {
  const TableSnapshot table(asic);
  const auto found = table.used().find(index);
  return found == table.used().end() ? nullptr : found->second;
}

void program_tree(Switch &device, const Finding &finding) {
  if (const oftab_sw_entry_t *record = record_at(device.asic(), *finding.index); record != nullptr) {
    uint32_t index = finding.resource;
    if (!device.asic().trees().exists(index)) {
      libsdk_mcst_tree_create(0, 0, &index);
    }
    libsdk_mcst_tree_group_add(0, 0, finding.resource, &record->out_ports);
  }
}

// A flow request that asks for nothing.
void wake(Switch &device) {
  constexpr std::array<uint8_t, 8> kDeleteNothing{OFTAB_ENTRY_DELETE};
  device.submit(OFTAB_MSG_ENTRY_UPDATE, kDeleteNothing);
}

// The library installs a catch-all where there is none, and gives it the action that it is asked for.
void install_catch_all(Switch &device) {
  const uint32_t kind = oftab_hw_rsrc_g.catch_all_entry.result_kind;
  device.clear_catch_all();
  wake(device);
  struct {
    oftab_entry_update_req_t header{.entry_op = OFTAB_ENTRY_ADD, .num_entries = 1, .reserved = 0};
    oftab_flow_t flow{};
  } request;
  request.flow.priority = OFTAB_CATCH_ALL_PRIORITY;
  request.flow.result_type = kind == OFTAB_RESULT_CONTROLLER ? uint32_t{OFTAB_ACTION_CONTROLLER} : kind;
  request.flow.app_id = 1;
  device.submit(OFTAB_MSG_ENTRY_UPDATE, {reinterpret_cast<const uint8_t *>(&request), sizeof request});
}

void mend(Switch &device, const Finding &finding) {
  switch (finding.remedy) {
    case Remedy::Write:
      if (finding.index == OFTAB_CATCH_ALL_INDEX) {
        install_catch_all(device);
      } else {
        device.rewrite(*finding.index);
      }
      break;
    case Remedy::Erase:
      device.erase(*finding.index);
      break;
    case Remedy::ProgramTree:
      program_tree(device, finding);
      break;
    case Remedy::DestroyCounter:
      libsdk_l3_route_stats_destroy(0, finding.resource);
      break;
    case Remedy::DestroyTree:
      libsdk_mcst_tree_destroy(0, 0, finding.resource);
      break;
    case Remedy::None:
      break;
  }
}

bool names_the_same(const Finding &one, const Finding &other) {
  return one.what == other.what && one.remedy == other.remedy;
}

std::vector<Repair> in_ranges(const std::vector<Repair> &repairs) {
  std::vector<Repair> ranges;
  for (const Repair &each : repairs) {
    if (!ranges.empty() && ranges.back().done == each.done && continues(ranges.back().finding, each.finding)) {
      extend(ranges.back().finding, each.finding);
    } else {
      ranges.push_back(each);
    }
  }
  return ranges;
}

}  // namespace

std::string Repair::text() const {
  return done ? finding.what + ": " + deed(finding) : finding.text() + " (" + std::string(finding.advice()) + ")";
}

std::vector<Repair> repair(Switch &device, const AuditExceptions &exceptions) {
  std::vector<Repair> repairs;
  for (const Finding &finding : audit(device.asic(), exceptions)) {
    repairs.push_back({finding, false});
  }
  if (repairs.empty() || has_lost_its_array()) {
    return repairs;
  }
  wake(device);
  for (const Finding &finding : audit(device.asic(), exceptions)) {
    mend(device, finding);
  }
  const std::vector<Finding> left = audit(device.asic(), exceptions);
  for (Repair &each : repairs) {
    each.done = std::ranges::none_of(left, [&](const Finding &one) { return names_the_same(one, each.finding); });
  }
  return in_ranges(repairs);
}

}  // namespace host
