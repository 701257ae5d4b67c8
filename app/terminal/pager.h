// Output through the operator's pager.
#ifndef APP_TERMINAL_PAGER_H
#define APP_TERMINAL_PAGER_H

#include <cstdio>
#include <ostream>
#include <streambuf>

namespace app {

// A stream into $PAGER, or into more(1), which goes bad when the operator leaves the pager.
class Pager {
 public:
  Pager();
  ~Pager();
  Pager(const Pager &) = delete;
  Pager &operator=(const Pager &) = delete;

  std::ostream &stream() { return stream_; }

 private:
  // Writes to the pipe.
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(FILE *pipe) : pipe_(pipe) {}

   private:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char *text, std::streamsize length) override;
    int sync() override;

    FILE *pipe_;
  };

  FILE *pipe_;
  Buffer buffer_;
  std::ostream stream_;
};

}  // namespace app

#endif
