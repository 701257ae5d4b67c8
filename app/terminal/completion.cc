#include "app/terminal/completion.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <span>
#include <vector>

#include "app/commands/command.h"
#include "app/terminal/command_line.h"
#include "host/services/faults.h"

namespace app {

using namespace agent;

namespace {

namespace fs = std::filesystem;

using Choices = std::set<std::string>;

constexpr std::string_view kNeedQuotes = " \t;#|>";

bool begins_with(std::span<const Word> name, std::span<const Word> typed) {
  const auto same = [](const Word &a, const Word &b) { return a.text == b.text; };
  return name.size() > typed.size() && std::equal(typed.begin(), typed.end(), name.begin(), same);
}

// Words that follow `typed` in some command's name.
Choices command_words(std::span<const Word> typed) {
  Choices words;
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      const std::vector<Word> name = split_words(command.name);
      if (begins_with(name, typed)) {
        words.emplace(name[typed.size()].text);
      }
    }
  }
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

// What one alternative of a place stands for: itself if it is a keyword, "name=" of an option, or a kind of words.
Choices choices_of(std::string_view alternative, std::span<const Word> arguments, std::string_view typed) {
  if (alternative == "FILE" || alternative == "CAPTURE") {
    return files(typed);
  }
  if (alternative == "CALL") {
    const auto names = host::services::Faults::names();
    return {names.begin(), names.end()};
  }
  if (alternative == "COMMAND") {
    return command_words(arguments);
  }
  const bool keyword = !alternative.empty() && std::isupper(static_cast<unsigned char>(alternative.front())) == 0;
  const std::string_view text = alternative.substr(0, std::min(alternative.find('='), alternative.size() - 1) + 1);
  return keyword && alternative.find("...") == std::string_view::npos ? Choices{std::string(text)} : Choices{};
}

Choices choices_at(std::string_view place, std::span<const Word> arguments, std::string_view typed) {
  std::string_view rest = place;
  rest.remove_prefix(rest.starts_with('[') ? 1 : 0);
  rest.remove_suffix(rest.ends_with(']') ? 1 : 0);
  Choices choices;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('|'), rest.size());
    choices.merge(choices_of(rest.substr(0, end), arguments, typed));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return choices;
}

// Optional places can be taken anywhere, the others in their order.
Choices argument_choices(const Command &command, std::span<const Word> arguments, std::string_view typed) {
  Choices choices;
  size_t position = 0;
  for (const std::string &place : places(command)) {
    const bool optional = place.starts_with('[');
    if (optional || position == arguments.size() || place == "COMMAND") {
      choices.merge(choices_at(place, arguments.subspan(std::min(position, arguments.size())), typed));
    }
    position += optional ? 0 : 1;
  }
  return choices;
}

// The command with the longest name that `words` begin with, null if there is none.
const Command *command_of(std::span<const Word> words) {
  const Command *best = nullptr;
  size_t most = 0;
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      const std::vector<Word> name = split_words(command.name);
      const bool fits =
          name.size() <= words.size() && std::equal(name.begin(), name.end(), words.begin(),
                                                    [](const Word &a, const Word &b) { return a.text == b.text; });
      if (fits && name.size() > most) {
        most = name.size();
        best = &command;
      }
    }
  }
  return best;
}

Choices choices_behind(std::string_view command_text, std::string_view typed) {
  const std::vector<Word> words = split_words(command_text);
  Choices choices = command_words(words);
  if (const Command *command = command_of(words)) {
    const size_t name = split_words(command->name).size();
    choices.merge(argument_choices(*command, std::span(words).subspan(name), typed));
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
  if (!completion.choices.empty()) {
    const std::string word = common_beginning(completion.choices);
    const bool finished = completion.choices.size() == 1 && !word.ends_with('/') && !word.ends_with('=');
    completion.word = in_line(word, quoted, finished);
  }
  return completion;
}

}  // namespace app
