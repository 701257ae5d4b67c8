// SPDX-License-Identifier: Apache-2.0
// Which command a line means.
#include <algorithm>
#include <set>

#include "app/commands/command.h"
#include "app/syntax/suggestion.h"

namespace app {

using namespace agent;

namespace {

using Names = std::set<std::string_view>;

std::string_view first_word(std::string_view name) {
  return name.substr(0, name.find(' '));
}

std::string_view second_word(std::string_view name) {
  return name.substr(std::min(first_word(name).size() + 1, name.size()));
}

const Names &first_words() {
  static const Names names = [] {
    Names all;
    for (const CommandGroup &group : command_groups()) {
      for (const Command &command : group.commands) {
        all.insert(first_word(command.name));
      }
    }
    return all;
  }();
  return names;
}

// "; did you mean 'flows'?", or where to look.
std::string hint(const Word &word, const Names &names, std::string_view help) {
  const std::string meant = suggestion(word.text, names);
  return meant.empty() ? concat("; try '", help, "'") : meant;
}

[[noreturn]] void refuse_first(const Word &word) {
  throw TextError(word.column, concat("unknown command ", quoted(word), hint(word, first_words(), "help")));
}

[[noreturn]] void refuse_second(const std::vector<Word> &words, std::string_view first, const Names &names) {
  const std::string help = concat("help ", first);
  if (words.size() == 1) {
    throw TextError(words[0].column, concat("'", first, "' needs one of its commands behind it; try '", help, "'"));
  }
  throw TextError(words[1].column,
                  concat("'", first, "' has no command ", quoted(words[1]), hint(words[1], names, help)));
}

// The one of `names` that `word` is or begins; empty when there is none. A TextError when it begins several.
std::string_view completed(const Word &word, const Names &names) {
  auto name = names.lower_bound(word.text);
  if (word.text.empty() || name == names.end() || !name->starts_with(word.text)) {
    return {};
  }
  const std::string_view first = *name;
  std::string others;
  while (++name != names.end() && name->starts_with(word.text)) {
    others += concat(", ", *name);
  }
  if (first != word.text && !others.empty()) {
    throw TextError(word.column, concat(quoted(word), " can be ", first, others));
  }
  return first;
}

size_t end_of(const Word &word) {
  return word.column - 1 + word.text.size();
}

Names second_words(const std::vector<const Command *> &commands) {
  Names names;
  for (const Command *command : commands) {
    names.insert(second_word(command->name));
  }
  return names;
}

// The one with this second word, null if there is none.
const Command *named(const std::vector<const Command *> &commands, std::string_view second) {
  const auto found =
      std::ranges::find_if(commands, [&](const Command *command) { return second_word(command->name) == second; });
  return found == commands.end() ? nullptr : *found;
}

}  // namespace

std::vector<const Command *> commands_beginning(const Word &word) {
  const std::string_view first = completed(word, first_words());
  std::vector<const Command *> commands;
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      if (first_word(command.name) == first) {
        commands.push_back(&command);
      }
    }
  }
  return commands;
}

// Where a first word is a command by itself, only the whole of a second one is part of its name: it could be an
// argument.
FoundCommand find_command(std::string_view line, size_t start) {
  const std::vector<Word> words = split_words(line, start);
  if (words.empty()) {
    throw TextError(line.size() + 1, "a command is missing here");
  }
  const std::vector<const Command *> commands = commands_beginning(words[0]);
  if (commands.empty()) {
    refuse_first(words[0]);
  }
  if (commands.front()->typed_whole && words[0].text != commands.front()->name) {
    throw TextError(words[0].column,
                    concat(quoted(words[0]), " is too short: '", commands.front()->name, "' is typed whole"));
  }
  const Word behind = words.size() > 1 ? words[1] : Word{};
  const Command *alone = named(commands, "");
  if (alone != nullptr && (behind.text.empty() || named(commands, behind.text) == nullptr)) {
    return {alone, end_of(words[0])};
  }
  const Names names = second_words(commands);
  const std::string_view second = completed(behind, names);
  if (second.empty()) {
    refuse_second(words, first_word(commands.front()->name), names);
  }
  return {named(commands, second), end_of(behind)};
}

}  // namespace app
