#include "StatusCommand.h"

#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include "Clock.h"
#include "NodeStatus.h"
#include "NodeWatch.h"
#include "Output.h"
#include "Screen.h"
#include "StatusView.h"
#include "Terminal.h"
#include "Words.h"

namespace orv {
namespace {

using std::chrono::milliseconds;
using Woken = NodeWatch::Woken;

// What passes by is told anew so often.
constexpr milliseconds REFRESH_INTERVAL(1000);

// A node that logs without a pause is not looked at more often than this.
constexpr milliseconds LEAST_INTERVAL(200);

// One look after the other, whoever shows them.
class Watching {
 public:
  explicit Watching(const std::string &nodeDirectory) : directory_(nodeDirectory), watch_(nodeDirectory) {}
  virtual ~Watching() = default;
  Watching(const Watching &) = delete;
  Watching &operator=(const Watching &) = delete;

  int run() {
    if (const Status opened = watch_.changeOver(); !opened.ok() && opened.code != ENOENT) {
      complain(opened.message);
      return EXIT_FAILED;
    }
    begin();
    int error = 0;
    do {
      error = look();
    } while (error == 0 && goesOn());
    end();
    // A reader that has seen enough, such as head, is no failure.
    if (error == 0 || error == EPIPE) return EXIT_DONE;
    complain(std::string("cannot write standard output: ") + std::strerror(error));
    return EXIT_FAILED;
  }

 protected:
  virtual void begin() {}
  virtual void end() {}
  // Returns 0 or the errno of writing.
  virtual int show(const NodeStatus &status) = 0;
  virtual int showAbsence(const std::string &directory) = 0;

  NodeWatch &watch() {
    return watch_;
  }

 private:
  int look() {
    if (watch_.store() == nullptr || watch_.isReplaced()) {
      // Result not examined: one that cannot be read is about to be made, or is set aside by the next daemon.
      static_cast<void>(watch_.changeOver());
    }
    lookedNs_ = monotonicNs();
    if (watch_.store() == nullptr) return showAbsence(directory_);
    return show(nodeStatus(readStatusSource(*watch_.store())));
  }

  // Waits for a reason to look again; false where it is over.
  bool goesOn() {
    switch (watch_.wait(REFRESH_INTERVAL)) {
      case Woken::END:
      case Woken::READER_GONE:
        return false;
      case Woken::KEY:
        return !hasQuit();
      case Woken::SUSPEND:
        end();
        raise(SIGSTOP);
        begin();
        return true;
      case Woken::CHANGED:
        if (const milliseconds age((monotonicNs() - lookedNs_) / NS_PER_MS); age < LEAST_INTERVAL) {
          std::this_thread::sleep_for(LEAST_INTERVAL - age);
        }
        return true;
      default:
        return true;
    }
  }

  static bool hasQuit() {
    char keys[64];
    const ssize_t count = read(STDIN_FILENO, keys, sizeof keys);
    // The end of the input as well: nobody is there any more.
    return count <= 0 || std::memchr(keys, 'q', static_cast<size_t>(count)) != nullptr;
  }

  std::string directory_;
  NodeWatch watch_;
  uint64_t lookedNs_ = 0;
};

class ScreenWatching : public Watching {
 public:
  using Watching::Watching;

 private:
  void begin() override {
    screen_ = std::make_unique<Screen>();
    if (screen_->hasKeys()) watch().watchInput();
  }
  void end() override {
    screen_.reset();
  }
  int show(const NodeStatus &status) override {
    return screen_->draw(statusScreen(status, terminalColumns(), terminalLines()));
  }
  int showAbsence(const std::string &directory) override {
    return screen_->draw({"There is no node in " + printable(directory) + " yet."});
  }

  std::unique_ptr<Screen> screen_;
};

class BlockWatching : public Watching {
 public:
  BlockWatching(const std::string &nodeDirectory, bool json) : Watching(nodeDirectory), json_(json) {}

 private:
  int show(const NodeStatus &status) override {
    std::string text = statusText(status, PassingTimes::LEFT_OUT);
    if (text == shown_) return 0;
    const std::string separator = shown_.empty() ? "" : "\n";
    shown_ = std::move(text);
    return writeOutput(json_ ? statusJson(status) : separator + shown_);
  }
  int showAbsence(const std::string &directory) override {
    if (!saidAbsent_) complain("there is no node in " + directory + " yet; waiting for it");
    saidAbsent_ = true;
    return 0;
  }

  bool json_;
  bool saidAbsent_ = false;
  std::string shown_;
};

}  // namespace

void addStatusOptions(CLI::App &command, StatusArguments &options) {
  command.add_flag(
      "--watch", options.watch,
      "Go on until SIGINT or SIGTERM: on a terminal in place (q ends it), else whenever something changes");
  command.add_flag("--json", options.json, "As one JSON object; with --watch one a line");
}

int status(const Arguments &arguments, const StatusArguments &options, std::string &output) {
  if (options.watch) {
    const std::string directory = nodeDirectoryOf(arguments);
    if (options.json || !Screen::isPossible()) return BlockWatching(directory, options.json).run();
    return ScreenWatching(directory).run();
  }
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const NodeStatus now = nodeStatus(readStatusSource(*store));
  output += options.json ? statusJson(now) : statusText(now, PassingTimes::SHOWN);
  return EXIT_DONE;
}

}  // namespace orv
