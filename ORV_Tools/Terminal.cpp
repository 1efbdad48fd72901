#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace orv {
namespace {

constexpr unsigned USUAL_COLUMNS = 80;
constexpr unsigned USUAL_LINES = 24;

ColourUse gColourUse = ColourUse::AUTO;

// The parameter of the control sequence "select graphic rendition" (ECMA-48, 8.3.117).
const char *rendition(Colour colour) {
  switch (colour) {
    case Colour::BOLD:
      return "1";
    case Colour::DIM:
      return "2";
    case Colour::RED:
      return "31";
    case Colour::GREEN:
      return "32";
    case Colour::YELLOW:
      return "33";
    case Colour::BLUE:
      return "34";
    case Colour::CYAN:
      return "36";
  }
  return "0";
}

bool isSet(const char *variable) {
  const char *value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool terminalShowsColours() {
  const char *kind = std::getenv("TERM");
  return kind != nullptr && std::string_view(kind) != "dumb";
}

}  // namespace

void useColours(ColourUse use) {
  gColourUse = use;
}

bool outputHasColours() {
  if (gColourUse != ColourUse::AUTO) return gColourUse == ColourUse::ALWAYS;
  return outputIsTerminal() && terminalShowsColours() && !isSet("NO_COLOR");
}

bool outputIsTerminal() {
  return isatty(STDOUT_FILENO) == 1;
}

unsigned terminalColumns() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return USUAL_COLUMNS;
  return size.ws_col;
}

unsigned terminalLines() {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return USUAL_LINES;
  return size.ws_row;
}

std::string coloured(Colour colour, std::string_view text) {
  if (!outputHasColours() || text.empty()) return std::string(text);
  return std::string("\x1b[") + rendition(colour) + "m" + std::string(text) + "\x1b[0m";
}

}  // namespace orv
