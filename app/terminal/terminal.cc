// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/terminal.h"

#include <histedit.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <memory>

#include "agent/text.h"
#include "app/terminal/completion.h"
#include "app/terminal/signals.h"

namespace app {

using namespace agent;

namespace {

constexpr int kHistoryLines = 1000;

using Editor = std::unique_ptr<EditLine, decltype(&el_end)>;

// The lines that were entered, kept in the operator's home between runs.
class EntryHistory {
 public:
  EntryHistory() : lines_(history_init()), file_(file_name()) {
    call(H_SETSIZE, kHistoryLines);
    call(H_SETUNIQUE, 1);
    if (!file_.empty()) {
      call(H_LOAD, file_.c_str());
    }
  }
  ~EntryHistory() {
    if (!file_.empty()) {
      call(H_SAVE, file_.c_str());
    }
    history_end(lines_);
  }
  EntryHistory(const EntryHistory &) = delete;
  EntryHistory &operator=(const EntryHistory &) = delete;

  void enter(const std::string &line) { call(H_ENTER, line.c_str()); }
  History *lines() { return lines_; }

 private:
  static std::string file_name() {
    const char *home = std::getenv("HOME");
    return home == nullptr || *home == '\0' ? "" : concat(home, "/.oftab_history");
  }

  template <typename Argument>
  void call(int operation, Argument argument) {
    HistEvent event;
    history(lines_, &event, operation, argument);
  }

  History *lines_;
  std::string file_;
};

const char *prompt(EditLine *) {
  return "oftab> ";
}

size_t characters(std::string_view text) {
  return static_cast<size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void list_words(const std::set<std::string> &words) {
  std::string line = "\n";
  for (const std::string &word : words) {
    line += concat(word, "  ");
  }
  std::puts(line.c_str());
  std::fflush(stdout);
}

// Puts what the last word is completed to in its place; lists the choices where there is nothing to add.
unsigned char complete_word(EditLine *editor, int) {
  const LineInfo *info = el_line(editor);
  const std::string_view line(info->buffer, static_cast<size_t>(info->cursor - info->buffer));
  const TerminalUse *use = nullptr;
  el_get(editor, EL_CLIENTDATA, &use);
  const Completion completion = complete(line, use->ask);
  const std::string typed(line.substr(completion.start));
  if (completion.choices.empty()) {
    return CC_REFRESH_BEEP;
  }
  if (completion.word == typed) {
    list_words(completion.choices);
    return CC_REDISPLAY;
  }
  el_deletestr(editor, static_cast<int>(characters(typed)));
  return el_insertstr(editor, completion.word.c_str()) == -1 ? CC_ERROR : CC_REFRESH;
}

// Brings the editor back after a change of the terminal's size, or after the program was stopped.
void restore_terminal(EditLine *editor) {
  el_resize(editor);
  el_set(editor, EL_PREP_TERM, 1);
  el_set(editor, EL_REFRESH);
}

// One byte; false at the end of the input, and when a signal ends the line.
bool read_byte(EditLine *editor, char &byte) {
  const TerminalUse *use = nullptr;
  el_get(editor, EL_CLIENTDATA, &use);
  while (!use->wait(STDIN_FILENO)) {
    if (interrupted()) {
      return false;
    }
    if (take_terminal_change()) {
      restore_terminal(editor);
    }
  }
  return !interrupted() && read(STDIN_FILENO, &byte, 1) == 1;
}

// The editor's next character, out of as many bytes as it takes; those that are none are passed over.
int read_character(EditLine *editor, wchar_t *character) {
  mbstate_t state{};
  char byte = 0;
  while (read_byte(editor, byte)) {
    const size_t status = mbrtowc(character, &byte, 1, &state);
    if (status <= 1) {
      return 1;
    }
    if (status == static_cast<size_t>(-1)) {
      state = {};
    }
  }
  return interrupted() ? -1 : 0;
}

Editor open_editor(History *lines, const TerminalUse &use) {
  Editor editor(el_init("oftab-switch", stdin, stdout, stderr), &el_end);
  el_set(editor.get(), EL_CLIENTDATA, &use);
  el_set(editor.get(), EL_PROMPT, &prompt);
  el_set(editor.get(), EL_EDITOR, "emacs");
  el_set(editor.get(), EL_SIGNAL, 0);
  el_set(editor.get(), EL_GETCFN, &read_character);
  el_set(editor.get(), EL_HIST, history, lines);
  el_set(editor.get(), EL_ADDFN, "complete-word", "complete a word", &complete_word);
  el_set(editor.get(), EL_BIND, "\t", "complete-word", nullptr);
  el_set(editor.get(), EL_BIND, "^R", "em-inc-search-prev", nullptr);
  return editor;
}

}  // namespace

void run_terminal(const TerminalUse &use) {
  EntryHistory entered;
  const Editor editor = open_editor(entered.lines(), use);
  while (!use.finished() && termination() == 0) {
    forget_interrupt();
    int length = 0;
    const char *line = el_gets(editor.get(), &length);
    if (line == nullptr || length <= 0) {
      std::puts("");
      std::fflush(stdout);
      if (interrupted() && termination() == 0) {
        el_reset(editor.get());
        continue;
      }
      return;
    }
    std::string text(line, static_cast<size_t>(length));
    if (text.find_first_not_of(" \t\n") != std::string::npos) {
      entered.enter(text);
    }
    text.resize(text.find_last_not_of('\n') + 1);
    use.run(text);
  }
}

}  // namespace app
