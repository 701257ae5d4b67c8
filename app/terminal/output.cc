// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/text.h"
#include "app/terminal/signals.h"

namespace app {

using agent::concat;

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
    } else if (errno == EAGAIN) {
      error_ = wait_for(descriptor_, POLLOUT) ? 0 : EINTR;
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

std::string trouble_with(std::ostream &out) {
  out.flush();
  auto *const output = dynamic_cast<Output *>(&out);
  if (!out.good() && output != nullptr && output->error() == EINTR) {
    output->recover();
  }
  const std::string reason = output == nullptr ? "" : concat(": ", std::strerror(output->error()));
  return out.good() ? "" : concat("the output cannot be written", reason);
}

}  // namespace app
