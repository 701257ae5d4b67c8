// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/completion.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <span>
#include <utility>
#include <vector>

#include "agent/interface_names.h"
#include "app/commands/command.h"
#include "app/commands/flow_listing.h"
#include "app/syntax/action_syntax.h"
#include "app/syntax/flow_syntax.h"
#include "app/syntax/match_syntax.h"
#include "app/terminal/command_line.h"
#include "host/services/faults.h"

namespace app {

using namespace agent;

namespace {

namespace fs = std::filesystem;

using Choices = std::set<std::string>;

constexpr std::string_view kNeedQuotes = " \t;#|>";

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

// The files whose paths begin with `typed`; directories end in a slash.
Choices files(std::string_view typed) {
  const size_t name = typed.find_last_of('/') + 1;
  const std::string directory(typed.substr(0, name));
  Choices paths;
  std::error_code error;
  for (const fs::directory_entry &entry : fs::directory_iterator(directory.empty() ? "." : directory, error)) {
    const std::string file = entry.path().filename().string();
    const bool hidden = file.starts_with('.') && name == typed.size();
    if (file.starts_with(typed.substr(name)) && !hidden && file.find('"') == std::string::npos) {
      paths.insert(concat(directory, file, entry.is_directory(error) ? "/" : ""));
    }
  }
  return paths;
}

// The places of a command's usage: "PORT on|off [nth=N] [always]" has four. Spaces around '|' do not count.
std::vector<std::string> places(const Command &command) {
  std::string usage(command.arguments);
  for (size_t at = usage.find(" | "); at != std::string::npos; at = usage.find(" | ")) {
    usage.erase(at + 2, 1);
    usage.erase(at, 1);
  }
  std::vector<std::string> places;
  for (const Word &word : split_words(usage)) {
    places.emplace_back(word.text);
  }
  return places;
}

// Where the item that is being typed begins in a word of flow syntax: behind a comma, or where the actions begin.
size_t item_start(std::string_view typed) {
  for (const std::string_view name : {"actions=", "action="}) {
    if (typed.starts_with(name)) {
      return std::max(name.size(), typed.find_last_of(',') + 1);
    }
  }
  const size_t comma = typed.find_last_of(',') + 1;
  return comma + (comma == 0 ? 0 : item_start(typed.substr(comma)));
}

// `words` as items behind what is typed of a flow; behind its actions, other actions.
Choices items(const Choices &words, std::span<const Word> arguments, std::string_view typed) {
  const std::string_view before = typed.substr(0, item_start(typed));
  const auto has_actions = [](std::string_view text) { return text.find("action") != std::string_view::npos; };
  const bool actions =
      has_actions(before) || std::ranges::any_of(arguments, [&](const Word &word) { return has_actions(word.text); });
  Choices choices;
  for (const std::string &word : actions ? action_words() : words) {
    choices.insert(concat(before, word));
  }
  return choices;
}

Choices ports() {
  Choices names;
  for (uint32_t slot = 0; slot < host::services::Interfaces::kPorts; ++slot) {
    names.insert(interface_name(host::services::Interfaces::port_ifindex(slot)));
  }
  return names;
}

Choices description_words() {
  Choices words = match_words();
  words.insert("len=");
  return words;
}

Choices choices_behind(std::string_view command_text, std::string_view typed);

// What is being typed: the whole of it, the arguments before it, and the last word.
struct Typing {
  std::string_view line;
  std::span<const Word> arguments;
  std::string_view typed;
};

// What one alternative of a place stands for: itself if it is a keyword, "name=" of an option, or a kind of words.
Choices choices_of(std::string_view alternative, const Typing &typing) {
  if (alternative == "FILE" || alternative == "CAPTURE") {
    return files(typing.typed);
  }
  if (alternative == "CALL") {
    const auto names = host::services::Faults::names();
    return {names.begin(), names.end()};
  }
  if (alternative == "PORT" || alternative == "PORT...") {
    return ports();
  }
  if (alternative == "KEY") {
    return sort_keys();
  }
  if (alternative == "FLOW" || alternative == "SELECTION") {
    return items(flow_words(), typing.arguments, typing.typed);
  }
  if (alternative == "DESCRIPTION") {
    return items(description_words(), {}, typing.typed);
  }
  if (alternative == "COMMAND") {
    const bool none = typing.arguments.empty();
    return choices_behind(none ? "" : typing.line.substr(typing.arguments.front().column - 1), typing.typed);
  }
  const bool keyword = !alternative.empty() && std::isupper(static_cast<unsigned char>(alternative.front())) == 0;
  const std::string_view text = alternative.substr(0, std::min(alternative.find('='), alternative.size() - 1) + 1);
  return keyword && alternative.find("...") == std::string_view::npos ? Choices{std::string(text)} : Choices{};
}

std::string_view without_brackets(std::string_view place) {
  place.remove_prefix(place.starts_with('[') ? 1 : 0);
  place.remove_suffix(place.ends_with(']') ? 1 : 0);
  return place;
}

Choices choices_at(std::string_view place, const Typing &typing) {
  std::string_view rest = without_brackets(place);
  Choices choices;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('|'), rest.size());
    choices.merge(choices_of(rest.substr(0, end), typing));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return choices;
}

bool is_option(std::string_view word) {
  return word.starts_with('-') || word.find('=') != std::string_view::npos;
}

// Whether a place takes all that is behind it.
bool takes_the_rest(std::string_view place) {
  const std::string_view name = without_brackets(place);
  return name == "COMMAND" || name == "FLOW" || name == "SELECTION" || name.ends_with("...");
}

// An option with a value of its own, which is the place behind it: "[--sort KEY]".
bool takes_value(std::string_view place) {
  return place.starts_with("[--") && !place.ends_with(']');
}

// The value of the option that was typed last; none where it takes none.
Choices value_choices(std::span<const std::string> places, const Typing &typing) {
  for (size_t i = 0; i + 1 < places.size() && !typing.arguments.empty(); ++i) {
    if (takes_value(places[i]) && typing.arguments.back().text == without_brackets(places[i])) {
      return choices_at(places[i + 1], typing);
    }
  }
  return {};
}

// Options can be taken anywhere, the other places in their order.
Choices argument_choices(const Command &command, const Typing &typing) {
  const auto given = static_cast<size_t>(
      std::ranges::count_if(typing.arguments, [](const Word &word) { return !is_option(word.text); }));
  const std::vector<std::string> all = places(command);
  Choices choices = value_choices(all, typing);
  if (!choices.empty()) {
    return choices;
  }
  size_t position = 0;
  bool value = false;
  for (const std::string &place : all) {
    if (std::exchange(value, takes_value(place))) {
      continue;
    }
    const bool option = is_option(without_brackets(place));
    const bool rest = takes_the_rest(place) && position <= given;
    if (option || rest || position == given) {
      const Typing here{typing.line, rest ? typing.arguments.subspan(position) : typing.arguments, typing.typed};
      choices.merge(choices_at(place, here));
    }
    position += option ? 0 : 1;
  }
  return choices;
}

Choices choices_behind(std::string_view command_text, std::string_view typed) {
  Choices choices = command_words(split_words(command_text));
  try {
    const FoundCommand found = find_command(command_text);
    const std::vector<Word> arguments = split_words(command_text, found.arguments);
    choices.merge(argument_choices(*found.command, {command_text, arguments, typed}));
  } catch (const TextError &) {  // no command yet
  }
  return choices;
}

// What all of a set of words begin with, to the end of a character.
std::string common_beginning(const Choices &words) {
  // The first and the last in order differ most.
  const std::string &first = *words.begin();
  const std::string &last = *words.rbegin();
  const size_t shorter = std::min(first.size(), last.size());
  size_t length = 0;
  while (length < shorter && first[length] == last[length]) {
    ++length;
  }
  while (length < first.size() && length > 0 && (static_cast<unsigned char>(first[length]) & 0xC0) == 0x80) {
    --length;
  }
  return first.substr(0, length);
}

// A word as it stands in a line: in quotes if it has to, which stay open until it is finished.
std::string in_line(const std::string &word, bool quoted, bool finished) {
  const bool quotes = quoted || word.find_first_of(kNeedQuotes) != std::string::npos;
  return concat(quotes ? "\"" : "", word, quotes && finished ? "\"" : "", finished ? " " : "");
}

// Leaves out the first bytes of the word and its choices, which stand in the line already.
void leave_out(Completion &completion, size_t bytes) {
  Choices rest;
  for (const std::string &choice : completion.choices) {
    rest.insert(choice.substr(bytes));
  }
  completion.choices = std::move(rest);
  completion.word.erase(0, bytes);
  completion.start += bytes;
}

}  // namespace

Completion complete(std::string_view line) {
  const UnfinishedLine unfinished = split_unfinished(line);
  std::string_view typed = line.substr(unfinished.word);
  const bool quoted = typed.starts_with('"');
  typed.remove_prefix(quoted ? 1 : 0);
  Completion completion{unfinished.word, std::string(line.substr(unfinished.word)), {}};
  if (typed.find('"') != std::string_view::npos) {
    return completion;
  }
  completion.choices = unfinished.for_shell ? files(typed) : choices_behind(unfinished.command, typed);
  std::erase_if(completion.choices, [&](const std::string &word) { return !word.starts_with(typed); });
  if (completion.choices.empty()) {
    return completion;
  }
  const std::string word = common_beginning(completion.choices);
  const bool finished =
      completion.choices.size() == 1 && std::string_view("/=:").find(word.back()) == std::string::npos;
  completion.word = in_line(word, quoted, finished);
  if (!completion.word.starts_with('"')) {
    leave_out(completion, item_start(typed));
  }
  return completion;
}

}  // namespace app
