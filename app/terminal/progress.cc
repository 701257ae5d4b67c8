// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

#include "app/views/format.h"

namespace app {

namespace {

constexpr size_t kStep = 2;      // per cent
constexpr size_t kWorthIt = 50;  // fewer steps are done at once

}  // namespace

Progress::Progress(std::string what, size_t total)
    : what_(std::move(what)), total_(total), shows_(total >= kWorthIt && is_terminal_with_controls(STDERR_FILENO)) {}

Progress::~Progress() {
  if (shown_percent_ != 0) {
    std::fprintf(stderr, "\r\033[K");
  }
}

void Progress::update(size_t done) {
  const size_t percent = 100 * done / total_;
  if (shows_ && percent >= shown_percent_ + kStep) {
    shown_percent_ = percent;
    std::fprintf(stderr, "\r%s: %zu %%", what_.c_str(), percent);
  }
}

}  // namespace app
