#include "app/terminal/terminal.h"

#include <histedit.h>

#include <cerrno>
#include <csignal>

#include <iostream>
#include <memory>

#include "app/terminal/completion.h"

namespace app {

using namespace agent;

namespace {

constexpr int kHistoryLines = 1000;

using Editor = std::unique_ptr<EditLine, decltype(&el_end)>;
using EditHistory = std::unique_ptr<History, decltype(&history_end)>;

const char *prompt(EditLine *) {
  return "oftab> ";
}

void list_words(const std::set<std::string> &words) {
  std::cout << '\n';
  for (const std::string &word : words) {
    std::cout << word << "  ";
  }
  std::cout << std::endl;
}

// Completes a command word as far as it is unique and lists the choices where it is not; elsewhere a file name.
unsigned char complete(EditLine *editor, int key_pressed) {
  const LineInfo *info = el_line(editor);
  const std::string_view line(info->buffer, static_cast<size_t>(info->cursor - info->buffer));
  const std::set<std::string> words = completions(line);
  if (words.empty()) {
    return _el_fn_complete(editor, key_pressed);
  }
  const size_t typed = line.size() - (line.find_last_of(' ') + 1);
  std::string addition = common_beginning(words).substr(typed);
  addition += words.size() == 1 ? " " : "";
  if (addition.empty()) {
    list_words(words);
    return CC_REDISPLAY;
  }
  return el_insertstr(editor, addition.c_str()) == -1 ? CC_ERROR : CC_REFRESH;
}

Editor open_editor(History *history_lines) {
  Editor editor(el_init("oftab-switch", stdin, stdout, stderr), &el_end);
  el_set(editor.get(), EL_PROMPT, &prompt);
  el_set(editor.get(), EL_EDITOR, "emacs");
  el_set(editor.get(), EL_SIGNAL, 1);
  el_set(editor.get(), EL_HIST, history, history_lines);
  el_set(editor.get(), EL_ADDFN, "complete-word", "complete a command word or a file name", &complete);
  el_set(editor.get(), EL_BIND, "\t", "complete-word", nullptr);
  el_set(editor.get(), EL_BIND, "^R", "em-inc-search-prev", nullptr);
  return editor;
}

// The next line, or null at the end of the input. An interrupt abandons the line: null, with errno EINTR.
const char *read_line(EditLine *editor, int &length) {
  struct sigaction abandon {};
  struct sigaction before {};
  abandon.sa_handler = [](int) { std::cout << std::endl; };
  sigaction(SIGINT, &abandon, &before);
  errno = 0;
  const char *line = el_gets(editor, &length);
  const int reason = errno;
  sigaction(SIGINT, &before, nullptr);
  errno = reason;
  return line;
}

}  // namespace

void run_terminal(Shell &shell, const Session &session) {
  HistEvent event;
  const EditHistory history_lines(history_init(), &history_end);
  history(history_lines.get(), &event, H_SETSIZE, kHistoryLines);
  history(history_lines.get(), &event, H_SETUNIQUE, 1);
  const Editor editor = open_editor(history_lines.get());
  int length = 0;
  while (!session.finished) {
    const char *line = read_line(editor.get(), length);
    if (line == nullptr && errno == EINTR) {
      el_reset(editor.get());
      continue;
    }
    if (line == nullptr || length <= 0) {
      std::cout << '\n';
      return;
    }
    std::string text(line, static_cast<size_t>(length));
    if (text.find_first_not_of(" \t\n") != std::string::npos) {
      history(history_lines.get(), &event, H_ENTER, text.c_str());
    }
    text.resize(text.find_last_not_of('\n') + 1);
    shell.run_line({"", 1, text});
  }
}

}  // namespace app
