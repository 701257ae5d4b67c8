#include "app/terminal/shell.h"

#include <unistd.h>

#include <iostream>

#include "app/terminal/pager.h"

namespace app {

using namespace agent;

namespace {

Style error_style() {
  return Style(takes_colour(STDERR_FILENO));
}

}  // namespace

void Shell::report(const Diagnostic &diagnostic) const {
  session_.out->flush();
  print(std::cerr, error_style(), diagnostic, isatty(STDERR_FILENO) != 0);
}

void Shell::report(const SourceLine &source, const std::string &message) const {
  session_.out->flush();
  const std::string place = place_text(source);
  std::cerr << place << (place.empty() ? "" : " ") << error_style().bad("error: ") << message << '\n';
}

void Shell::execute(std::string_view line) {
  const FoundCommand found = find_command(line);
  Arguments arguments(line, found.arguments);
  if (!pages_ || !found.command->long_output) {
    found.command->run(session_, arguments);
    return;
  }
  Pager pager;
  std::ostream *const direct = session_.out;
  session_.out = &pager.stream();
  try {
    found.command->run(session_, arguments);
  } catch (...) {
    session_.out = direct;
    throw;
  }
  session_.out = direct;
}

bool Shell::run_line(const SourceLine &source) {
  if (split_words(source.text).empty()) {
    return true;
  }
  bool good = false;
  try {
    execute(source.text);
    good = true;
  } catch (const TextError &error) {
    report(diagnostic(source, error));
  } catch (const FileError &error) {
    for (const Diagnostic &each : error.diagnostics()) {
      report(each);
    }
    report(source, error.what());
  } catch (const std::exception &error) {
    report(source, error.what());
  }
  session_.out->flush();
  return good;
}

bool Shell::run_script(std::istream &script, const std::string &name) {
  SourceLine line{name, 0, ""};
  while (!session_.finished && std::getline(script, line.text)) {
    ++line.number;
    if (!run_line(line)) {
      return false;
    }
  }
  return true;
}

bool Shell::run_commands(const std::string &commands) {
  SourceLine line{"-c", 0, ""};
  for (size_t start = 0; start <= commands.size() && !session_.finished;) {
    const size_t end = std::min(commands.find(';', start), commands.size());
    line.text = commands.substr(start, end - start);
    ++line.number;
    if (!run_line(line)) {
      return false;
    }
    start = end + 1;
  }
  return true;
}

}  // namespace app
