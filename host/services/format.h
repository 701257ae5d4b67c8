// SPDX-License-Identifier: Apache-2.0
// printf formatting into a string.
#ifndef HOST_SERVICES_FORMAT_H
#define HOST_SERVICES_FORMAT_H

#include <cstdarg>
#include <string>

namespace host::services {

std::string format_text(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));

}  // namespace host::services

#endif
