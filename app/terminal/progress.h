// SPDX-License-Identifier: Apache-2.0
// A progress mark on the terminal for work that takes a while.
#ifndef APP_TERMINAL_PROGRESS_H
#define APP_TERMINAL_PROGRESS_H

#include <cstddef>
#include <string>

namespace app {

// Shows on standard error, if that is a terminal, how much of `total` is done; leaves nothing behind.
class Progress {
 public:
  Progress(std::string what, size_t total);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  void update(size_t done);

 private:
  std::string what_;
  size_t total_;
  size_t shown_percent_ = 0;
  bool shows_;
};

}  // namespace app

#endif
