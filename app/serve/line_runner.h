// SPDX-License-Identifier: Apache-2.0
// Runs the lines of an operator who is elsewhere.
#ifndef APP_SERVE_LINE_RUNNER_H
#define APP_SERVE_LINE_RUNNER_H

#include <string>

#include "app/commands/command.h"
#include "app/serve/console_protocol.h"

namespace app {

class LineRunner {
 public:
  explicit LineRunner(Session &session) : session_(session) {}

  // Does what a frame from the operator asks for; the frames that answer it.
  std::string take(const ConsoleFrame &frame);

 private:
  std::string run(const std::string &line);

  Session &session_;
  std::string directory_ = "/";
  bool colour_ = false;
  int status_ = 0;  // of the last audit
};

}  // namespace app

#endif
