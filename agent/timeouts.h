// SPDX-License-Identifier: Apache-2.0
// When flows time out.
#ifndef AGENT_TIMEOUTS_H
#define AGENT_TIMEOUTS_H

#include <optional>

#include "agent/flow_mod.h"
#include "agent/flow_table.h"

namespace agent {

// Why a flow is to be removed; none as long as its time has not come.
std::optional<RemovedFlow::Reason> expiry(const TableEntry &entry, Time now);

// The first time after `after` at which the time of a flow comes, if it is not used any more; Time::max() when there is
// none.
Time first_deadline(const FlowTable &flows, Time after);

}  // namespace agent

#endif
