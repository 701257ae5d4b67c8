// SPDX-License-Identifier: Apache-2.0
#include "app/commands/catch_all.h"

#include "agent/hardware.h"
#include "agent/requests.h"
#include "agent/responses.h"
#include "agent/status.h"
#include "agent/table_view.h"
#include "app/commands/command_error.h"
#include "app/syntax/action_syntax.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

using Kind = HardwareActions::Kind;

HardwareActions parse_catch_all(const Word &word, const Session &session) {
  const auto lowered = lower(parse_actions(word, session.device.interfaces()));
  const auto *actions = std::get_if<HardwareActions>(&lowered);
  if (actions == nullptr || actions->kind == Kind::Output) {
    throw TextError(word.column, "the catch-all entry can drop, normal or controller");
  }
  return *actions;
}

bool copies(const HardwareActions &actions) {
  return actions.kind == Kind::Controller || actions.copy_to_controller;
}

void require_success(int32_t status, Operation operation, const char *what) {
  if (status != OFTAB_OK) {
    throw CommandError(concat(what, ": ", status_text(operation, status)));
  }
}

// The copy ends with the record: the next request installs another.
void end_copy() {
  require_success(oftab_clear_catch_all(OFTAB_CATCH_ALL_INDEX, OFTAB_CATCH_ALL_INDEX), Operation::Write,
                  "ending the copy to the controllers");
}

HardwareActions installed(const Session &session) {
  return actions_of(oftab_hw_rsrc_g.catch_all_entry, session.device.interfaces());
}

}  // namespace

void change_catch_all(Session &session, Arguments &arguments) {
  const Word word = arguments.next("the action");
  arguments.finish();
  const HardwareActions actions = parse_catch_all(word, session);
  if (oftab_hw_rsrc_g.initialized != 0 && copies(installed(session)) && !copies(actions)) {
    end_copy();
  }
  for (const Bytes &request : catch_all_requests(actions)) {
    require_success(submit_entries(session.device, request).status, Operation::CatchAll, "catch-all");
  }
  session.catch_all_application = actions.app_id;
  *session.out << "catch-all entry: " << catch_all_text(session) << '\n';
}

std::string catch_all_text(const Session &session) {
  HardwareActions actions = installed(session);
  actions.app_id = session.catch_all_application;
  return to_text(actions);
}

}  // namespace app
