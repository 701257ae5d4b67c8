#include "app/terminal/output.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "app/terminal/signals.h"

namespace app {

namespace {

FILE *start_program(const std::string &command) {
  FILE *pipe = popen(command.c_str(), "w");
  if (pipe == nullptr) {
    throw std::system_error(errno, std::generic_category(), command);
  }
  return pipe;
}

constexpr int kSignalled = 128;  // what shells add to the number of the signal that ended a program

}  // namespace

Output::Buffer::Buffer(int descriptor) : descriptor_(descriptor) {
  setp(pending_.data(), pending_.data() + pending_.size());
}

// What cannot be written is lost.
bool Output::Buffer::write_out() {
  const char *from = pbase();
  while (from < pptr() && error_ == 0) {
    const ssize_t written = ::write(descriptor_, from, static_cast<size_t>(pptr() - from));
    if (written >= 0) {
      from += written;
    } else if (errno != EINTR || interrupted()) {
      error_ = errno;
    }
  }
  setp(pending_.data(), pending_.data() + pending_.size());
  return error_ == 0;
}

Output::Buffer::int_type Output::Buffer::overflow(int_type character) {
  if (!write_out()) {
    return traits_type::eof();
  }
  return traits_type::eq_int_type(character, traits_type::eof()) ? traits_type::not_eof(character)
                                                                 : sputc(traits_type::to_char_type(character));
}

int Output::Buffer::sync() {
  return write_out() ? 0 : -1;
}

void Output::recover() {
  buffer_.forget_error();
  clear();
}

OutputProgram::OutputProgram(const std::string &command) : pipe_(start_program(command)), stream_(fileno(pipe_)) {}

OutputProgram::~OutputProgram() {
  finish();
}

int OutputProgram::finish() {
  if (pipe_ == nullptr) {
    return 0;
  }
  stream_.flush();
  const int status = pclose(std::exchange(pipe_, nullptr));
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
