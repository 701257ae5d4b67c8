// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/script_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "app/commands/command_error.h"
#include "app/terminal/signals.h"

namespace app {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // that editors put before the first line

}  // namespace

ScriptReader::ScriptReader(const std::string &path, Wait wait)
    : name_(path == "-" ? "standard input" : path),
      descriptor_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      wait_(std::move(wait)) {
  if (descriptor_ == -1) {
    throw CommandError(name_ + ": " + std::strerror(errno));
  }
}

ScriptReader::~ScriptReader() {
  if (descriptor_ != STDIN_FILENO) {
    close(descriptor_);
  }
}

bool ScriptReader::only_wait(int descriptor) {
  return wait_for(descriptor, POLLIN);
}

bool ScriptReader::read_more() {
  std::array<char, 65536> part;
  const ssize_t length = wait_(descriptor_) ? read(descriptor_, part.data(), part.size()) : 0;
  if (length == -1) {
    throw CommandError(name_ + ": " + std::strerror(errno));
  }
  ahead_.append(part.data(), static_cast<size_t>(length));
  return length > 0;
}

bool ScriptReader::next(std::string &line) {
  size_t end = ahead_.find('\n');
  while (end == std::string::npos) {
    const size_t searched = ahead_.size();
    if (!read_more()) {
      break;
    }
    end = ahead_.find('\n', searched);
  }
  if (interrupted() || ahead_.empty()) {
    return false;
  }
  if (std::exchange(at_start_, false) && ahead_.starts_with(kByteOrderMark)) {
    ahead_.erase(0, kByteOrderMark.size());
    return next(line);
  }
  line = ahead_.substr(0, end);
  ahead_.erase(0, end == std::string::npos ? end : end + 1);
  if (line.ends_with('\r')) {
    line.pop_back();
  }
  return true;
}

}  // namespace app
