#include "app/syntax/action_syntax.h"

#include <algorithm>

#include "agent/interface_names.h"
#include "app/syntax/match_syntax.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

// Takes the actions one after the other, each split into its name and its argument.
class ActionReader {
 public:
  explicit ActionReader(const Interfaces &interfaces) : interfaces_(interfaces) {}

  void take(const SplitWord &action);
  Actions finish() const;

 private:
  void set_kind(Actions::Kind kind, const SplitWord &action);
  void take_plain(Actions::Kind kind, const SplitWord &action);
  void take_output(const SplitWord &action);
  void take_controller(const SplitWord &action);

  const Interfaces &interfaces_;
  Actions actions_;
  std::optional<Actions::Kind> kind_;  // of the action beside the controller
  bool controller_ = false;
};

void ActionReader::take(const SplitWord &action) {
  const std::string_view name = action.before.text;
  if (same_ignoring_case(name, "drop")) {
    take_plain(Actions::Kind::Drop, action);
  } else if (same_ignoring_case(name, "normal")) {
    take_plain(Actions::Kind::Normal, action);
  } else if (same_ignoring_case(name, "output")) {
    take_output(action);
  } else if (same_ignoring_case(name, "controller")) {
    take_controller(action);
  } else {
    throw TextError(action.before.column,
                    concat("the hardware cannot do ", quoted(action.before),
                           ": actions are drop, normal, output:PORT and controller[:APPLICATION]"));
  }
}

void ActionReader::set_kind(Actions::Kind kind, const SplitWord &action) {
  if (kind_ && (*kind_ != kind || kind != Actions::Kind::Output)) {
    throw TextError(action.before.column, "drop, normal and output exclude each other and are given once");
  }
  kind_ = kind;
}

void ActionReader::take_plain(Actions::Kind kind, const SplitWord &action) {
  if (action.behind) {
    throw TextError(action.behind->column, quoted(action.before) + " takes no argument");
  }
  set_kind(kind, action);
}

void ActionReader::take_output(const SplitWord &action) {
  if (!action.behind) {
    throw TextError(action.before.column, "'output' needs a port: output:PORT");
  }
  set_kind(Actions::Kind::Output, action);
  const uint32_t ifindex = interface_named(*action.behind, interfaces_);
  if (std::find(actions_.outputs.begin(), actions_.outputs.end(), ifindex) != actions_.outputs.end()) {
    throw TextError(action.behind->column, interface_name(ifindex) + " is an output already");
  }
  actions_.outputs.push_back(ifindex);
}

void ActionReader::take_controller(const SplitWord &action) {
  if (controller_) {
    throw TextError(action.before.column, "'controller' is given twice");
  }
  controller_ = true;
  if (action.behind) {
    actions_.app_id = static_cast<uint32_t>(number_in(*action.behind, 1, 8, "a controller application"));
  }
}

Actions ActionReader::finish() const {
  Actions actions = actions_;
  actions.kind = kind_.value_or(Actions::Kind::Controller);
  actions.copy_to_controller = controller_ && kind_.has_value();
  return actions;
}

}  // namespace

Actions parse_actions(const Word &text, const Interfaces &interfaces) {
  ActionReader reader(interfaces);
  const std::vector<SplitWord> items = split_items(text.text, text.column);
  if (items.empty()) {
    throw TextError(text.column, "an action is missing; a flow that drops says actions=drop");
  }
  for (const SplitWord &item : items) {
    if (item.behind) {
      throw TextError(item.before.column, "actions come last in a flow");
    }
    reader.take(split_at(item.before, ':'));
  }
  return reader.finish();
}

}  // namespace app
