#include "app/syntax/action_syntax.h"

#include "agent/hardware.h"
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
  std::vector<Action> finish() const;

 private:
  void add(const Action &action, const Word &word);
  void take_drop(const SplitWord &action);
  void take_normal(const SplitWord &action);
  void take_output(const SplitWord &action);
  void take_controller(const SplitWord &action);

  const Interfaces &interfaces_;
  std::vector<Action> actions_;
  std::vector<Word> words_;  // where each of them stands
  std::optional<Word> drop_;
};

void refuse_argument(const SplitWord &action) {
  if (action.behind) {
    throw TextError(action.behind->column, quoted(action.before) + " takes no argument");
  }
}

void ActionReader::take(const SplitWord &action) {
  const std::string_view name = action.before.text;
  if (same_ignoring_case(name, "drop")) {
    take_drop(action);
  } else if (same_ignoring_case(name, "normal")) {
    take_normal(action);
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

void ActionReader::add(const Action &action, const Word &word) {
  actions_.push_back(action);
  words_.push_back(word);
}

void ActionReader::take_drop(const SplitWord &action) {
  refuse_argument(action);
  drop_ = action.before;
}

void ActionReader::take_normal(const SplitWord &action) {
  refuse_argument(action);
  add(output_to(kPortNormal), action.before);
}

void ActionReader::take_output(const SplitWord &action) {
  if (!action.behind) {
    throw TextError(action.before.column, "'output' needs a port: output:PORT");
  }
  add(output_to(interface_named(*action.behind, interfaces_)), *action.behind);
}

void ActionReader::take_controller(const SplitWord &action) {
  Action controller = output_to(kPortController);
  if (action.behind) {
    controller.app_id = static_cast<uint32_t>(number_in(*action.behind, 1, 8, "a controller application"));
  }
  add(controller, action.before);
}

// What the hardware cannot do is refused where it stands.
std::vector<Action> ActionReader::finish() const {
  const auto result = lower(actions_);
  if (const auto *refusal = std::get_if<Refusal>(&result)) {
    throw TextError(words_[refusal->action].column, refusal->reason);
  }
  const HardwareActions::Kind kind = std::get<HardwareActions>(result).kind;
  if (drop_ && kind != HardwareActions::Kind::Drop && kind != HardwareActions::Kind::Controller) {
    throw TextError(drop_->column, "a flow that drops packets sends them nowhere but to the controller");
  }
  return actions_;
}

}  // namespace

std::vector<Action> parse_actions(const Word &text, const Interfaces &interfaces) {
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
