// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/trace_console.h"

#include <algorithm>

namespace app {

using namespace agent;

namespace {

using host::services::Levels;

// A message on lines of its own.
void print_message(Session &session, std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of('\n'), text.size()));
  text = text.substr(0, text.find_last_not_of(" \n") + 1);
  *session.out << text << '\n';
}

// Messages on lines of their own; the pieces of a dump as they come.
void print_text(Session &session, std::string_view text) {
  if (session.device.tracing().is_message()) {
    print_message(session, text);
  } else {
    *session.out << text;
  }
}

}  // namespace

void set_console(Session &session, Levels levels) {
  session.console_levels = levels;
  session.device.tracing().set_console(levels, [&session](std::string_view text) { print_text(session, text); });
}

FullConsole::FullConsole(Session &session) : session_(session) {
  session.device.tracing().set_console(host::services::kAllLevels, [this](std::string_view text) {
    *session_.out << text;
    line_open_ = !text.ends_with('\n');
  });
}

FullConsole::~FullConsole() {
  if (line_open_) {
    *session_.out << '\n';
  }
  set_console(session_, session_.console_levels);
}

}  // namespace app
