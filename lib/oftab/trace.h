// SPDX-License-Identifier: Apache-2.0
// The trace point: one macro per level, and behind it the host's outputs.
//
// TRACE_ERROR, TRACE_WARNING and TRACE_DETAIL take a printf format, always a literal, and its arguments, which the
// compiler checks against it. Each argument is evaluated once, however many outputs want it, and nothing is formatted
// for an output that is off. The _IN variants name another function than the one they stand in: the operation on whose
// behalf a helper works.
#ifndef OFTAB_TRACE_H
#define OFTAB_TRACE_H

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform/tracing.h"

namespace oftab::trace {

enum level : uint32_t { ERROR = 102, WARNING = 103, DETAIL = 104 };

constexpr uint32_t HISTORY_TYPE = 0x730000;

struct site {
  const char *file;
  const char *function;
  int line;
};

// An event of the history, as the host takes it.
struct event {
  uint32_t level;
  char text[512];
};

void write_prefix(level of, const site &at);
void record_event(event &record);

// Lets the compiler check a format that is about to pass through one of the templates below. Never called.
void check_format(const char *format, ...) __attribute__((format(printf, 1, 2)));

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // checked before it came here
#pragma GCC diagnostic ignored "-Wformat-security"

// The outputs that an operator switches on: debug file, event history, console. `at` is null for a line that goes to
// the file without prefix.
template <typename... Args>
void to_outputs(level of, const site *at, const char *format, Args... args) {
  if (dbg_out_file != nullptr) {
    if (at != nullptr) {
      write_prefix(of, *at);
    }
    fprintf(dbg_out_file, format, args...);
    hdm_check_flush_dbg_out_file();
  }
  if (trk_hist_event_subtype_check(HISTORY_TYPE, of) == 0) {
    event record;
    record.level = of;
    snprintf(record.text, sizeof record.text, format, args...);
    record_event(record);
  }
  if (trk_chk_int(of, 0, 0, 1) != 0) {
    trcout(1, &trk_dbg_modname, 0, format, args...);
  }
}

template <level Level, typename... Args>
void point(const site &at, const char *format, Args... args) {
  hdm_ds_trace_add(at.file, at.function, at.line, 0, format, args...);
  if constexpr (Level == ERROR) {
    hdm_ds_add(at.file, at.function, at.line, format, args...);
  }
  to_outputs(Level, &at, format, args...);
}

#pragma GCC diagnostic pop

}  // namespace oftab::trace

#define OFTAB_CHECK_FORMAT(...)                \
  do {                                         \
    if (false) {                               \
      oftab::trace::check_format(__VA_ARGS__); \
    }                                          \
  } while (false)

#define OFTAB_TRACE(level, function, ...)                                    \
  do {                                                                       \
    OFTAB_CHECK_FORMAT(__VA_ARGS__);                                         \
    oftab::trace::point<level>({__FILE__, function, __LINE__}, __VA_ARGS__); \
  } while (false)

#define TRACE_ERROR_IN(function, ...)   OFTAB_TRACE(oftab::trace::ERROR, function, __VA_ARGS__)
#define TRACE_WARNING_IN(function, ...) OFTAB_TRACE(oftab::trace::WARNING, function, __VA_ARGS__)
#define TRACE_DETAIL_IN(function, ...)  OFTAB_TRACE(oftab::trace::DETAIL, function, __VA_ARGS__)

#define TRACE_ERROR(...)   TRACE_ERROR_IN(__func__, __VA_ARGS__)
#define TRACE_WARNING(...) TRACE_WARNING_IN(__func__, __VA_ARGS__)
#define TRACE_DETAIL(...)  TRACE_DETAIL_IN(__func__, __VA_ARGS__)

// Entry and exit of an operation that carry nothing but its name.
#define TRACE_ENTER() TRACE_DETAIL("%s() Enter. \n", __func__)
#define TRACE_EXIT()  TRACE_DETAIL("%s() Exit. \n", __func__)

#endif
