#include "agent/text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

namespace agent {
namespace {

constexpr std::string_view kSpaces = " \t\r\n";

Word quoted_word(std::string_view line, size_t quote) {
  const size_t end = line.find('"', quote + 1);
  if (end == std::string_view::npos) {
    throw TextError(quote + 1, "the closing quote is missing");
  }
  return {line.substr(quote + 1, end - quote - 1), quote + 2};
}

Word plain_word(std::string_view line, size_t start) {
  const size_t end = std::min(line.find_first_of(kSpaces, start), line.size());
  return {line.substr(start, end - start), start + 1};
}

}  // namespace

std::vector<Word> split_words(std::string_view line, size_t start) {
  std::vector<Word> words;
  size_t at = line.find_first_not_of(kSpaces, start);
  while (at != std::string_view::npos && line[at] != '#') {
    const bool quoted = line[at] == '"';
    words.push_back(quoted ? quoted_word(line, at) : plain_word(line, at));
    const size_t end = words.back().column - 1 + words.back().text.size() + (quoted ? 1 : 0);
    at = line.find_first_not_of(kSpaces, end);
  }
  return words;
}

SplitWord split_at(const Word &word, char separator) {
  const size_t place = word.text.find(separator);
  if (place == std::string_view::npos) {
    return {word, std::nullopt};
  }
  return {{word.text.substr(0, place), word.column}, Word{word.text.substr(place + 1), word.column + place + 1}};
}

std::string_view without_comment(std::string_view line) {
  return line.substr(0, line.find('#'));
}

bool same_ignoring_case(std::string_view left, std::string_view right) {
  const auto same = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), same);
}

std::optional<uint64_t> read_number(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

uint64_t number_in(const Word &word, uint64_t low, uint64_t high, std::string_view what) {
  const std::optional<uint64_t> number = read_number(word.text);
  if (!number || *number < low || *number > high) {
    throw TextError(word.column, concat(what, " is a number from ", low, " to ", high, ", not ", quoted(word)));
  }
  return *number;
}

std::string hex(uint64_t number, int digits) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%0*llx", digits, static_cast<unsigned long long>(number));
  return text;
}

std::string counted(uint64_t count, std::string_view noun) {
  return concat(count, " ", noun, count == 1 ? "" : "s");
}

}  // namespace agent
