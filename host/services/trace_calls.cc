// SPDX-License-Identifier: Apache-2.0
// The tracing services' C operations. What is switched off formats nothing.
#include <cstdarg>
#include <cstring>

#include "host/parts.h"
#include "host/services/format.h"
#include "platform/tracing.h"

namespace {

using host::services::Call;
using host::services::format_text;

// A history record: a level, and behind it the text with its terminator.
bool is_event(uint32_t length, const char *record) {
  return length > sizeof(uint32_t) && record[length - 1] == '\0' &&
         std::strlen(record + sizeof(uint32_t)) == length - sizeof(uint32_t) - 1;
}

}  // namespace

FILE *dbg_out_file = nullptr;
const char *trk_dbg_modname = "oftab";

void hdm_ds_trace_add(const char *file, const char *function, int line, int flags, const char *format, ...) {
  host::Parts &parts = host::live();
  parts.faults.count(Call::hdm_ds_trace_add);
  if (flags != 0) {
    parts.violations.add("hdm_ds_trace_add: bad argument");
  }
  parts.tracing.set_message(true);
  if (!parts.tracing.ring_on()) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  parts.tracing.add_to_ring({file, function, line, flags, format_text(format, arguments)});
  va_end(arguments);
}

void hdm_ds_add(const char *file, const char *function, int line, const char *format, ...) {
  host::Parts &parts = host::live();
  parts.faults.count(Call::hdm_ds_add);
  if (!parts.tracing.failures_on()) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  parts.tracing.add_failure({file, function, line, 0, format_text(format, arguments)});
  va_end(arguments);
}

const char *hdm_ctime() {
  static std::string text;  // stays until the next call
  host::Parts &parts = host::live();
  parts.faults.count(Call::hdm_ctime);
  text = parts.clock.text();
  return text.c_str();
}

const char *hdm_debug_elem_descr(uint32_t level) {
  host::live().faults.count(Call::hdm_debug_elem_descr);
  return host::services::level_name(level);
}

void hdm_check_flush_dbg_out_file() {
  host::Parts &parts = host::live();
  parts.faults.count(Call::hdm_check_flush_dbg_out_file);
  parts.tracing.flush_file();
}

int trk_hist_event_subtype_check(uint32_t /*type*/, uint32_t level) {
  host::Parts &parts = host::live();
  parts.faults.count(Call::trk_hist_event_subtype_check);
  return parts.tracing.in_history(level) ? 0 : 1;
}

void trk_hist_event(uint32_t type, uint32_t length, const void *record) {
  host::Parts &parts = host::live();
  parts.faults.count(Call::trk_hist_event);
  const auto *const bytes = static_cast<const char *>(record);
  if (!is_event(length, bytes)) {
    parts.violations.add("trk_hist_event: the length is not that of the text");
    return;
  }
  uint32_t level = 0;
  std::memcpy(&level, bytes, sizeof level);
  parts.tracing.add_event({type, level, bytes + sizeof level});
}

int trk_chk_int(uint32_t level, int a, int b, int c) {
  host::Parts &parts = host::live();
  parts.faults.count(Call::trk_chk_int);
  if (a != 0 || b != 0 || c != 1) {
    parts.violations.add("trk_chk_int: bad argument");
  }
  if (parts.tracing.on_console(level)) {
    return 1;
  }
  parts.tracing.set_message(false);
  return 0;
}

void trcout(int enable, const void *modname, int flags, const char *format, ...) {
  host::Parts &parts = host::live();
  parts.faults.count(Call::trcout);
  if (enable != 1 || modname != &trk_dbg_modname || flags != 0) {
    parts.violations.add("trcout: bad argument");
  }
  va_list arguments;
  va_start(arguments, format);
  parts.tracing.print(format_text(format, arguments));
  va_end(arguments);
}
