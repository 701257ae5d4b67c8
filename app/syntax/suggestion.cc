// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/suggestion.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "agent/text.h"

namespace app {

namespace {

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

}  // namespace

std::string suggestion(std::string_view word, const std::set<std::string_view> &names) {
  constexpr size_t far = 3;
  std::string_view nearest;
  size_t least = std::min(far, word.size() - std::min(word.size(), size_t{1}));
  for (std::string_view name : names) {
    name = name.substr(0, name.find_first_of("=:"));
    const size_t longer = std::max(word.size(), name.size()) - std::min(word.size(), name.size());
    if (const size_t letters = longer < least ? distance(word, name) : longer; letters < least) {
      least = letters;
      nearest = name;
    }
  }
  return nearest.empty() ? "" : agent::concat("; did you mean '", nearest, "'?");
}

std::string suggestion(std::string_view word, const std::set<std::string> &names) {
  return suggestion(word, std::set<std::string_view>(names.begin(), names.end()));
}

}  // namespace app
