// SPDX-License-Identifier: Apache-2.0
// A file descriptor that is closed with its owner.
#ifndef HOST_PORTS_DESCRIPTOR_H
#define HOST_PORTS_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace host::ports {

class Descriptor {
 public:
  // Throws std::system_error, with `what` in front of errno's text, for a number below 0.
  Descriptor(int number, const std::string &what) : number_(number) {
    if (number < 0) {
      throw std::system_error(errno, std::generic_category(), what);
    }
  }
  ~Descriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }
  Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  int number() const { return number_; }

 private:
  int number_;
};

// Throws std::system_error likewise for the result of a system call that is below 0.
inline void check(int result, const std::string &what) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

}  // namespace host::ports

#endif
