// SPDX-License-Identifier: Apache-2.0
// Where the output of commands goes: a file descriptor, or a program of the system's shell.
#ifndef APP_TERMINAL_OUTPUT_H
#define APP_TERMINAL_OUTPUT_H

#include <array>
#include <ostream>
#include <streambuf>
#include <string>

namespace app {

// A buffered stream to a file descriptor. It goes bad when the descriptor takes no more, or when the operator
// interrupts a write that has to wait.
class Output : public std::ostream {
 public:
  explicit Output(int descriptor) : std::ostream(nullptr), buffer_(descriptor) { rdbuf(&buffer_); }

  // Why it went bad, as an errno; 0 while it did not.
  int error() const { return buffer_.error(); }

  // Takes output again.
  void recover();

 private:
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(int descriptor);
    int error() const { return error_; }
    void forget_error() { error_ = 0; }

   private:
    int_type overflow(int_type character) override;
    int sync() override;
    bool write_out();

    int descriptor_;
    int error_ = 0;
    std::array<char, 8192> pending_;
  };

  Buffer buffer_;
};

// Writes out what waits. "the output cannot be written: No space left on device", or nothing when all is well; a write
// that was interrupted is, and output is taken again.
std::string trouble_with(std::ostream &out);

}  // namespace app

#endif
