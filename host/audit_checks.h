// SPDX-License-Identifier: Apache-2.0
// The parts of the audit: each adds what it finds.
#ifndef HOST_AUDIT_CHECKS_H
#define HOST_AUDIT_CHECKS_H

#include <set>
#include <utility>
#include <vector>

#include "host/audit.h"
#include "host/table_snapshot.h"

namespace host {

struct AuditContext {
  const asic::Asic &asic;
  const AuditExceptions &exceptions;
  const std::set<uint16_t> &written;  // indices that hold what the operator wrote directly
  const TableSnapshot &table;
  std::vector<Finding> &findings;

  void find(bool wrong, Finding finding) const {
    if (wrong) {
      findings.push_back(std::move(finding));
    }
  }
};

// The header, the records in the TCAM and the trees behind them, and the catch-all.
void check_records(const AuditContext &context);

// Counters, multicast indices and trees have owners.
void check_resources(const AuditContext &context);

void check_flow_masks(const AuditContext &context);

}  // namespace host

#endif
