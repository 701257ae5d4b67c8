#include "app/terminal/trace_console.h"

namespace app {

using namespace agent;

namespace {

using host::services::Levels;

void print_levels(Session &session, Levels levels) {
  session.device.tracing().set_console(levels, [&session](std::string_view text) { *session.out << text; });
}

}  // namespace

void set_console(Session &session, Levels levels) {
  session.console_levels = levels;
  print_levels(session, levels);
}

FullConsole::FullConsole(Session &session) : session_(session) {
  print_levels(session, host::services::kAllLevels);
}

FullConsole::~FullConsole() {
  print_levels(session_, session_.console_levels);
}

}  // namespace app
