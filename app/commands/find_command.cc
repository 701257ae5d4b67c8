// SPDX-License-Identifier: Apache-2.0
// Which command a line means.
#include <algorithm>
#include <numeric>
#include <set>
#include <utility>

#include "app/commands/command.h"

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

// How many letters must be changed, put in or left out to make one word of another.
size_t distance(std::string_view from, std::string_view to) {
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

// The first word of a command that was probably meant; empty when none is near.
std::string_view meant_by(std::string_view word) {
  constexpr size_t far = 3;
  std::string_view nearest;
  size_t least = std::min(far, word.size());
  for (const std::string_view name : first_words()) {
    const size_t longer = std::max(word.size(), name.size()) - std::min(word.size(), name.size());
    if (const size_t letters = longer < least ? distance(word, name) : longer; letters < least) {
      least = letters;
      nearest = name;
    }
  }
  return nearest;
}

[[noreturn]] void refuse_first(const Word &word) {
  const std::string_view meant = meant_by(word.text);
  throw TextError(word.column, concat("unknown command ", quoted(word),
                                      meant.empty() ? "; try 'help'" : concat("; did you mean '", meant, "'?")));
}

[[noreturn]] void refuse_second(const std::vector<Word> &words, std::string_view first) {
  throw TextError(words[words.size() > 1 ? 1 : 0].column,
                  concat("'", first, "' needs one of its commands behind it; try 'help ", first, "'"));
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
  const std::string_view second = completed(behind, second_words(commands));
  if (second.empty()) {
    refuse_second(words, first_word(commands.front()->name));
  }
  return {named(commands, second), end_of(behind)};
}

}  // namespace app
