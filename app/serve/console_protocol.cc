// SPDX-License-Identifier: Apache-2.0
#include "app/serve/console_protocol.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace app {
namespace {

constexpr size_t kLengthBytes = 4;
constexpr size_t kHeadBytes = 1 + kLengthBytes;

size_t length_of(std::string_view head) {
  size_t length = 0;
  for (size_t i = 0; i < kLengthBytes; ++i) {
    length = length << 8 | static_cast<uint8_t>(head[1 + i]);
  }
  return length;
}

}  // namespace

std::string encode(ConsoleFrame::Kind kind, std::string_view content) {
  std::string frame(1, static_cast<char>(kind));
  for (size_t i = kLengthBytes; i-- > 0;) {
    frame += static_cast<char>(content.size() >> 8 * i);
  }
  return frame.append(content);
}

std::optional<ConsoleFrame> take_frame(std::string &received) {
  if (received.size() < kHeadBytes) {
    return std::nullopt;
  }
  const size_t length = length_of(received);
  if (length > kLongestConsoleFrame) {
    throw std::runtime_error("a line that is too long");
  }
  if (received.size() < kHeadBytes + length) {
    return std::nullopt;
  }
  ConsoleFrame frame{static_cast<ConsoleFrame::Kind>(received[0]), received.substr(kHeadBytes, length)};
  received.erase(0, kHeadBytes + length);
  return frame;
}

std::string default_console_path() {
  if (const char *directory = std::getenv("XDG_RUNTIME_DIR"); directory != nullptr && *directory != '\0') {
    return std::string(directory) + "/oftab-switch.sock";
  }
  const std::string run = "/run/user/" + std::to_string(getuid());
  if (getuid() == 0) {
    return "/run/oftab-switch.sock";
  }
  std::error_code unreadable;  // a service with ProtectHome may not look into /run/user
  return (std::filesystem::is_directory(run, unreadable) ? run : "/tmp") + "/oftab-switch." + std::to_string(getuid()) +
         ".sock";
}

}  // namespace app
