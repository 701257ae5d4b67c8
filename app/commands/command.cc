#include "app/commands/command.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace app {

using namespace agent;

namespace {

// Whether `name` stands at the beginning of `words`; returns how many words it takes, 0 if it does not.
size_t words_of_name(std::string_view name, std::span<const Word> words) {
  const std::vector<Word> parts = split_words(name);
  const auto same = [](const Word &a, const Word &b) { return a.text == b.text; };
  const bool found = parts.size() <= words.size() && std::equal(parts.begin(), parts.end(), words.begin(), same);
  return found ? parts.size() : 0;
}

bool is_first_word_of_some(std::string_view word) {
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      if (split_words(command.name).front().text == word) {
        return true;
      }
    }
  }
  return false;
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
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      const std::string_view name = command.name.substr(0, command.name.find(' '));
      if (const size_t letters = distance(word, name); letters < least) {
        least = letters;
        nearest = name;
      }
    }
  }
  return nearest;
}

[[noreturn]] void refuse(std::span<const Word> words) {
  if (!is_first_word_of_some(words[0].text)) {
    const std::string_view meant = meant_by(words[0].text);
    throw TextError(words[0].column, concat("unknown command ", quoted(words[0]),
                                            meant.empty() ? "; try 'help'" : concat("; did you mean '", meant, "'?")));
  }
  const Word &second = words.size() > 1 ? words[1] : words[0];
  throw TextError(second.column, "'" + std::string(words[0].text) +
                                     "' needs one of its commands behind it; try 'help " + std::string(words[0].text) +
                                     "'");
}

}  // namespace

Word Arguments::next(std::string_view what) {
  if (words_.empty()) {
    throw TextError(line_.size() + 1, std::string(what) + " is missing");
  }
  const Word word = words_.front();
  words_.erase(words_.begin());
  return word;
}

std::optional<Word> Arguments::next_if_any() {
  return words_.empty() ? std::nullopt : std::optional(next(""));
}

uint64_t Arguments::next_number(uint64_t low, uint64_t high, std::string_view what) {
  return number_in(next(what), low, high, what);
}

bool Arguments::take_flag(std::string_view flag) {
  return std::erase_if(words_, [&](const Word &word) { return word.text == flag; }) != 0;
}

std::optional<Word> Arguments::take_option(std::string_view name) {
  const auto is_it = [&](const Word &word) {
    return word.text.size() > name.size() && word.text.starts_with(name) && word.text[name.size()] == '=';
  };
  const auto place = std::find_if(words_.begin(), words_.end(), is_it);
  if (place == words_.end()) {
    return std::nullopt;
  }
  const Word value{place->text.substr(name.size() + 1), place->column + name.size() + 1};
  words_.erase(place);
  return unquoted(value);
}

uint64_t Arguments::take_number(std::string_view name, uint64_t low, uint64_t high, uint64_t otherwise) {
  const std::optional<Word> value = take_option(name);
  return value ? number_in(*value, low, high, name) : otherwise;
}

void Arguments::finish() const {
  if (!words_.empty()) {
    throw TextError(words_.front().column, quoted(words_.front()) + " is too much here");
  }
}

std::span<const CommandGroup> command_groups() {
  static const std::array groups{
      CommandGroup{"Flows", flow_commands()},
      CommandGroup{"Files of flows", flow_file_commands()},
      CommandGroup{"Flows and their counts", flow_listing_commands()},
      CommandGroup{"Packets", packet_commands()},
      CommandGroup{"Answers", answer_commands()},
      CommandGroup{"Statistics", statistics_commands()},
      CommandGroup{"Interfaces", interface_commands()},
      CommandGroup{"Ports", port_commands()},
      CommandGroup{"Port channels", port_channel_commands()},
      CommandGroup{"OpenFlow", openflow_commands()},
      CommandGroup{"Views", view_commands()},
      CommandGroup{"Tracing", trace_commands()},
      CommandGroup{"Faults", fault_commands()},
      CommandGroup{"Debugging", debug_commands()},
      CommandGroup{"Set-up", setup_commands()},
      CommandGroup{"Shell", shell_commands()},
  };
  return groups;
}

FoundCommand find_command(std::string_view line, size_t start) {
  const std::vector<Word> words = split_words(line, start);
  if (words.empty()) {
    throw TextError(line.size() + 1, "a command is missing here");
  }
  FoundCommand best{nullptr, 0};
  size_t most = 0;
  for (const CommandGroup &group : command_groups()) {
    for (const Command &command : group.commands) {
      if (const size_t count = words_of_name(command.name, words); count > most) {
        most = count;
        best = {&command, words[count - 1].column - 1 + words[count - 1].text.size()};
      }
    }
  }
  if (best.command == nullptr) {
    refuse(words);
  }
  return best;
}

}  // namespace app
