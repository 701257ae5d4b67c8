#include "app/terminal/completion.h"

#include <algorithm>
#include <span>

#include "app/commands/command.h"
#include "host/services/faults.h"

namespace app {

using namespace agent;

namespace {

bool begins_with(std::span<const Word> name, std::span<const Word> typed) {
  const auto same = [](const Word &a, const Word &b) { return a.text == b.text; };
  return name.size() > typed.size() && std::equal(typed.begin(), typed.end(), name.begin(), same);
}

// Words that follow `typed` in some command's name, or as the argument of a command that takes names.
std::set<std::string> following_words(std::span<const Word> typed) {
  std::set<std::string> words;
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      const std::vector<Word> name = split_words(command.name);
      if (begins_with(name, typed)) {
        words.emplace(name[typed.size()].text);
      }
    }
  }
  if (typed.size() == 1 && typed[0].text == "fault") {
    const auto names = host::services::Faults::names();
    words.insert(names.begin(), names.end());
  }
  if (!typed.empty() && typed[0].text == "help") {
    words.merge(following_words(typed.subspan(1)));
  }
  return words;
}

}  // namespace

std::set<std::string> completions(std::string_view line) {
  std::vector<Word> typed = split_words(line);
  std::string_view last;
  if (!typed.empty() && !line.ends_with(' ')) {
    last = typed.back().text;
    typed.pop_back();
  }
  std::set<std::string> words = following_words(typed);
  std::erase_if(words, [&](const std::string &word) { return !word.starts_with(last); });
  return words;
}

std::string common_beginning(const std::set<std::string> &words) {
  if (words.empty()) {
    return "";
  }
  // The first and the last in order differ most.
  const std::string &first = *words.begin();
  const std::string &last = *words.rbegin();
  const size_t shorter = std::min(first.size(), last.size());
  const auto end = first.begin() + static_cast<std::ptrdiff_t>(shorter);
  return {first.begin(), std::mismatch(first.begin(), end, last.begin()).first};
}

}  // namespace app
