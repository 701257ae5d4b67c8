// SPDX-License-Identifier: Apache-2.0
#include "host/services/tracing.h"

#include <cerrno>
#include <system_error>

#include "platform/tracing.h"

namespace host::services {
namespace {

constexpr long kLargestFile = 64L << 20;

// Keeps the newest `capacity` records.
template <typename Record>
void append(std::deque<Record> &to, Record record, size_t capacity) {
  to.push_back(std::move(record));
  while (to.size() > capacity) {
    to.pop_front();
  }
}

}  // namespace

Tracing::~Tracing() {
  close_file();
}

void Tracing::set_console(Levels levels, std::function<void(std::string_view text)> sink) {
  console_levels_ = levels;
  console_ = std::move(sink);
}

void Tracing::print(std::string_view text) {
  if (console_) {
    console_(text);
  }
  is_message_ = false;
}

const TraceRecord *Tracing::failure_since(uint64_t count) const {
  const uint64_t since = failure_count_ - count;
  return since == 0 || since > failures_.size() ? nullptr : &failures_[failures_.size() - since];
}

void Tracing::open_file(const std::string &path) {
  FILE *const file = std::fopen(path.c_str(), "ae");
  if (file == nullptr) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  close_file();
  dbg_out_file = file;
  file_path_ = path;
}

void Tracing::flush_file() {
  if (std::fflush(dbg_out_file) != 0) {
    file_error_ = errno;
    close_file();
  } else if (ftell(dbg_out_file) > kLargestFile) {
    rename(file_path_.c_str(), (file_path_ + ".1").c_str());
    FILE *const anew = std::fopen(file_path_.c_str(), "ae");
    if (anew != nullptr) {
      std::fclose(std::exchange(dbg_out_file, anew));
    }
  }
}

void Tracing::close_file() {
  if (dbg_out_file != nullptr) {
    std::fclose(std::exchange(dbg_out_file, nullptr));
  }
}

void Tracing::clear() {
  ring_.clear();
  failures_.clear();
  history_.clear();
}

void Tracing::add_to_ring(TraceRecord record) {
  append(ring_, std::move(record), capacity_);
}

void Tracing::add_failure(TraceRecord record) {
  append(failures_, std::move(record), capacity_);
  ++failure_count_;
}

void Tracing::add_event(HistoryEvent event) {
  append(history_, std::move(event), capacity_);
}

const char *level_name(uint32_t level) {
  switch (level) {
    case Tracing::kError:
      return "error";
    case Tracing::kWarning:
      return "warning";
    case Tracing::kDetail:
      return "trace";
    default:
      return "unknown";
  }
}

}  // namespace host::services
