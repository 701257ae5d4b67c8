// Where the output of commands goes: a file descriptor, or a program of the system's shell.
#ifndef APP_TERMINAL_OUTPUT_H
#define APP_TERMINAL_OUTPUT_H

#include <array>
#include <cstdio>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

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

// A program of the system's shell that reads what is written to its stream.
class OutputProgram {
 public:
  // Throws std::system_error when it cannot be started.
  explicit OutputProgram(const std::string &command);
  ~OutputProgram();
  OutputProgram(const OutputProgram &) = delete;
  OutputProgram &operator=(const OutputProgram &) = delete;

  Output &stream() { return stream_; }

  // Waits for the program; its exit status, as a shell tells it.
  int finish();

 private:
  FILE *pipe_;
  Output stream_;
};

// The program for what the system's shell is to do with output: "| grep pc1", "> file".
std::string output_program(std::string_view shell);

// The operator's pager: $PAGER, or more(1).
std::string pager_command();

}  // namespace app

#endif
