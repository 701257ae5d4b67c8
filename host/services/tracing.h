// SPDX-License-Identifier: Apache-2.0
// The tracing services: two rings, an output file, an event history and a console, each of which can be switched on.
//
// All outputs are off at first. An output that is off costs a test and formats nothing.
#ifndef HOST_SERVICES_TRACING_H
#define HOST_SERVICES_TRACING_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace host::services {

// A record of the trace ring or of the ring of failures.
struct TraceRecord {
  std::string file;
  std::string function;
  int line = 0;
  int flags = 0;  // of the trace ring
  std::string text;
};

struct HistoryEvent {
  uint32_t type = 0;
  uint32_t level = 0;
  std::string text;
};

// Sets of levels.
enum Levels : unsigned { kNoLevel = 0, kErrors = 1, kWarnings = 2, kDetails = 4, kAllLevels = 7 };

class Tracing {
 public:
  static constexpr size_t kDefaultCapacity = 65536;
  enum Level : uint32_t { kError = 102, kWarning = 103, kDetail = 104 };

  Tracing() = default;
  ~Tracing();
  Tracing(const Tracing &) = delete;
  Tracing &operator=(const Tracing &) = delete;

  // The trace ring and the ring of failures: the newest records, oldest first.
  void set_ring(bool on) { ring_on_ = on; }
  bool ring_on() const { return ring_on_; }
  const std::deque<TraceRecord> &ring() const { return ring_; }
  void set_failures(bool on) { failures_on_ = on; }
  bool failures_on() const { return failures_on_; }
  const std::deque<TraceRecord> &failures() const { return failures_; }

  // How many failures there were so far, and the first that came when there had been `count`: null if none did, or if
  // it is not kept any more.
  uint64_t failure_count() const { return failure_count_; }
  const TraceRecord *failure_since(uint64_t count) const;

  // The event history, for some levels.
  void set_history(Levels levels) { history_levels_ = levels; }
  bool in_history(uint32_t level) const { return contains(history_levels_, level); }
  const std::deque<HistoryEvent> &history() const { return history_; }

  // The console: texts of some levels, as the library formats them, newlines included.
  void set_console(Levels levels, std::function<void(std::string_view text)> sink);
  bool on_console(uint32_t level) const { return contains(console_levels_, level); }
  void print(std::string_view text);
  // For the console's sink: its text is a message of its own, not a piece of a dump.
  bool is_message() const { return is_message_; }
  void set_message(bool is_message) { is_message_ = is_message; }

  // The output file (dbg_out_file): every message goes to its end while it is open. When it has grown past 64 MiB it is
  // renamed, ".1" behind its name, in place of the one before it, and begun anew. Throws std::system_error.
  // A file that cannot be written is closed; `take_file_error` then tells why, as an errno, once.
  void open_file(const std::string &path);
  void close_file();
  int take_file_error() { return std::exchange(file_error_, 0); }
  void flush_file();

  // How many records each ring and the history keep.
  void set_capacity(size_t records) { capacity_ = records; }

  // Empties rings and history.
  void clear();

  // For the imports.
  void add_to_ring(TraceRecord record);
  void add_failure(TraceRecord record);
  void add_event(HistoryEvent event);

 private:
  static bool contains(Levels levels, uint32_t level) {
    return level >= kError && level <= kDetail && (levels >> (level - kError) & 1U) != 0;
  }

  bool ring_on_ = false;
  bool failures_on_ = false;
  Levels history_levels_ = kNoLevel;
  Levels console_levels_ = kNoLevel;
  std::function<void(std::string_view)> console_;
  bool is_message_ = false;
  size_t capacity_ = kDefaultCapacity;
  std::string file_path_;
  int file_error_ = 0;
  std::deque<TraceRecord> ring_;
  std::deque<TraceRecord> failures_;
  uint64_t failure_count_ = 0;
  std::deque<HistoryEvent> history_;
};

// The name of a trace level: "error", "warning" or "trace".
const char *level_name(uint32_t level);

}  // namespace host::services

#endif
