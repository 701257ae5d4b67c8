// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/completion.h"

#include <utility>

#include "agent/text.h"
#include "app/terminal/command_line.h"
#include "app/terminal/flow_completion.h"
#include "app/terminal/usage_completion.h"

namespace app {

using namespace agent;

namespace {

constexpr std::string_view kNeedQuotes = " \t;#|>";

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

Completion complete(std::string_view line, const Ask &ask) {
  const UnfinishedLine unfinished = split_unfinished(line);
  std::string_view typed = line.substr(unfinished.word);
  const bool quoted = typed.starts_with('"');
  typed.remove_prefix(quoted ? 1 : 0);
  Completion completion{unfinished.word, std::string(line.substr(unfinished.word)), {}};
  if (typed.find('"') != std::string_view::npos) {
    return completion;
  }
  completion.choices = unfinished.for_shell ? files(typed) : choices_behind(unfinished.command, typed, ask);
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
