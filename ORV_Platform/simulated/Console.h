// What the daemon writes to its standard streams, caught line by line: each line has its place among the operations.
//
// stdout, stderr, std::cout and std::cerr are all redirected, since they share a place to write to only as long as
// nobody redirects one of them.
#ifndef ORV_SIMULATED_CONSOLE_H
#define ORV_SIMULATED_CONSOLE_H

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

namespace orv::sim {

class Console {
 public:
  enum class Stream { OUT, ERR };

  // Redirects the streams. For each whole line `onLine` is called, without the line's end.
  //   passOn  everything also goes to where it would have gone
  void capture(std::function<void(Stream, const std::string &)> onLine, bool passOn);

  // Puts the streams back. What is left of an unfinished line is handed out as a line first.
  void release();

  // What arrived on a stream. Not for callers.
  void write(Stream stream, std::string_view text);

 private:
  std::function<void(Stream, const std::string &)> onLine_;
  bool passOn_ = false;
  std::string unfinished_[2];
};

}  // namespace orv::sim

#endif
