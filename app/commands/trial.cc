// SPDX-License-Identifier: Apache-2.0
#include "app/commands/trial.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <sstream>
#include <system_error>

namespace app {

namespace {

constexpr int kComplaints = STDERR_FILENO + 1;  // the one descriptor that the copy keeps open beside the standard ones

void write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno != EINTR) {
      return;
    }
    text.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
  }
}

[[noreturn]] void run_in_copy(Session &session, const std::function<void()> &command, int complaints) {
  session.device.tracing().close_file();
  dup2(complaints, kComplaints);
  closefrom(kComplaints + 1);
  const std::ostringstream text;
  std::cerr.rdbuf(text.rdbuf());
  bool good = true;
  try {
    command();
  } catch (const std::exception &) {  // what failed has been reported
    good = false;
  }
  write_all(kComplaints, text.view());
  _exit(good ? 0 : 1);
}

void pass_on(int descriptor, std::ostream &out) {
  std::array<char, 4096> part;
  for (ssize_t length = -1; length != 0;) {
    length = read(descriptor, part.data(), part.size());
    if (length < 0 && errno != EINTR) {
      return;
    }
    out.write(part.data(), std::max<ssize_t>(length, 0));
  }
}

}  // namespace

bool succeeds_in_copy(Session &session, const std::function<void()> &command) {
  session.out->flush();
  int ends[2];
  pid_t copy = -1;
  if (pipe2(ends, O_CLOEXEC) != 0 || (copy = fork()) < 0) {
    throw std::system_error(errno, std::generic_category(), "the trial");
  }
  if (copy == 0) {
    run_in_copy(session, command, ends[1]);
  }
  close(ends[1]);
  pass_on(ends[0], std::cerr);
  close(ends[0]);
  int status = 0;
  while (waitpid(copy, &status, 0) == -1 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace app
