// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/flow_syntax.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "agent/hardware.h"
#include "agent/interface_names.h"
#include "app/syntax/action_syntax.h"
#include "app/syntax/items.h"
#include "app/syntax/match_syntax.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

// What a flow has beside match and actions.
struct Setting {
  std::string_view name;
  uint64_t highest;
  bool selects;
  void (*set)(Flow &flow, uint64_t value);
};

constexpr Setting kSettings[] = {
    {"priority", 0xFFFF, true, [](Flow &flow, uint64_t value) { flow.priority = static_cast<uint32_t>(value); }},
    {"seq", 0xFFFFFFFF, true, [](Flow &flow, uint64_t value) { flow.seq_no = static_cast<uint32_t>(value); }},
    {"cookie", UINT64_MAX, false, [](Flow &flow, uint64_t value) { flow.cookie = value; }},
    {"idle_timeout", 0xFFFF, false,
     [](Flow &flow, uint64_t value) { flow.idle_timeout = static_cast<uint16_t>(value); }},
    {"hard_timeout", 0xFFFF, false,
     [](Flow &flow, uint64_t value) { flow.hard_timeout = static_cast<uint16_t>(value); }},
};

struct Flag {
  std::string_view name;
  FlowFlag flag;
};

constexpr Flag kFlags[] = {{"send_flow_rem", kSendFlowRemoved}, {"check_overlap", kCheckOverlap}};

// What a switch says of a flow, and no flow is told.
constexpr std::string_view kReadings[] = {"duration", "n_packets", "n_bytes", "idle_age", "hard_age"};

constexpr std::string_view kLater[] = {"importance",   "out_group",        "allow_hidden_fields",
                                       "reset_counts", "no_packet_counts", "no_byte_counts"};

struct KindName {
  std::string_view name;
  HardwareActions::Kind kind;
};

constexpr KindName kKinds[] = {
    {"drop", HardwareActions::Kind::Drop},
    {"normal", HardwareActions::Kind::Normal},
    {"output", HardwareActions::Kind::Output},
    {"controller", HardwareActions::Kind::Controller},
};

struct CommandName {
  std::string_view name;
  FlowMod::Command command;
};

constexpr CommandName kCommands[] = {
    {"add", FlowMod::Command::Add},
    {"modify", FlowMod::Command::Modify},
    {"modify_strict", FlowMod::Command::ModifyStrict},
    {"delete", FlowMod::Command::Delete},
    {"delete_strict", FlowMod::Command::DeleteStrict},
};

template <typename Row, size_t Count>
const Row *find_named(const Row (&table)[Count], std::string_view name) {
  const auto row = std::ranges::find_if(table, [&](const Row &each) { return each.name == name; });
  return row == std::end(table) ? nullptr : row;
}

template <size_t Count>
bool contains(const std::string_view (&names)[Count], std::string_view name) {
  return std::ranges::find(names, name) != std::end(names);
}

bool is_actions(const Item &item) {
  return item.name.text == "actions" || item.name.text == "action";
}

// Everything behind "actions=" up to the end of the line, or of the quotes.
Word actions_text(std::string_view line, const Item &item) {
  if (!item.argument) {
    throw TextError(item.name.column, quoted(item.name) + " needs a value");
  }
  const Word &first = *item.argument;
  const bool in_quotes = first.column > 1 && line[first.column - 2] == '"';
  return in_quotes ? first : Word{line.substr(first.column - 1), first.column};
}

// The part of a line that is the flow: behind `start`, without comment, blanks and quotes around it.
Word flow_text(std::string_view line, size_t start) {
  line = without_comment(line);
  Word text{line.substr(std::min(start, line.size())), std::min(start, line.size()) + 1};
  const size_t first = std::min(text.text.find_first_not_of(" \t\r\n"), text.text.size());
  text = {text.text.substr(first), text.column + first};
  text.text = text.text.substr(0, text.text.find_last_not_of(" \t\r\n") + 1);
  const bool in_quotes = text.text.size() > 1 && text.text.front() == text.text.back() &&
                         (text.text.front() == '"' || text.text.front() == '\'');
  return in_quotes ? Word{text.text.substr(1, text.text.size() - 2), text.column + 1} : text;
}

// Packets have those two bits; no flow compares them.
void refuse_congestion_bits(const Item &item) {
  if (item.name.text == "nw_tos" && (read_number(item.argument->text).value_or(0) & ~kExactTos) != 0) {
    throw TextError(item.argument->column, concat("flows compare the upper six bits of nw_tos, and ",
                                                  quoted(*item.argument), " has others set"));
  }
}

// Reads a flow, item by item.
class FlowReader {
 public:
  FlowReader(FlowRole role, const Interfaces &interfaces) : role_(role), interfaces_(interfaces) {}

  Selection read(const Word &text);

 private:
  void take(const Item &item);
  bool take_setting(const Item &item);
  bool take_flag(const Item &item);
  bool take_other(const Item &item);
  bool take_filter(const Item &item);
  void note(const Word &name, uint64_t value);
  void require_flow(const Word &name) const;
  void finish(const Word &text);

  const FlowRole role_;
  const Interfaces &interfaces_;
  MatchReader match_;
  Selection selection_;
  std::map<std::string_view, uint64_t> settings_;
  bool complete_ = false;
};

Selection FlowReader::read(const Word &text) {
  for (const Item &item : split_items(text)) {
    if (is_actions(item) && role_ == FlowRole::Complete) {
      const Word actions =
          actions_text({text.text.data() - (text.column - 1), text.column - 1 + text.text.size()}, item);
      selection_.flow.actions = parse_actions(actions, interfaces_);
      complete_ = true;
      break;
    }
    take(item);
  }
  finish(text);
  return selection_;
}

