// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/live_view.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <sstream>
#include <string>

#include "app/terminal/output.h"
#include "app/terminal/signals.h"

namespace app {

namespace {

// The terminal's other screen, without cursor and without line breaks of its own, and keys one by one, while it lives.
class Screen {
 public:
  Screen() : out_(STDOUT_FILENO) {
    tcgetattr(STDIN_FILENO, &before_);
    termios modes = before_;
    modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSADRAIN, &modes);
    out_ << "\033[?1049h\033[?25l\033[?7l";
  }
  ~Screen() {
    out_.recover();
    out_ << "\033[?7h\033[?25h\033[?1049l" << std::flush;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &before_);
  }
  Screen(const Screen &) = delete;
  Screen &operator=(const Screen &) = delete;

  // As many lines as there is room for.
  void draw(const std::string &picture) {
    std::istringstream lines(picture);
    std::string line;
    out_ << "\033[H";
    for (size_t left = room(); left != 0 && std::getline(lines, line); --left) {
      out_ << line << "\033[K\n";
    }
    out_ << "q ends\033[J" << std::flush;
  }

 private:
  static size_t room() {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 1;
    return known ? size.ws_row - 1U : std::string::npos;
  }

  Output out_;
  termios before_{};
};

// The end of the input ends the view, too.
bool ends(bool key_comes) {
  char key = 'q';
  return key_comes && (read(STDIN_FILENO, &key, 1) != 1 || key == 'q');
}

}  // namespace

void show_live(const std::function<void(std::ostream &)> &print, const std::function<bool()> &wait) {
  Screen screen;
  do {
    std::ostringstream picture;
    print(picture);
    screen.draw(picture.str());
  } while (!ends(wait()) && !interrupted());
}

}  // namespace app
