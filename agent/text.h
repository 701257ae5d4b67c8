// SPDX-License-Identifier: Apache-2.0
// Reading a line of text: words, numbers, and complaints that point at a column.
#ifndef AGENT_TEXT_H
#define AGENT_TEXT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace agent {

// A piece of a line; its column counts bytes from 1.
struct Word {
  std::string_view text;
  size_t column = 1;
};

// Something in a line that cannot be used.
class TextError : public std::runtime_error {
 public:
  TextError(size_t column, const std::string &message) : std::runtime_error(message), column_(column) {}
  size_t column() const { return column_; }

 private:
  size_t column_;
};

// The words of `line` from byte `start` on, up to a comment: '#' at the beginning of a word. What stands in double
// quotes belongs to its word, spaces and all; a word that is quoted as a whole loses its quotes. A quote that is not
// closed is a TextError.
std::vector<Word> split_words(std::string_view line, size_t start = 0);

// A word without the quotes around it, if it has them.
Word unquoted(const Word &word);

// The byte behind the quote that closes the one at byte `quote`; a TextError when there is none.
size_t end_of_quote(std::string_view line, size_t quote);

// The parts of a word before and behind the first `separator`; nothing behind if there is none.
struct SplitWord {
  Word before;
  std::optional<Word> behind;
};
SplitWord split_at(const Word &word, char separator);

// `line` without its comment: '#' and what follows, wherever it stands outside quotes. A TextError for an open quote.
std::string_view without_comment(std::string_view line);

// Text from a file for people: control characters (but tabs) and bytes that are no UTF-8 as "\x1b".
std::string escaped(std::string_view text);

bool same_ignoring_case(std::string_view left, std::string_view right);

// A whole text that is a number: decimal, hexadecimal behind "0x", octal behind "0".
std::optional<uint64_t> read_number(std::string_view text);

// A number that is decimal whatever zeros stand in front, without them.
Word without_zeros(const Word &number);

// The number that a word must be, from `low` to `high`; `what` names it in the TextError that is thrown otherwise.
uint64_t number_in(const Word &word, uint64_t low, uint64_t high, std::string_view what);

// The texts and numbers, one behind the other.
template <typename... Parts>
std::string concat(const Parts &...parts) {
  std::string whole;
  const auto append = [&](const auto &part) {
    if constexpr (std::is_arithmetic_v<std::decay_t<decltype(part)>>) {
      whole += std::to_string(part);
    } else {
      whole += part;
    }
  };
  (append(parts), ...);
  return whole;
}

// "0x1f", with at least so many digits.
std::string hex(uint64_t number, int digits = 1);

// Escaped: whatever bytes a word has, the text about it is whole.
inline std::string quoted(const Word &word) {
  return concat("'", escaped(word.text), "'");
}

// "1 flow", "2 flows".
std::string counted(uint64_t count, std::string_view noun);

}  // namespace agent

#endif