void FlowReader::take(const Item &item) {
  const bool filters = role_ == FlowRole::Selection && take_filter(item);
  if (filters || take_setting(item) || take_flag(item) || take_other(item)) {
    return;
  }
  if (!match_.take(item)) {
    refuse_field(item.name, role_ == FlowRole::Complete ? flow_words() : selection_words());
  }
  refuse_congestion_bits(item);
}

// A setting that is given again must say the same.
void FlowReader::note(const Word &name, uint64_t value) {
  const auto [before, first] = settings_.emplace(name.text, value);
  if (!first && before->second != value) {
    throw TextError(name.column, concat(quoted(name), " is given twice, with different values"));
  }
}

void FlowReader::require_flow(const Word &name) const {
  if (role_ == FlowRole::Selection) {
    throw TextError(name.column, concat("flows are not selected by ", quoted(name)));
  }
}

bool FlowReader::take_setting(const Item &item) {
  const Setting *setting = find_named(kSettings, item.name.text);
  if (setting == nullptr) {
    return false;
  }
  if (!setting->selects) {
    require_flow(item.name);
  }
  const uint64_t value = number_in(argument_of(item), 0, setting->highest, setting->name);
  note(item.name, value);
  setting->set(selection_.flow, value);
  return true;
}

bool FlowReader::take_flag(const Item &item) {
  const Flag *flag = find_named(kFlags, item.name.text);
  if (flag == nullptr) {
    return false;
  }
  require_flow(item.name);
  refuse_argument(item);
  selection_.flow.flags |= flag->flag;
  return true;
}

// What says something of a flow that is no part of it.
bool FlowReader::take_other(const Item &item) {
  const std::string_view name = item.name.text;
  if (name == "table") {
    if (const uint64_t table = number_in(argument_of(item), 0, 255, name); table != 0 && table != 255) {
      throw TextError(item.argument->column, concat("the switch has one table, 0, not ", table));
    }
  } else if (contains(kLater, name)) {
    throw TextError(item.name.column, concat("OpenFlow 1.0 has no ", quoted(item.name)));
  } else {
    return contains(kReadings, name);
  }
  return true;
}

// What selects flows beside their match.
bool FlowReader::take_filter(const Item &item) {
  const std::string_view name = item.name.text;
  if (name == "out_port") {
    selection_.out_port = possible_port_named(argument_of(item));
  } else if (name == "hits") {
    selection_.hits = number_in(argument_of(item), 0, UINT64_MAX, name);
  } else if (name == "cookie") {
    selection_.cookie = number_in(argument_of(item), 0, UINT64_MAX, name);
  } else if (is_actions(item)) {
    const KindName *kind = find_named(kKinds, argument_of(item).text);
    if (kind == nullptr) {
      throw TextError(
          item.argument->column,
          concat("an action that selects flows is drop, normal, output or controller, not ", quoted(*item.argument)));
    }
    selection_.kind = kind->kind;
  } else {
    return false;
  }
  return true;
}

void FlowReader::finish(const Word &text) {
  Flow &flow = selection_.flow;
  flow.match = normalised(match_.finish());
  if (role_ == FlowRole::Selection) {
    return;
  }
  if (!complete_) {
    throw TextError(text.column + text.text.size(),
                    "actions are missing: actions=drop, normal, output:PORT or controller");
  }
}

}  // namespace

bool Selection::is_everything() const {
  return flow.match == Match{} && !flow.priority && !flow.seq_no && out_port == kPortNone && !kind && !hits && !cookie;
}

Flow parse_flow(std::string_view line, size_t start, FlowRole role, const Interfaces &interfaces) {
  return FlowReader(role, interfaces).read(flow_text(line, start)).flow;
}

Selection parse_selection(std::string_view line, size_t start, const Interfaces &interfaces) {
  return FlowReader(FlowRole::Selection, interfaces).read(flow_text(line, start));
}

std::set<std::string> flow_words() {
  std::set<std::string> words = match_words();
  for (const Setting &setting : kSettings) {
    words.insert(concat(setting.name, "="));
  }
  for (const Flag &flag : kFlags) {
    words.emplace(flag.name);
  }
  words.insert("actions=");
  return words;
}

std::set<std::string> selection_words() {
  std::set<std::string> words = match_words();
  words.insert({"actions=", "cookie=", "hits=", "out_port=", "priority=", "seq="});
  return words;
}

std::set<std::string> kind_words() {
  std::set<std::string> words;
  for (const KindName &kind : kKinds) {
    words.emplace(kind.name);
  }
  return words;
}

FlowMod parse_flow_mod(std::string_view line, const Interfaces &interfaces) {
  Word text = flow_text(line, 0);
  FlowMod mod;
  const size_t end = std::min(text.text.find_first_of(", \t"), text.text.size());
  if (const CommandName *command = find_named(kCommands, text.text.substr(0, end))) {
    mod.command = command->command;
    text = {text.text.substr(end), text.column + end};
  }
  const bool deletes = mod.command == FlowMod::Command::Delete || mod.command == FlowMod::Command::DeleteStrict;
  Selection selection = FlowReader(deletes ? FlowRole::Selection : FlowRole::Complete, interfaces).read(text);
  if (selection.kind || selection.hits || selection.cookie) {
    throw TextError(text.column, "flows that a line of a file deletes are selected by match, priority and out_port");
  }
  mod.flow = std::move(selection.flow);
  mod.out_port = selection.out_port;
  return mod;
}

}  // namespace app
