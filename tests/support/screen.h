// SPDX-License-Identifier: Apache-2.0
// The command shell's end of a show: notes what is printed, and can leave the pager.
#ifndef TESTS_SUPPORT_SCREEN_H
#define TESTS_SUPPORT_SCREEN_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/switch.h"

namespace test {

inline std::string joined(const std::vector<std::string> &lines) {
  std::string text;
  for (const std::string &line : lines) {
    text += line;
  }
  return text;
}

struct Screen {
  size_t height = SIZE_MAX;  // the line at which the operator stops
  std::vector<std::string> lines{};

  void *context(host::Switch &sw) {
    return sw.shell().context([this](std::string_view line) {
      lines.emplace_back(line);
      return lines.size() < height;
    });
  }
  std::string text() const { return joined(lines); }
};

}  // namespace test

#endif
