// SPDX-License-Identifier: Apache-2.0
#include "agent/text.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstdio>

namespace agent {
namespace {

constexpr std::string_view kSpaces = " \t\r\n";

// Where the word that begins at `start` ends: at a space outside quotes.
size_t end_of_word(std::string_view line, size_t start) {
  size_t at = start;
  while (at < line.size() && kSpaces.find(line[at]) == std::string_view::npos) {
    at = line[at] == '"' ? end_of_quote(line, at) : at + 1;
  }
  return at;
}

// How many bytes the character has that `text` begins with, in UTF-8; 0 if it is none, or a control character.
size_t printable_length(std::string_view text) {
  constexpr uint32_t lowest[] = {0x20, 0, 0xA0, 0x800, 0x10000};  // by leading ones; 0x80 to 0x9F are controls
  const auto lead = static_cast<uint8_t>(text.front());
  const auto ones = static_cast<size_t>(std::countl_one(lead));
  const size_t length = std::max(ones, size_t{1});
  if (ones == 1 || ones > 4 || length > text.size()) {
    return 0;
  }
  uint32_t code = lead & 0x7FU >> ones;
  for (const char c : text.substr(1, length - 1)) {
    const auto byte = static_cast<uint8_t>(c);
    if (std::countl_one(byte) != 1) {
      return 0;
    }
    code = code << 6 | (byte & 0x3FU);
  }
  const bool wrong = code < lowest[ones] || code == 0x7F || code >> 11 == 0xD800 >> 11 || code > 0x10FFFF;
  return wrong && lead != '\t' ? 0 : length;
}

}  // namespace

size_t end_of_quote(std::string_view line, size_t quote) {
  const size_t closing = line.find('"', quote + 1);
  if (closing == std::string_view::npos) {
    throw TextError(quote + 1, "the closing quote is missing");
  }
  return closing + 1;
}

std::vector<Word> split_words(std::string_view line, size_t start) {
  std::vector<Word> words;
  size_t at = line.find_first_not_of(kSpaces, start);
  while (at != std::string_view::npos && line[at] != '#') {
    const size_t end = end_of_word(line, at);
    words.push_back(unquoted({line.substr(at, end - at), at + 1}));
    at = line.find_first_not_of(kSpaces, end);
  }
  return words;
}

Word unquoted(const Word &word) {
  const bool whole = word.text.size() > 1 && word.text.front() == '"' && word.text.find('"', 1) == word.text.size() - 1;
  return whole ? Word{word.text.substr(1, word.text.size() - 2), word.column + 1} : word;
}

SplitWord split_at(const Word &word, char separator) {
  const size_t place = word.text.find(separator);
  if (place == std::string_view::npos) {
    return {word, std::nullopt};
  }
  return {{word.text.substr(0, place), word.column}, Word{word.text.substr(place + 1), word.column + place + 1}};
}

std::string_view without_comment(std::string_view line) {
  size_t at = 0;
  while (at < line.size() && line[at] != '#') {
    at = line[at] == '"' ? end_of_quote(line, at) : at + 1;
  }
  return line.substr(0, at);
}

std::string escaped(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const size_t length = printable_length(text);
    plain += length == 0 ? concat("\\x", hex(static_cast<uint8_t>(text.front()), 2).substr(2))
                         : std::string(text.substr(0, length));
    text.remove_prefix(std::max(length, size_t{1}));
  }
  return plain;
}

bool same_ignoring_case(std::string_view left, std::string_view right) {
  const auto same = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
  return std::ranges::equal(left, right, same);
}

std::optional<uint64_t> read_number(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  } else if (text.size() > 1 && text.starts_with("0")) {
    base = 8;
  }
  uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

Word without_zeros(const Word &number) {
  const size_t zeros = std::min(number.text.find_first_not_of('0'), number.text.size());
  const bool keeps_one = zeros == number.text.size() || number.text[zeros] == 'x' || number.text[zeros] == 'X';
  const size_t dropped = zeros == 0 || !keeps_one ? zeros : zeros - 1;
  return {number.text.substr(dropped), number.column + dropped};
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
