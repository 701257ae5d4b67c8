// SPDX-License-Identifier: Apache-2.0
#include "app/views/format.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "agent/text.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kGap = 2;            // spaces between columns
constexpr size_t kLongestRule = 100;  // long last columns stick out

}  // namespace

std::string Style::dressed(std::string_view text, const char *code) const {
  return colour_ ? concat("\033[", code, "m", text, "\033[0m") : std::string(text);
}

bool is_terminal_with_controls(int descriptor) {
  const char *kind = std::getenv("TERM");
  return isatty(descriptor) != 0 && kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
}

bool can_draw() {
  return isatty(STDIN_FILENO) != 0 && is_terminal_with_controls(STDOUT_FILENO);
}

bool takes_colour(int descriptor) {
  const char *no_colour = std::getenv("NO_COLOR");
  return is_terminal_with_controls(descriptor) && (no_colour == nullptr || *no_colour == '\0');
}

std::vector<size_t> Table::widths() const {
  std::vector<size_t> widths;
  for (const Column &column : columns_) {
    widths.push_back(column.name.size());
  }
  for (const auto &row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  return widths;
}

std::string Table::line(const std::vector<std::string> &row, const std::vector<size_t> &widths) const {
  std::string text;
  for (size_t i = 0; i < row.size(); ++i) {
    const std::string padding(widths[i] - row[i].size(), ' ');
    text += columns_[i].alignment == Column::Right ? padding + row[i] : row[i] + padding;
    text += std::string(kGap, ' ');
  }
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

void Table::print(std::ostream &out, Style style) const {
  const std::vector<size_t> widths = this->widths();
  const size_t width = std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
  const std::string rule(std::min(width, kLongestRule), '-');
  std::vector<std::string> names;
  for (const Column &column : columns_) {
    names.push_back(column.name);
  }
  if (const std::string heading = line(names, widths); !heading.empty()) {
    out << style.heading(heading) << '\n' << style.faint(rule) << '\n';
  }
  for (const auto &row : rows_) {
    out << (row.empty() ? style.faint(rule) : line(row, widths)) << '\n';
  }
}

}  // namespace app
