#include "Screen.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "Output.h"
#include "Terminal.h"

namespace orv {
namespace {

// The control sequences of xterm that every terminal emulator and the Linux console know.
constexpr const char *TAKE = "\x1b[?1049h\x1b[?25l\x1b[H\x1b[2J";  // second screen, no cursor, clear
constexpr const char *GIVE_BACK = "\x1b[?25h\x1b[?1049l";
constexpr const char *TOP = "\x1b[H";
constexpr const char *CLEAR_REST_OF_LINE = "\x1b[K";
constexpr const char *CLEAR_BELOW = "\x1b[J";

}  // namespace

Screen::Screen() {
  if (tcgetattr(STDIN_FILENO, &before_) == 0) {
    termios single = before_;
    single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    hasKeys_ = tcsetattr(STDIN_FILENO, TCSANOW, &single) == 0;
  }
  // Result not examined, as below: the drawing finds out.
  writeOutput(TAKE);
}

Screen::~Screen() {
  writeOutput(GIVE_BACK);
  if (hasKeys_) tcsetattr(STDIN_FILENO, TCSANOW, &before_);
}

bool Screen::isPossible() {
  const char *kind = std::getenv("TERM");
  return outputIsTerminal() && kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
}

int Screen::draw(const std::vector<std::string> &lines) {
  std::string text = TOP;
  for (size_t i = 0; i < lines.size(); ++i)
    text += (i == 0 ? "" : "\r\n") + lines[i] + CLEAR_REST_OF_LINE;
  return writeOutput(text + CLEAR_BELOW);
}

}  // namespace orv
