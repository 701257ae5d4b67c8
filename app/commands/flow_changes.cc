#include "app/commands/flow_changes.h"

#include <algorithm>

#include "agent/requests.h"
#include "agent/status.h"
#include "app/commands/command_error.h"
#include "app/terminal/progress.h"
#include "app/terminal/signals.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kMostReported = 5;

// "flow 3: -3 (...), flow 7: -9 (...)", the first few that failed; the whole request's status if none did.
std::string failures_text(const Response &response, Operation operation) {
  std::string text;
  size_t failed = 0;
  for (const Response::Entry &entry : response.entries) {
    if (entry.status != OFTAB_OK && ++failed <= kMostReported) {
      text += concat(failed == 1 ? "flow " : ", flow ", entry.id, ": ", status_text(operation, entry.status));
    }
  }
  if (failed == 0) {
    return status_text(operation, response.status);
  }
  return failed > kMostReported ? concat(text, " and ", failed - kMostReported, " more") : text;
}

bool failed(const Response &response) {
  const auto bad = [](const Response::Entry &entry) { return entry.status != OFTAB_OK; };
  return response.status != OFTAB_OK || std::any_of(response.entries.begin(), response.entries.end(), bad);
}

// "campus.flows:17: " for the first flow that failed, or the first of all when only the request as a whole did.
std::string origin_text(const std::string &file, std::span<const Flow> flows, const Response &response) {
  if (file.empty()) {
    return "";
  }
  size_t position = 0;
  while (position < response.entries.size() && response.entries[position].status == OFTAB_OK) {
    ++position;
  }
  const Flow &flow = position < flows.size() ? flows[position] : flows.front();
  return concat(file, ":", flow.line, ": ");
}

void replace(Session &session, const Flow &flow) {
  const uint32_t seq_no = *flow.seq_no;
  require_success(submit_entries(session.device, delete_request({&seq_no, 1})), Operation::Delete,
                  concat("flow ", seq_no, " was not modified"));
  require_success(submit_entries(session.device, flow_request(OFTAB_ENTRY_ADD, {&flow, 1})), Operation::Add,
                  concat("flow ", seq_no, " was deleted and could not be added again"));
}

void replace_all(Session &session, std::span<const Flow> flows) {
  Progress progress("replacing flows", flows.size());
  for (size_t done = 0; done < flows.size(); progress.update(++done)) {
    if (interrupted()) {
      throw Interrupted(concat(done, " of ", counted(flows.size(), "flow"), " were replaced, none else modified"));
    }
    replace(session, flows[done]);
  }
  if (!flows.empty()) {
    *session.out << counted(flows.size(), "flow")
                 << " had outputs: deleted and added again, with counters that start anew\n";
  }
}

void modify_in_place(Session &session, std::span<const Flow> flows) {
  if (flows.empty()) {
    return;
  }
  const Response response = submit_entries(session.device, flow_request(OFTAB_ENTRY_MODIFY, flows));
  require_success(response, Operation::Modify, "modification failed");
}

}  // namespace

void require_success(const Response &response, Operation operation, const std::string &what) {
  if (failed(response)) {
    throw CommandError(concat(what, ": ", failures_text(response, operation)));
  }
}

size_t add_flows(Session &session, std::span<const Flow> flows, size_t batch, const std::string &file) {
  Progress progress("adding flows", flows.size());
  size_t requests = 0;
  for (size_t done = 0; done < flows.size(); ++requests) {
    const auto part = flows.subspan(done, std::min(batch, flows.size() - done));
    const Response response = submit_entries(session.device, flow_request(OFTAB_ENTRY_ADD, part));
    const std::string before = done == 0 ? "" : concat(" behind ", done, " that were");
    if (failed(response)) {
      require_success(response, Operation::Add,
                      origin_text(file, part, response) + counted(part.size(), "flow") + " not added" + before);
    }
    done += part.size();
    progress.update(done);
    if (interrupted() && done < flows.size()) {
      throw Interrupted(concat(done, " of ", counted(flows.size(), "flow"), " were added"));
    }
  }
  return requests;
}

void modify_flows(Session &session, std::span<const InstalledFlow> flows, const std::vector<Action> &actions) {
  const HardwareActions wanted = lowered(actions);
  std::vector<Flow> to_replace;
  std::vector<Flow> to_modify;
  for (const InstalledFlow &installed : flows) {
    const bool loses_outputs =
        installed.hardware.kind == HardwareActions::Kind::Output && wanted.kind != HardwareActions::Kind::Output;
    std::vector<Flow> &changed = loses_outputs ? to_replace : to_modify;
    changed.push_back(installed.flow);
    changed.back().actions = actions;
  }
  replace_all(session, to_replace);
  modify_in_place(session, to_modify);
}

}  // namespace app
