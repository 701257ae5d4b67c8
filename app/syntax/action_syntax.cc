// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/action_syntax.h"

#include <algorithm>
#include <iterator>

#include "agent/actions.h"
#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "app/syntax/items.h"
#include "app/syntax/suggestion.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

constexpr uint64_t kLongest = 0xFFFF;  // of what the controller gets of a packet

// Takes the actions one after the other.
class ActionReader {
 public:
  explicit ActionReader(const Interfaces &interfaces) : interfaces_(interfaces) {}

  void take(const Item &action);
  std::vector<Action> finish() const;

  // An action that leaves packets as they are.
  struct Row {
    std::string_view name;
    bool needs_argument;
    void (ActionReader::*take)(const Item &action);
  };
  static const Row kRows[];
  static const Row *row_named(std::string_view name);

 private:
  void take_drop(const Item &action);
  void take_output(const Item &action);
  void take_ports(const Word &ports);
  void take_controller(const Item &action);
  void take_enqueue(const Item &action);
  void take_other(const Item &action);

  const Interfaces &interfaces_;
  std::vector<Action> actions_;
  std::optional<Word> drop_;
};

const ActionReader::Row ActionReader::kRows[] = {
    {"drop", false, &ActionReader::take_drop},
    {"output", true, &ActionReader::take_output},
    {"controller", false, &ActionReader::take_controller},
    {"enqueue", true, &ActionReader::take_enqueue},
};

const ActionReader::Row *ActionReader::row_named(std::string_view name) {
  const auto *const row =
      std::ranges::find_if(kRows, [&](const Row &each) { return same_ignoring_case(each.name, name); });
  return row == std::end(kRows) ? nullptr : row;
}

void ActionReader::take(const Item &action) {
  if (const Row *row = row_named(action.name.text)) {
    (this->*row->take)(action);
  } else {
    take_other(action);
  }
}

void ActionReader::take_drop(const Item &action) {
  refuse_argument(action);
  drop_ = action.name;
}

void ActionReader::take_output(const Item &action) {
  take_ports(argument_of(action));
}

void ActionReader::take_ports(const Word &ports) {
  if (same_ignoring_case(ports.text, "controller")) {
    return take_controller({ports, std::nullopt});
  }
  for (const uint32_t port : ports_named(ports, interfaces_)) {
    actions_.push_back(output_to(port));
  }
}

// "controller:128", "controller(max_len=128,app=3)".
void ActionReader::take_controller(const Item &action) {
  Action controller = output_to(kPortController);
  for (const Item &item : action.argument ? split_items(*action.argument) : std::vector<Item>{}) {
    const bool length = item.name.text == "max_len";
    if (length || (!item.argument && read_number(item.name.text))) {
      const Word &value = length ? argument_of(item) : item.name;
      controller.max_len = static_cast<uint16_t>(number_in(value, 0, kLongest, "max_len"));
    } else if (item.name.text == "app") {
      controller.app_id = static_cast<uint32_t>(number_in(argument_of(item), 1, kCpuApplication - 1, "an application"));
    } else if (item.name.text != "reason" || !item.argument || item.argument->text != "action") {
      throw TextError(item.name.column, concat("OpenFlow 1.0 has no ", quoted(item.name), " for the controller"));
    }
  }
  actions_.push_back(controller);
}

// "enqueue:PORT:QUEUE", "enqueue(PORT,QUEUE)".
void ActionReader::take_enqueue(const Item &action) {
  const Word &argument = argument_of(action);
  const bool comma = argument.text.find(',') != std::string_view::npos;
  const SplitWord parts = split_at(argument, comma ? ',' : ':');
  if (!parts.behind) {
    throw TextError(argument.column, "enqueue needs a port and a queue: enqueue:PORT:QUEUE");
  }
  Action enqueue{.kind = Action::Kind::Enqueue, .value = port_or_reserved(parts.before, interfaces_)};
  enqueue.queue = static_cast<uint32_t>(number_in(*parts.behind, 0, 0xFFFFFFFF, "a queue"));
  actions_.push_back(enqueue);
}

// What is no action by its name is a port.
void ActionReader::take_other(const Item &action) {
  if (const PacketChange *change = packet_change_named(action.name.text)) {
    const bool reads = change->read != nullptr;
    if (!reads) {
      refuse_argument(action);
    }
    actions_.push_back({.kind = change->kind, .value = reads ? change->read(argument_of(action)) : 0});
  } else if (names_port(action.name)) {
    refuse_argument(action);
    take_ports(action.name);
  } else {
    throw TextError(action.name.column, concat("OpenFlow 1.0 has no action ", quoted(action.name),
                                               suggestion(action.name.text, action_words())));
  }
}

std::vector<Action> ActionReader::finish() const {
  const auto goes_on = [](const Action &action) { return !is_output_to(action, kPortController); };
  if (drop_ && std::ranges::any_of(actions_, goes_on)) {
    throw TextError(drop_->column, "a flow that drops packets sends them nowhere but to the controller");
  }
  return actions_;
}

bool names_action(std::string_view name) {
  return ActionReader::row_named(name) != nullptr || packet_change_named(name) != nullptr;
}

}  // namespace

std::set<std::string> action_words() {
  std::set<std::string> words = reserved_outputs();
  for (const ActionReader::Row &row : ActionReader::kRows) {
    words.insert(concat(row.name, row.needs_argument ? ":" : ""));
  }
  for (const PacketChange &change : packet_changes()) {
    words.insert(concat(change.name, change.read == nullptr ? "" : ":"));
  }
  return words;
}

std::set<std::string> reserved_outputs() {
  return {"all", "controller", "flood", "in_port", "local", "normal"};
}

std::vector<Action> parse_actions(const Word &text, const Interfaces &interfaces) {
  ActionReader reader(interfaces);
  for (const Item &item : split_items(text)) {
    if (item.separator == '=' && !names_action(item.name.text)) {
      throw TextError(item.name.column, "actions come last in a flow");
    }
    reader.take(item);
  }
  return reader.finish();
}

}  // namespace app
