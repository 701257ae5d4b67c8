// SPDX-License-Identifier: Apache-2.0
#include "app/serve/line_runner.h"

#include <filesystem>
#include <iostream>
#include <sstream>
#include <utility>

#include "app/serve/service.h"
#include "app/terminal/shell.h"
#include "app/terminal/signals.h"

namespace app {
namespace {

using Kind = ConsoleFrame::Kind;
namespace fs = std::filesystem;

// Collects what commands print and complain of, and has them run in the operator's directory, while it lives.
class Elsewhere {
 public:
  Elsewhere(Session &session, const std::string &directory, Style style)
      : session_(session),
        out_(std::exchange(session.out, &output)),
        style_(std::exchange(session.style, style)),
        complaints_(std::cerr.rdbuf(errors.rdbuf())),
        directory_(fs::current_path()) {
    std::error_code gone;
    fs::current_path(directory, gone);
  }
  ~Elsewhere() {
    std::error_code gone;
    fs::current_path(directory_, gone);
    std::cerr.rdbuf(complaints_);
    session_.style = style_;
    session_.out = out_;
  }
  Elsewhere(const Elsewhere &) = delete;
  Elsewhere &operator=(const Elsewhere &) = delete;

  std::ostringstream output;
  std::ostringstream errors;

 private:
  Session &session_;
  std::ostream *out_;
  Style style_;
  std::streambuf *complaints_;
  fs::path directory_;
};

}  // namespace

std::string LineRunner::take(const ConsoleFrame &frame) {
  switch (frame.kind) {
    case Kind::Directory:
      directory_ = frame.content;
      return {};
    case Kind::Colour:
      colour_ = true;
      return {};
    case Kind::Line:
      return run(frame.content);
    case Kind::Interrupt:  // came when the line was through
      return {};
    default:
      throw std::runtime_error("this is the console of a switch, for 'oftab-switch attach'");
  }
}

std::string LineRunner::run(const std::string &line) {
  forget_interrupt();
  Elsewhere elsewhere(session_, directory_, Style(colour_));
  session_.remote = true;
  session_.status = status_;
  const bool good = Shell(session_).run_line({"", 1, line});
  session_.remote = false;
  status_ = session_.status;
  session_.service->follow_commands();
  const bool finished = std::exchange(session_.finished, false);
  const auto in_frames = [](Kind kind, std::string_view text) {
    std::string frames;
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), kLongestConsoleFrame))) {
      frames += encode(kind, text.substr(0, kLongestConsoleFrame));
    }
    return frames;
  };
  return in_frames(Kind::Output, elsewhere.output.view()) + in_frames(Kind::Error, elsewhere.errors.view()) +
         encode(finished ? Kind::Finished
                : good   ? Kind::Good
                         : Kind::Bad,
                std::string(good && status_ != 0 ? 1 : 0, static_cast<char>(status_)));
}

}  // namespace app
