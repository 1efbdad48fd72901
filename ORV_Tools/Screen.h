// A whole terminal to draw on, which is given back as it was.
//
// It is the terminal's second screen, so that what stood on the first comes back; the cursor is hidden and keys are not
// echoed. A drawing is one write and goes over the last one line by line without clearing it, so nothing flickers.
#ifndef ORV_TOOLS_SCREEN_H
#define ORV_TOOLS_SCREEN_H

#include <termios.h>

#include <string>
#include <vector>

namespace orv {

class Screen {
 public:
  // Takes the terminal of standard output, and the keys of standard input where that is a terminal.
  Screen();
  ~Screen();
  Screen(const Screen &) = delete;
  Screen &operator=(const Screen &) = delete;

  // Whether standard output is a terminal that can do this.
  static bool isPossible();

  // Keys come one by one, without a line end.
  bool hasKeys() const {
    return hasKeys_;
  }

  // Shows these lines, none wider than the terminal, from the top on. Returns 0 or the errno of writing.
  int draw(const std::vector<std::string> &lines);

 private:
  bool hasKeys_ = false;
  termios before_ = {};
};

}  // namespace orv

#endif
