// Changing the table through requests: what the flow commands do once they know which flows are meant.
#ifndef APP_COMMANDS_FLOW_CHANGES_H
#define APP_COMMANDS_FLOW_CHANGES_H

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "agent/flow.h"
#include "agent/responses.h"
#include "agent/status.h"
#include "agent/table_view.h"
#include "app/commands/command.h"

namespace app {

// A CommandError that names what failed, unless everything in the response succeeded.
void require_success(const agent::Response &response, agent::Operation operation, const std::string &what);

// Adds flows, which have their sequence numbers, `batch` in a request. `file` names their origin in the CommandError
// that a failing request ends with. Returns the number of requests.
size_t add_flows(Session &session, std::span<const agent::Flow> flows, size_t batch, const std::string &file);

// Gives installed flows new actions. A flow that has outputs now and shall have none is deleted and added again: a
// modification would leave it naming a multicast index that is no longer its own. Says so.
void modify_flows(Session &session, std::span<const agent::InstalledFlow> flows,
                  const std::vector<agent::Action> &actions);

}  // namespace app

#endif
