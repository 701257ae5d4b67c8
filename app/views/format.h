// SPDX-License-Identifier: Apache-2.0
// Output for people: aligned tables, and modest colour where the output is a terminal.
#ifndef APP_VIEWS_FORMAT_H
#define APP_VIEWS_FORMAT_H

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace app {

// Colour or none, as the output takes it.
class Style {
 public:
  explicit Style(bool colour) : colour_(colour) {}

  std::string heading(std::string_view text) const { return dressed(text, "1"); }
  std::string good(std::string_view text) const { return dressed(text, "32"); }
  std::string bad(std::string_view text) const { return dressed(text, "31"); }
  std::string faint(std::string_view text) const { return dressed(text, "2"); }

 private:
  std::string dressed(std::string_view text, const char *code) const;

  bool colour_;
};

// Whether a file descriptor is a terminal that knows control sequences.
bool is_terminal_with_controls(int descriptor);

// Whether an operator watches such a terminal on standard output.
bool can_draw();

// Whether it takes colour: such a terminal, unless NO_COLOR is set.
bool takes_colour(int descriptor);

struct Column {
  enum class Alignment : uint8_t { Left, Right };
  using enum Alignment;
  std::string name;
  Alignment alignment = Left;
};

// A table whose columns are as wide as what they hold. Without column names it has no heading.
class Table {
 public:
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  // A rule between the rows before and behind it.
  void add_rule() { rows_.emplace_back(); }
  void print(std::ostream &out, Style style) const;

 private:
  std::vector<size_t> widths() const;
  std::string line(const std::vector<std::string> &row, const std::vector<size_t> &widths) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;  // an empty row is a rule
};

}  // namespace app

#endif
