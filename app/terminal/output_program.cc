// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/output_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "app/terminal/signals.h"

namespace app {

namespace {

constexpr int kSignalled = 128;  // what shells add to the number of the signal that ended a program

void require(int error, const std::string &command) {
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), command);
  }
}

std::optional<termios> terminal_modes() {
  termios modes{};
  return tcgetattr(STDIN_FILENO, &modes) == 0 ? std::optional(modes) : std::nullopt;
}

// Starts a shell that reads from a pipe, whose other end is put into `input`: one that never makes a writer wait where
// signals are not noticed.
pid_t start(const std::string &command, int &input) {
  int ends[2];
  require(pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno, command);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  const char *const words[] = {"sh", "-c", command.c_str(), nullptr};
  pid_t process = 0;
  const int error = posix_spawn(&process, "/bin/sh", &actions, nullptr, const_cast<char *const *>(words), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  input = ends[1];
  fcntl(input, F_SETFL, O_NONBLOCK);
  if (error != 0) {
    close(input);
  }
  require(error, command);
  return process;
}

}  // namespace

OutputProgram::OutputProgram(const std::string &command)
    : modes_(terminal_modes()), input_(-1), process_(start(command, input_)), stream_(input_) {}

OutputProgram::~OutputProgram() {
  finish();
}

int OutputProgram::finish() {
  if (process_ == 0) {
    return 0;
  }
  stream_.flush();
  close(input_);
  const int status = wait_for_program(std::exchange(process_, 0));
  if (interrupted() && modes_) {
    tcsetattr(STDIN_FILENO, TCSADRAIN, &*modes_);
  }
  return WIFSIGNALED(status) ? kSignalled + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string output_program(std::string_view shell) {
  return shell.starts_with('|') ? std::string(shell.substr(1)) : "cat " + std::string(shell);
}

std::string pager_command() {
  const char *chosen = std::getenv("PAGER");
  return chosen == nullptr || *chosen == '\0' ? "more -e" : chosen;
}

}  // namespace app
