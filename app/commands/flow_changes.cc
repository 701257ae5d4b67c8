// SPDX-License-Identifier: Apache-2.0
#include "app/commands/flow_changes.h"

#include <algorithm>
#include <set>

#include "agent/agent.h"
#include "agent/failures.h"
#include "app/commands/command_error.h"
#include "app/terminal/progress.h"
#include "app/terminal/signals.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kPart = 1024;  // changes between looks at the operator's wishes

const char *undone(FlowMod::Command command) {
  switch (command) {
    case FlowMod::Command::Add:
      return "not added";
    case FlowMod::Command::Modify:
    case FlowMod::Command::ModifyStrict:
      return "not modified";
    default:
      return "not deleted";
  }
}

// "campus.flows:17: flow not added: the table is full", "flow 3 not modified: ...".
std::string refusal_text(const FlowMod &change, const AgentError &error, const std::string &file) {
  const std::string place = file.empty() ? "" : concat(file, ":", change.flow.line, ": ");
  const std::string number = change.flow.seq_no ? concat(" ", *change.flow.seq_no) : "";
  return concat(place, "flow", number, " ", undone(change.command), ": ", error.reason);
}

// What was refused of a run of changes.
class Refusals {
 public:
  explicit Refusals(std::string file) : file_(std::move(file)) {}

  void note(const FlowMod &change, const AgentError &error) {
    if (count_++ == 0) {
      first_ = refusal_text(change, error, file_);
    }
  }

  // Throws when there are any.
  void report(size_t changes) const {
    if (count_ != 0) {
      throw CommandError(count_ == 1 && changes == 1
                             ? first_
                             : concat(first_, " (", count_, " of ", counted(changes, "change"), " refused)"));
    }
  }

 private:
  std::string file_;
  size_t count_ = 0;
  std::string first_;
};

void apply_part(Session &session, std::span<const FlowMod> changes, Refusals &refusals) {
  for (const auto &[position, error] : session.agent.apply(changes)) {
    refusals.note(changes[position], error);
  }
}

}  // namespace

void apply_changes(Session &session, std::span<const FlowMod> changes, const std::string &file) {
  if (oftab_hw_rsrc_g.initialized == 0) {
    throw CommandError("the library is not initialised");
  }
  const uint64_t failures_before = session.device.tracing().failure_count();
  Progress progress("changing flows", changes.size());
  Refusals refusals(file);
  for (size_t done = 0; done < changes.size();) {
    const auto part = changes.subspan(done, std::min(kPart, changes.size() - done));
    apply_part(session, part, refusals);
    done += part.size();
    progress.update(done);
    if (interrupted() && done < changes.size()) {
      throw Interrupted(concat(done, " of ", counted(changes.size(), "change"), " were made"));
    }
  }
  refusals.report(changes.size());
  require_erased(session, failures_before);
}

void require_erased(Session &session, uint64_t failures_before) {
  if (failure_since(failures_before, session.device) == nullptr) {
    return;
  }
  std::set<uint16_t> left = host::stranded_indices(session.device.asic());
  std::erase_if(left, [&](uint16_t index) { return session.audit_exceptions.written.contains(index); });
  if (!left.empty()) {
    throw CommandError(concat("the flows are gone from the table, but the hardware refused to erase ",
                              counted(left.size(), "record"), ", the first at TCAM index ", *left.begin(),
                              ", which still takes packets; 'repair' or the next change of flows tries again"));
  }
}

}  // namespace app
