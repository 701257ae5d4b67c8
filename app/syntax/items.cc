// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/items.h"

#include <algorithm>

namespace app {

using namespace agent;

namespace {

constexpr std::string_view kSpaces = " \t\r\n";
constexpr std::string_view kSeparators = ", \t\r\n";
constexpr std::string_view kEndsOfName = "=:(, \t\r\n";

// Walks a text, item by item.
class ItemReader {
 public:
  explicit ItemReader(const Word &text) : text_(text.text), column_(text.column) {}

  std::optional<Item> next();

 private:
  Word word(size_t start, size_t end) const { return {text_.substr(start, end - start), column_ + start}; }
  size_t find(std::string_view any, size_t from) const {
    return std::min(text_.find_first_of(any, from), text_.size());
  }
  size_t behind_spaces(size_t from) const { return std::min(text_.find_first_not_of(kSpaces, from), text_.size()); }
  char at(size_t place) const { return place < text_.size() ? text_[place] : '\0'; }
  Word take_value();
  Word take_parentheses();

  std::string_view text_;
  size_t column_;
  size_t at_ = 0;
};

std::optional<Item> ItemReader::next() {
  at_ = text_.find_first_not_of(kSeparators, at_);
  if (at_ == std::string_view::npos) {
    at_ = text_.size();
    return std::nullopt;
  }
  const size_t end = find(kEndsOfName, at_);
  Item item{word(at_, end), std::nullopt};
  const size_t sign = behind_spaces(end);
  at_ = end;
  if (at(sign) == '=' || at(end) == ':') {
    item.separator = at(sign) == '=' ? '=' : ':';
    at_ = item.separator == '=' ? behind_spaces(sign + 1) : end + 1;
    item.argument = take_value();
  } else if (at(end) == '(') {
    item.separator = '(';
    item.argument = take_parentheses();
  }
  return item;
}

Word ItemReader::take_value() {
  const size_t start = at_;
  const bool quoted = at(start) == '"';
  if (quoted) {
    const size_t closing = text_.find('"', start + 1);
    if (closing == std::string_view::npos) {
      throw TextError(column_ + start, "the closing quote is missing");
    }
    at_ = closing + 1;
    return word(start + 1, closing);
  }
  at_ = find(kSeparators, start);
  return word(start, at_);
}

Word ItemReader::take_parentheses() {
  const size_t start = at_ + 1;
  size_t depth = 1;
  for (++at_; at_ < text_.size() && depth != 0; ++at_) {
    depth += text_[at_] == '(' ? 1 : 0;
    depth -= text_[at_] == ')' ? 1 : 0;
  }
  if (depth != 0) {
    throw TextError(column_ + start - 1, "the closing parenthesis is missing");
  }
  return word(start, at_ - 1);
}

}  // namespace

std::vector<Item> split_items(const Word &text) {
  ItemReader reader(text);
  std::vector<Item> items;
  while (auto item = reader.next()) {
    items.push_back(*item);
  }
  return items;
}

const Word &argument_of(const Item &item) {
  if (!item.argument || item.argument->text.empty()) {
    throw TextError(item.name.column, quoted(item.name) + " needs a value");
  }
  return *item.argument;
}

void refuse_argument(const Item &item) {
  if (item.argument && !item.argument->text.empty()) {
    throw TextError(item.argument->column, quoted(item.name) + " takes no argument");
  }
}

}  // namespace app
