// The output of a process, collected line by line as it comes.
#ifndef ORV_TESTS_LINEREADER_H
#define ORV_TESTS_LINEREADER_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class LineReader {
 public:
  // Reads `descriptor`, the read end of a pipe and this object's from here on, in a thread of its own.
  explicit LineReader(int descriptor);
  ~LineReader();
  LineReader(const LineReader &) = delete;
  LineReader &operator=(const LineReader &) = delete;

  // What has come so far, without line ends; an unfinished last line only after the end.
  std::vector<std::string> lines() const;

  // Waits until `count` lines have come that `matches` is true of, and returns the last of them. Throws after the limit
  // and when the output ends before; the message names `wanted` and holds all lines.
  std::string waitFor(const std::function<bool(const std::string &)> &matches, unsigned count,
                      const std::string &wanted) const;

  // Waits until nobody holds the pipe's write end any more. Throws after the limit.
  void waitForEnd() const;

 private:
  void run();
  void take(const char *text, size_t length);

  int descriptor_;
  int stopDescriptor_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::string unfinished_;
  bool ended_ = false;
  std::thread thread_;
};

#endif
