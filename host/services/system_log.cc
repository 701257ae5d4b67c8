// SPDX-License-Identifier: Apache-2.0
#include "host/services/system_log.h"

#include <syslog.h>

#include <cstdarg>

#include "host/parts.h"
#include "host/services/format.h"

namespace host::services {

void SystemLog::add(int priority, std::string text) {
  if (echo_) {
    echo_(text);
  }
  lines_.push_back({priority, std::move(text)});
}

}  // namespace host::services

// Takes the place of the C library's operation.
extern "C" void syslog(int priority, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  host::live().system_log.add(priority, host::services::format_text(format, arguments));
  va_end(arguments);
}
