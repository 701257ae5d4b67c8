#include "app/terminal/pager.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace app {

namespace {

const char *pager_command() {
  const char *chosen = std::getenv("PAGER");
  return chosen == nullptr || *chosen == '\0' ? "more -e" : chosen;
}

}  // namespace

Pager::Pager() : pipe_(popen(pager_command(), "w")), buffer_(pipe_), stream_(&buffer_) {
  if (pipe_ == nullptr) {
    throw std::system_error(errno, std::generic_category(), "the pager");
  }
  std::signal(SIGPIPE, SIG_IGN);  // an operator who leaves shows as a failed write
}

Pager::~Pager() {
  pclose(pipe_);
  std::signal(SIGPIPE, SIG_DFL);
}

Pager::Buffer::int_type Pager::Buffer::overflow(int_type character) {
  return std::fputc(character, pipe_) == EOF ? traits_type::eof() : character;
}

std::streamsize Pager::Buffer::xsputn(const char *text, std::streamsize length) {
  return static_cast<std::streamsize>(std::fwrite(text, 1, static_cast<size_t>(length), pipe_));
}

int Pager::Buffer::sync() {
  return std::fflush(pipe_) == 0 ? 0 : -1;
}

}  // namespace app
