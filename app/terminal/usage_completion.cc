// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/usage_completion.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

#include "app/commands/command.h"
#include "app/commands/flow_listing.h"
#include "app/terminal/flow_completion.h"
#include "host/services/faults.h"

namespace app {

using namespace agent;

namespace {

// The commands that begin with a word, which may be shortened; none when that is unclear.
std::vector<const Command *> commands_meant(const Word &word) {
  try {
    return commands_beginning(word);
  } catch (const TextError &) {
    return {};
  }
}

// The word of a command's name that follows `typed`, empty when there is none.
std::string word_behind(const Command &command, std::span<const Word> typed) {
  const std::vector<Word> name = split_words(command.name);
  return typed.size() < name.size() ? std::string(name[typed.size()].text) : "";
}

// Words that follow `typed` in the names of commands.
Choices command_words(std::span<const Word> typed) {
  Choices words;
  if (typed.empty()) {
    for (const CommandGroup &group : command_groups()) {
      for (const Command &command : group.commands) {
        words.insert(word_behind(command, typed));
      }
    }
    return words;
  }
  for (const Command *command : commands_meant(typed.front())) {
    words.insert(word_behind(*command, typed));
  }
  words.erase("");
  return words;
}

// What is being typed behind a command: the line, the arguments in front, the last word, and how to ask the switch.
struct Typing {
  std::string_view line;
  std::span<const Word> arguments;
  std::string_view typed;
  const Ask &ask;
};

std::string_view text_of_arguments(const Typing &typing) {
  return typing.arguments.empty() ? "" : typing.line.substr(typing.arguments.front().column - 1);
}

Choices flow_choices(FlowText what, const Typing &typing) {
  return flow_choices(what, text_of_arguments(typing), typing.typed, typing.ask);
}

Choices fault_calls() {
  const auto names = host::services::Faults::names();
  return {names.begin(), names.end()};
}

// What usages call a kind of words.
struct Kind {
  std::string_view name;
  Choices (*choices)(const Typing &typing);
};

constexpr Kind kKinds[] = {
    {"FILE", [](const Typing &typing) { return files(typing.typed); }},
    {"CAPTURE", [](const Typing &typing) { return files(typing.typed); }},
    {"CALL", [](const Typing &) { return fault_calls(); }},
    {"PORT", [](const Typing &) { return front_panel_ports(); }},
    {"PC", [](const Typing &typing) { return port_channels(typing.ask); }},
    {"VLAN", [](const Typing &typing) { return vlans_of_flows(typing.ask); }},
    {"ENDPOINT", [](const Typing &typing) { return endpoints(typing.ask); }},
    {"INTERFACE", [](const Typing &) { return network_interfaces(); }},
    {"KEY", [](const Typing &) { return sort_keys(); }},
    {"FLOW", [](const Typing &typing) { return flow_choices(FlowText::Flow, typing); }},
    {"SELECTION", [](const Typing &typing) { return flow_choices(FlowText::Selection, typing); }},
    {"DESCRIPTION", [](const Typing &typing) { return flow_choices(FlowText::Packet, typing); }},
    {"COMMAND", [](const Typing &typing) { return command_words(typing.arguments); }},
    {"COMMAND...",
     [](const Typing &typing) { return choices_behind(text_of_arguments(typing), typing.typed, typing.ask); }},
};

bool is_keyword(std::string_view alternative) {
  return std::ranges::none_of(alternative, [](unsigned char c) { return std::isupper(c) != 0; });
}

// What one alternative of a place stands for: words of a kind, or itself as far as it is to be typed: "nth=" of
// "nth=N".
Choices choices_of(std::string_view alternative, const Typing &typing) {
  const std::string_view name = alternative.substr(0, alternative.find("..."));
  const auto *kind = std::ranges::find(kKinds, alternative, &Kind::name);
  if (kind == std::end(kKinds)) {
    kind = std::ranges::find(kKinds, name, &Kind::name);
  }
  if (kind != std::end(kKinds)) {
    return kind->choices(typing);
  }
  const auto end = std::ranges::find_if(name, [](unsigned char c) { return std::isupper(c) != 0; });
  const std::string_view text = name.substr(0, static_cast<size_t>(end - name.begin()));
  Choices choices =
      text.ends_with('=') && typing.typed.starts_with(text) ? field_values(typing.typed, typing.ask) : Choices{};
  if (!text.empty()) {
    choices.emplace(text);
  }
  return choices;
}

std::string_view without_brackets(std::string_view place) {
  place.remove_prefix(place.starts_with('[') ? 1 : 0);
  place.remove_suffix(place.ends_with(']') ? 1 : 0);
  return place;
}

std::vector<std::string_view> alternatives(std::string_view place) {
  std::vector<std::string_view> all;
  for (std::string_view rest = without_brackets(place); !rest.empty();) {
    const size_t end = std::min(rest.find('|'), rest.size());
    all.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return all;
}

Choices choices_at(std::string_view place, const Typing &typing) {
  Choices choices;
  for (const std::string_view alternative : alternatives(place)) {
    choices.merge(choices_of(alternative, typing));
  }
  return choices;
}

bool is_option(std::string_view word) {
  return word.starts_with('-') || word.find('=') != std::string_view::npos;
}

// Whether a place takes all that is behind it.
bool takes_the_rest(std::string_view place) {
  const std::string_view name = without_brackets(place);
  constexpr std::string_view whole[] = {"COMMAND", "FLOW", "SELECTION", "DESCRIPTION"};
  return name.ends_with("...") || std::ranges::find(whole, name) != std::end(whole);
}

// An option with a value of its own, which is the place behind it: "[--sort KEY]".
bool takes_value(std::string_view place) {
  return place.starts_with("[--") && !place.ends_with(']');
}

// One way to use a command, by its places: "PORT on|off [always]" has three.
using Form = std::vector<std::string>;

// The ways that a command's usage tells, which stand on both sides of a '|' with spaces around it.
std::vector<Form> forms(const Command &command) {
  std::vector<Form> all(1);
  for (const Word &word : split_words(command.arguments)) {
    if (word.text == "|") {
      all.emplace_back();
    } else {
      all.back().emplace_back(word.text);
    }
  }
  return all;
}

// Whether a word can stand at a place: where keywords alone do, it is one of them.
bool fits(const std::string &place, const Word &word) {
  const auto words = alternatives(place);
  return !std::ranges::all_of(words, is_keyword) || std::ranges::find(words, word.text) != words.end();
}

// The value of the option that was typed last; none where it takes none.
Choices value_choices(const Form &form, const Typing &typing) {
  for (size_t i = 0; i + 1 < form.size() && !typing.arguments.empty(); ++i) {
    if (takes_value(form[i]) && typing.arguments.back().text == without_brackets(form[i])) {
      return choices_at(form[i + 1], typing);
    }
  }
  return {};
}

// Options can be taken anywhere, the other places in their order.
Choices choices_in(const Form &form, const Typing &typing) {
  Choices choices = value_choices(form, typing);
  if (!choices.empty()) {
    return choices;
  }
  std::vector<Word> given;
  std::ranges::copy_if(typing.arguments, std::back_inserter(given),
                       [](const Word &word) { return !is_option(word.text); });
  size_t position = 0;
  bool value = false;
  for (const std::string &place : form) {
    if (std::exchange(value, takes_value(place))) {
      continue;
    }
    const bool option = is_option(without_brackets(place));
    const bool rest = takes_the_rest(place) && position <= given.size();
    if (option || rest || position == given.size()) {
      const auto arguments = rest ? typing.arguments.subspan(position) : typing.arguments;
      choices.merge(choices_at(place, {typing.line, arguments, typing.typed, typing.ask}));
    } else if (position < given.size() && !fits(place, given[position])) {
      return {};
    }
    position += option ? 0 : 1;
  }
  return choices;
}

}  // namespace

Choices choices_behind(std::string_view command_text, std::string_view typed, const Ask &ask) {
  Choices choices = command_words(split_words(command_text));
  try {
    const FoundCommand found = find_command(command_text);
    const std::vector<Word> arguments = split_words(command_text, found.arguments);
    for (const Form &form : forms(*found.command)) {
      choices.merge(choices_in(form, {command_text, arguments, typed, ask}));
    }
  } catch (const TextError &) {  // no command yet
  }
  return choices;
}

}  // namespace app
