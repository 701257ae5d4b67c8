// SPDX-License-Identifier: Apache-2.0
#include "app/attach.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "app/commands/command.h"
#include "app/serve/console_protocol.h"
#include "app/syntax/diagnostics.h"
#include "app/terminal/command_line.h"
#include "app/terminal/live_view.h"
#include "app/terminal/output_program.h"
#include "app/terminal/script_reader.h"
#include "app/terminal/signals.h"
#include "app/terminal/terminal.h"
#include "app/views/format.h"

namespace app {

using namespace agent;

namespace {

constexpr auto kPeriod = std::chrono::seconds(1);  // between pictures

using Kind = ConsoleFrame::Kind;
using asio::local::stream_protocol;

// The switch at the other end of its console.
class RemoteSwitch {
 public:
  RemoteSwitch(const std::string &path, bool colour) : path_(path), socket_(context_) {
    connect();
    send(Kind::Directory, std::filesystem::current_path().string());
    if (colour) {
      send(Kind::Colour, "");
    }
  }

  // Runs one command with its output into `out`; what became of it.
  ConsoleFrame run(const std::string &line, std::ostream &out) {
    if (line.size() > kLongestConsoleFrame) {
      throw TextError(kLongestConsoleFrame + 1, concat("a line has at most ", kLongestConsoleFrame, " bytes"));
    }
    send(Kind::Line, line);
    interrupt_sent_ = false;
    for (;;) {
      ConsoleFrame frame = next();
      if (frame.kind == Kind::Output) {
        out << frame.content << std::flush;
      } else if (frame.kind == Kind::Error) {
        std::cerr << frame.content << std::flush;
      } else {
        return frame;
      }
    }
  }

 private:
  void connect() {
    std::error_code problem;
    do {
      socket_.connect(stream_protocol::endpoint(path_), problem);
    } while (problem == asio::error::interrupted && !interrupted());
    if (problem) {
      throw std::runtime_error(concat("no switch serves at ", path_, ": ", problem.message()));
    }
    socket_.non_blocking(true);  // signals are noticed where it is waited for
  }

  void send(Kind kind, std::string_view content) {
    const std::string frame = encode(kind, content);
    for (size_t sent = 0; sent < frame.size();) {
      std::error_code problem;
      sent += socket_.write_some(asio::buffer(frame) + sent, problem);
      if (problem == asio::error::would_block) {
        leave_unless(wait_for(socket_.native_handle(), POLLOUT));
      } else {
        require(problem);
      }
    }
  }

  ConsoleFrame next() {
    for (;;) {
      if (auto frame = take_frame(received_)) {
        return *std::move(frame);
      }
      wait_for_answer();
      std::array<char, 65536> space;
      std::error_code problem;
      received_.append(space.data(), socket_.read_some(asio::buffer(space), problem));
      if (problem != asio::error::would_block) {
        require(problem);
      }
    }
  }

  // Ctrl-C ends the command there, which then says what it did. Pressed again, or when this program shall end, it is
  // not waited for.
  void wait_for_answer() {
    if (!wait_for(socket_.native_handle(), POLLIN) && !std::exchange(interrupt_sent_, true)) {
      send(Kind::Interrupt, "");
    }
    leave_unless(wait_for(socket_.native_handle(), POLLIN, 1));
  }

  // An answer that is still to come belongs to no later command.
  void leave_unless(bool answers) {
    if (!answers) {
      socket_.close();
      throw std::runtime_error(concat("left the switch at ", path_, " before it had answered"));
    }
  }

  void require(std::error_code problem) const {
    if (problem) {
      throw std::runtime_error(concat("the switch at ", path_, " is gone"));
    }
  }

  std::string path_;
  asio::io_context context_;
  stream_protocol::socket socket_;
  std::string received_;
  bool interrupt_sent_ = false;  // to the command that runs
};

// Runs lines there as a shell would here: pipes, files and the pager are the operator's own.
class RemoteShell {
 public:
  RemoteShell(const std::string &path, bool interactive)
      : out_(STDOUT_FILENO), remote_(path, interactive), pages_(interactive) {}

