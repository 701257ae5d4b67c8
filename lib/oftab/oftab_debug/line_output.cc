// SPDX-License-Identifier: Apache-2.0
#include "oftab/oftab_debug/line_output.h"

#include <cstdarg>
#include <cstdio>

#include "platform/command_shell.h"

namespace oftab {

namespace {

constexpr size_t LINE_SIZE = 255;  // terminator included

}  // namespace

void line_output::print(source_line /*at*/, const char *format, ...) {
  if (stopped_) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(hdm_pd_dump_one_line, LINE_SIZE, format, arguments);
  va_end(arguments);
  if (context_ == nullptr) {
    trace::to_outputs(trace::DETAIL, nullptr, "%s", hdm_pd_dump_one_line);
    return;
  }
  last_ = cmd_prt(context_, hdm_pd_dump_one_line, 0);
  stopped_ = last_ == -1;
}

}  // namespace oftab
