// SPDX-License-Identifier: Apache-2.0
#include "host/services/format.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace host::services {

std::string format_text(const char *format, va_list arguments) {
  char *text = nullptr;
  const int length = vasprintf(&text, format, arguments);
  if (length < 0) {
    return {};
  }
  const std::unique_ptr<char, decltype(&free)> owner(text, &free);
  return {text, static_cast<size_t>(length)};
}

}  // namespace host::services
