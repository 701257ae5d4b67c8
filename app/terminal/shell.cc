// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/shell.h"

#include <unistd.h>

#include <cstring>
#include <iostream>
#include <sstream>
#include <utility>

#include "agent/failures.h"
#include "app/commands/passing_time.h"
#include "app/terminal/output_program.h"
#include "app/terminal/script_reader.h"
#include "app/terminal/signals.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kDeepest = 16;

Style error_style() {
  return Style(takes_colour(STDERR_FILENO));
}

// Sends a session's output elsewhere while it lives.
class Redirection {
 public:
  Redirection(Session &session, std::ostream &out, Style style)
      : session_(session),
        out_(std::exchange(session.out, &out)),
        style_(std::exchange(session.style, style)),
        draws_(std::exchange(session.draws, false)) {}
  ~Redirection() {
    session_.draws = draws_;
    session_.out = out_;
    session_.style = style_;
  }
  Redirection(const Redirection &) = delete;
  Redirection &operator=(const Redirection &) = delete;

 private:
  Session &session_;
  std::ostream *out_;
  Style style_;
  bool draws_;
};

// Counts a script that runs inside another while it lives.
class Nested {
 public:
  explicit Nested(size_t &depth) : depth_(depth) { ++depth_; }
  ~Nested() { --depth_; }
  Nested(const Nested &) = delete;
  Nested &operator=(const Nested &) = delete;

 private:
  size_t &depth_;
};

}  // namespace

Shell::Shell(Session &session) : session_(session), runner_before_(std::exchange(session.runner, this)) {
  session.device.tracing().set_failures(true);
}

Shell::~Shell() {
  session_.runner = runner_before_;
}

void Shell::report(const Diagnostic &diagnostic) const {
  session_.out->flush();
  print(std::cerr, error_style(), diagnostic, isatty(STDERR_FILENO) != 0);
}

void Shell::report(const SourceLine &source, const std::string &message) const {
  session_.out->flush();
  const std::string place = place_text(source);
  std::cerr << escaped(place) << (place.empty() ? "" : " ") << error_style().bad("error: ") << escaped(message) << '\n';
}

// A command's output that was lost is a failure; nothing can follow it.
bool Shell::output_is_good(const SourceLine &source) {
  const std::string trouble = trouble_with(*session_.out);
  if (!trouble.empty()) {
    report(source, trouble);
    session_.finished = true;
  }
  return trouble.empty();
}

bool Shell::trace_file_is_good(const SourceLine &source) {
  const int error = session_.device.tracing().take_file_error();
  if (error != 0) {
    report(source, concat("the trace file cannot be written, and is closed: ", std::strerror(error)));
  }
  return error == 0;
}

void Shell::run_command(std::string_view line, size_t start) {
  const FoundCommand found = find_command(line, start);
  Arguments arguments(line, found.arguments);
  found.command->run(session_, arguments);
}

std::string Shell::output_of(const std::string &command) try {
  std::ostringstream out;
  const Redirection redirection(session_, out, Style(false));
  run_command(command, 0);
  return out.str();
} catch (const std::exception &) {
  return "";
}

void Shell::run_to_program(const CommandText &command) {
  find_command(command.line, command.start);
  OutputProgram program(output_program(command.shell));
  const Redirection redirection(session_, program.stream(), Style(false));
  run_command(command.line, command.start);
  if (const int status = program.finish(); status != 0 && !interrupted()) {
    throw CommandError(concat("the shell's '", command.shell, "' ended with status ", status));
  }
}

void Shell::run_paged(const CommandText &command) {
  OutputProgram pager(pager_command());
  const Redirection redirection(session_, pager.stream(), session_.style);
  run_command(command.line, command.start);
}

std::string Shell::with_failure(const std::string &message, uint64_t failures_before) const {
  const auto *failure = failure_since(failures_before, session_.device);
  return failure == nullptr ? message : concat(message, ": ", failure_text(*failure, session_.device));
}

bool Shell::run_reported(const SourceLine &source, const CommandText &command) {
  const uint64_t failures_before = session_.device.tracing().failure_count();
  try {
    if (!command.shell.empty()) {
      run_to_program(command);
    } else if (pages_ && find_command(command.line, command.start).command->long_output) {
      run_paged(command);
    } else {
      run_command(command.line, command.start);
    }
    return true;
  } catch (const TextError &error) {
    report(diagnostic(source, error));
  } catch (const FileError &error) {
    for (const Diagnostic &each : error.diagnostics()) {
      report(each);
    }
    report(source, error.what());
  } catch (const ScriptError &error) {
    report(source, error.what());
  } catch (const std::exception &error) {
    report(source, with_failure(error.what(), failures_before));
  }
  return false;
}

bool Shell::run_line(const SourceLine &source) {
  bool good = true;
  try {
    for (const CommandText &command : split_commands(source.text)) {
      good = run_reported(source, command) && good;
      good = output_is_good(source) && good;
      good = trace_file_is_good(source) && good;
      if (session_.finished || script_ended_ || interrupted() || (!good && !keep_going_)) {
        break;
      }
    }
  } catch (const TextError &error) {
    report(diagnostic(source, error));
    good = false;
  }
  return good;
}

bool Shell::run_lines(const std::string &name, const std::function<bool(std::string &)> &next) {
  SourceLine line{name, 0, ""};
  bool good = true;
  while (!session_.finished && !script_ended_ && !interrupted() && (good || keep_going_) && next(line.text)) {
    ++line.number;
    good = run_line(line) && good;
  }
  if (good && interrupted()) {
    report(line, "interrupted");
    good = false;
  }
  return good;
}

std::function<bool(int)> Shell::waiting() {
  return [this](int descriptor) { return wait_for_line(session_, descriptor); };
}

bool Shell::run_script(const std::string &path) {
  try {
    ScriptReader script(path, waiting());
    return run_lines(script.name(), [&script](std::string &line) { return script.next(line); });
  } catch (const CommandError &error) {
    report({"", 0, ""}, error.what());
    return false;
  }
}

bool Shell::run_lines_of(const std::string &text, const std::string &name) {
  std::istringstream lines(text);
  return run_lines(name, [&lines](std::string &line) { return static_cast<bool>(std::getline(lines, line)); });
}

bool Shell::run_inside(const std::function<bool()> &run) {
  if (inside_ == kDeepest) {
    report({"", 0, ""}, concat("scripts run each other ", kDeepest, " deep"));
    return false;
  }
  const Nested nested(inside_);
  const bool good = run();
  script_ended_ = false;
  return good;
}

bool Shell::run_text(const std::string &text, const std::string &name) {
  return run_inside([&] { return run_lines_of(text, name); });
}

void Shell::source(const std::string &path) {
  ScriptReader script(path, waiting());
  const auto next = [&script](std::string &line) { return script.next(line); };
  if (!run_inside([&] { return run_lines(script.name(), next); })) {
    throw ScriptError(path + " was not run to its end");
  }
}

void Shell::quit() {
  bool &ended = inside_ == 0 ? session_.finished : script_ended_;
  ended = true;
}

}  // namespace app