  bool run(const std::string &line) {
    bool good = true;
    try {
      for (const CommandText &command : split_commands(line)) {
        good = run(command) && output_is_good();
        if (!good || finished_ || interrupted()) {
          break;
        }
      }
    } catch (const TextError &error) {
      const Diagnostic problem = diagnostic({"", 1, line}, error);
      print(std::cerr, Style(takes_colour(STDERR_FILENO)), problem, isatty(STDERR_FILENO) != 0);
      good = false;
    }
    return good;
  }

  // What a command that only looks prints; nothing when it fails.
  std::string output_of(const std::string &command) {
    std::ostringstream out;
    try {
      return remote_.run(command, out).kind == Kind::Bad ? "" : out.str();
    } catch (const std::exception &) {
      return "";
    }
  }

  bool finished() const { return finished_; }
  int status() const { return status_; }  // when no command failed

 private:
  bool run(const CommandText &command) {
    const Command &found = *find_command(command.line, command.start).command;
    if (found.live) {
      return run_live(command);
    }
    if (!command.shell.empty()) {
      return run_to_program(command);
    }
    if (pages_ && found.long_output) {
      OutputProgram pager(pager_command());
      return run(command, pager.stream());
    }
    return run(command, out_);
  }

  bool output_is_good() {
    const std::string trouble = trouble_with(out_);
    if (!trouble.empty()) {
      std::cerr << "error: " << trouble << '\n';
    }
    return trouble.empty();
  }

  bool run_to_program(const CommandText &command) {
    OutputProgram program(output_program(command.shell));
    const bool good = run(command, program.stream());
    return program.finish() == 0 && good;
  }

  // Pictures of rates: asked for again and again, or twice where nobody watches.
  bool run_live(const CommandText &command) {
    bool good = true;
    const auto print = [&](std::ostream &out) { good = run(command, out); };
    if (command.shell.empty() && can_draw()) {
      show_live(print, [] { return input_within(STDIN_FILENO, kPeriod); });
      return good;
    }
    std::ostringstream before;
    print(before);
    wait(kPeriod);
    return command.shell.empty() ? run(command, out_) : run_to_program(command);
  }

  // Blanks in front keep the columns of complaints right.
  bool run(const CommandText &command, std::ostream &out) {
    const std::string line = std::string(command.start, ' ').append(command.line.substr(command.start));
    const ConsoleFrame result = remote_.run(line, out);
    finished_ = result.kind == Kind::Finished;
    status_ = result.content.empty() ? 0 : result.content.front();
    return result.kind != Kind::Bad;
  }

  Output out_;
  RemoteSwitch remote_;
  bool pages_;
  bool finished_ = false;
  int status_ = 0;
};

int run_lines(RemoteShell &shell, const std::function<bool(std::string &)> &next) {
  std::string line;
  while (!shell.finished() && !interrupted() && next(line)) {
    if (!shell.run(line)) {
      return 1;
    }
  }
  return shell.status();
}

}  // namespace

int attach(const std::string &path, const std::optional<std::string> &commands) {
  const bool interactive = !commands && isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
  RemoteShell shell(path.empty() ? default_console_path() : path, interactive);
  if (commands) {
    std::istringstream lines(*commands);
    return run_lines(shell, [&](std::string &line) { return static_cast<bool>(std::getline(lines, line)); });
  }
  if (!interactive) {
    ScriptReader script("-");
    return run_lines(shell, [&](std::string &line) { return script.next(line); });
  }
  run_terminal({[&](const std::string &line) { shell.run(line); }, [&] { return shell.finished(); }, wait_for_input,
                [&](const std::string &command) { return shell.output_of(command); }});
  return 0;
}

}  // namespace app
