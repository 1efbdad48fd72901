// orvctl status --watch: in place on a terminal, which is given back as it was, and block by block into a pipe.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <stdexcept>

#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

constexpr std::chrono::seconds LIMIT(60);

// As much of a terminal as the tool uses: a second screen, the cursor, and clearing.
class TerminalScreen {
 public:
  void take(const char *bytes, size_t length) {
    rest_.append(bytes, length);
    while (!rest_.empty() && takeOne()) {
    }
  }
  bool isSecond() const {
    return isSecond_;
  }
  bool hasCursor() const {
    return hasCursor_;
  }
  bool hadColours() const {
    return hadColours_;
  }
  std::string text() const {
    return joined(lines_);
  }

 private:
  bool takeOne() {
    if (rest_[0] != '\x1b') {
      put(rest_[0]);
      rest_.erase(0, 1);
      return true;
    }
    const auto end =
        std::find_if(rest_.begin() + std::min<std::ptrdiff_t>(2, static_cast<std::ptrdiff_t>(rest_.size())),
                     rest_.end(), [](char c) { return c >= '@' && c <= '~'; });
    if (end == rest_.end()) return false;
    command({rest_.begin() + 2, end + 1});
    rest_.erase(rest_.begin(), end + 1);
    return true;
  }
  void put(char character) {
    if (character == '\r') {
      column_ = 0;
    } else if (character == '\n') {
      ++row_;
    } else {
      lines_.resize(std::max(lines_.size(), row_ + 1));
      std::string &line = lines_[row_];
      line.resize(std::max(line.size(), column_ + 1), ' ');
      line[column_++] = character;
    }
  }
  void command(const std::string &text) {
    if (text == "?1049h" || text == "?1049l") isSecond_ = text.back() == 'h';
    if (text == "?25h" || text == "?25l") hasCursor_ = text.back() == 'h';
    if (text == "2J") lines_.clear();
    if (text == "H") row_ = column_ = 0;
    if (text == "K" && row_ < lines_.size()) lines_[row_].resize(std::min(lines_[row_].size(), column_));
    if (text == "J") lines_.resize(std::min(lines_.size(), row_ + 1));
    if (text.back() == 'm') hadColours_ = true;
  }

  std::string rest_;
  Lines lines_;
  size_t row_ = 0;
  size_t column_ = 0;
  bool isSecond_ = false;
  bool hasCursor_ = true;
  bool hadColours_ = false;
};

// The tool on a terminal of its own.
class OnTerminal {
 public:
  OnTerminal(const Lines &arguments, const std::string &nodeDirectory) {
    winsize size = {24, 100, 0, 0};
    before_.c_iflag = ICRNL;
    before_.c_oflag = OPOST | ONLCR;
    before_.c_cflag = CS8 | CREAD;
    before_.c_lflag = ISIG | ICANON | ECHO | IEXTEN;
    before_.c_cc[VINTR] = '\x03';
    before_.c_cc[VSUSP] = '\x1a';
    before_.c_cc[VMIN] = 1;
    std::vector<char *> pointers = {const_cast<char *>(ORVCTL_PATH)};
    for (const std::string &argument : arguments)
      pointers.push_back(const_cast<char *>(argument.c_str()));
    pointers.push_back(nullptr);
    pid_ = forkpty(&descriptor_, nullptr, &before_, &size);
    if (pid_ < 0) throw std::runtime_error("no terminal");
    if (pid_ == 0) {
      setenv("ORV_NODE_DIR", nodeDirectory.c_str(), 1);
      setenv("TERM", "xterm", 1);
      setenv("TZ", "UTC", 1);
      unsetenv("NO_COLOR");
      execv(ORVCTL_PATH, pointers.data());
      _exit(127);
    }
  }
  ~OnTerminal() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    close(descriptor_);
  }
  OnTerminal(const OnTerminal &) = delete;
  OnTerminal &operator=(const OnTerminal &) = delete;

  void waitFor(const std::string &part) {
    waitUntil(part, [&] { return contains(screen_.text(), part); });
  }
  void waitUntil(const std::string &wanted, const std::function<bool()> &holds) {
    const auto deadline = std::chrono::steady_clock::now() + LIMIT;
    while (!holds()) {
      if (std::chrono::steady_clock::now() > deadline || !readSome()) {
        throw std::runtime_error("no " + wanted + " on the screen:\n" + screen_.text());
      }
    }
  }
  void type(const std::string &keys) const {
    if (write(descriptor_, keys.data(), keys.size()) < 0) throw std::runtime_error("cannot type");
  }
  void resize(unsigned short lines, unsigned short columns) const {
    const winsize size = {lines, columns, 0, 0};
    ioctl(descriptor_, TIOCSWINSZ, &size);
  }
  void signal(int number) const {
    kill(pid_, number);
  }
  void waitUntilStopped() const {
    siginfo_t stopped = {};
    waitid(P_PID, static_cast<id_t>(pid_), &stopped, WSTOPPED | WNOWAIT);
  }
  // The wait status, after everything has been read.
  int waitForEnd() {
    const auto deadline = std::chrono::steady_clock::now() + LIMIT;
    while (readSome()) {
      if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("the tool does not end");
    }
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }
  const TerminalScreen &screen() const {
    return screen_;
  }
  // The line discipline is as it was before the tool.
  bool isAsBefore() const {
    termios now = {};
    tcgetattr(descriptor_, &now);
    return now.c_lflag == before_.c_lflag;
  }

 private:
  // False at the end.
  bool readSome() {
    pollfd waited = {descriptor_, POLLIN, 0};
    if (poll(&waited, 1, 1000) == 0) return true;
    char bytes[4096];
    const ssize_t count = read(descriptor_, bytes, sizeof bytes);
    if (count <= 0) return false;
    screen_.take(bytes, static_cast<size_t>(count));
    return true;
  }

  pid_t pid_ = -1;
  int descriptor_ = -1;
  termios before_ = {};
  TerminalScreen screen_;
};

class OrvctlWatch : public Orvctl {
 protected:
  OrvctlWatch() {
    beginRun(static_cast<uint32_t>(getpid()));
  }
  void putPump(EuState euState) const {
    EuRecord eu;
    eu.id = 3;
    eu.name = "pump";
    eu.path = "/usr/bin/pump";
    eu.pid = 4711;
    eu.state = euState;
    eu.waitStatus = 3 << 8;
    ASSERT_TRUE(store()->putEu(eu, nullptr).ok());
  }
  void expectGivenBack(OnTerminal &tool) const {
    const int status = tool.waitForEnd();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == DONE) << status;
    EXPECT_FALSE(tool.screen().isSecond());
    EXPECT_TRUE(tool.screen().hasCursor());
    EXPECT_TRUE(tool.isAsBefore());
  }
  std::unique_ptr<DaemonProcess> inPipe(const Lines &arguments) const {
    ProcessStart start;
    start.arguments = {ORVCTL_PATH};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = {"ORV_NODE_DIR=" + node(), "TZ=UTC"};
    return std::make_unique<DaemonProcess>(start);
  }
};

TEST_F(OrvctlWatch, IsDrawnInPlaceAndFollowsTheStoreAtOnce) {
  putPump(EuState::RUNNING);
  OnTerminal tool({"status", "--watch"}, node());
  tool.waitFor("pump  running");
  EXPECT_TRUE(tool.screen().isSecond());
  EXPECT_FALSE(tool.screen().hasCursor());
  EXPECT_TRUE(tool.screen().hadColours());
  EXPECT_TRUE(contains(tool.screen().text(), "state     up\n")) << tool.screen().text();
  EXPECT_TRUE(contains(tool.screen().text(), "progress  [###")) << tool.screen().text();
  putPump(EuState::PROGRAM_ENDED);
  tool.waitFor("pump  exited with 3");
  EXPECT_FALSE(contains(tool.screen().text(), "running "));
  tool.type("\x03");
  expectGivenBack(tool);
}

TEST_F(OrvctlWatch, TerminalIsGivenBackOnSigterm) {
  OnTerminal tool({"status", "--watch"}, node());
  tool.waitFor("state     up");
  tool.signal(SIGTERM);
  expectGivenBack(tool);
}

TEST_F(OrvctlWatch, EndsByTheKeyQAndByNoOther) {
  OnTerminal tool({"status", "--watch"}, node());
  tool.waitFor("state     up");
  tool.type("x");
  putPump(EuState::RUNNING);
  tool.waitFor("pump  running");
  tool.type("q");
  expectGivenBack(tool);
}

TEST_F(OrvctlWatch, AdaptsToTheTerminalsSize) {
  putPump(EuState::RUNNING);
  OnTerminal tool({"status", "--watch"}, node());
  tool.waitFor("/usr/bin/pump");
  tool.resize(12, 40);
  tool.waitUntil("narrow screen", [&] { return !contains(tool.screen().text(), "/usr/bin/pump"); });
  tool.waitFor("restarts  none: a program that has ende~");
  tool.resize(24, 100);
  tool.waitFor("/usr/bin/pump");
  tool.type("q");
  expectGivenBack(tool);
}

TEST_F(OrvctlWatch, GivesTheTerminalBackForAsLongAsItIsSuspended) {
  OnTerminal tool({"status", "--watch"}, node());
  tool.waitFor("state     up");
  tool.type("\x1a");
  tool.waitUntil("first screen", [&] { return !tool.screen().isSecond(); });
  EXPECT_TRUE(tool.screen().hasCursor());
  tool.waitUntilStopped();
  tool.signal(SIGCONT);
  tool.waitUntil("second screen", [&] { return tool.screen().isSecond(); });
  tool.waitFor("state     up");
  tool.type("q");
  expectGivenBack(tool);
}

TEST_F(OrvctlWatch, IntoAPipeIsABlockForEachChange) {
  const auto tool = inPipe({"status", "--watch"});
  tool->waitForOutputLineWith("state     up");
  putPump(EuState::RUNNING);
  tool->waitForOutputLineWith("3   pump  running");
  putPump(EuState::PROGRAM_ENDED);
  tool->waitForOutputLineWith("3   pump  exited with 3");
  tool->signal(SIGINT);
  const int status = tool->waitForExit();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == DONE) << status;
  const Lines lines = tool->outputLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "state     up"), 3) << joined(lines);
  EXPECT_FALSE(contains(joined(lines), "\x1b"));
}

TEST_F(OrvctlWatch, AsJsonIsALineForEachChange) {
  const auto tool = inPipe({"status", "--watch", "--json"});
  tool->waitForOutputLineWith("\"programs\": []");
  putPump(EuState::RUNNING);
  tool->waitForOutputLineWith("\"state\": \"running\"");
  tool->signal(SIGTERM);
  tool->waitForExit();
  EXPECT_EQ(tool->outputLines().size(), 2U) << joined(tool->outputLines());
}

TEST_F(OrvctlWatch, WaitsForANodeThatIsNotThereYet) {
  std::filesystem::remove_all(node());
  const auto tool = inPipe({"status", "--watch"});
  EXPECT_EQ(tool->waitForErrorLineWith("waiting"), "orvctl: there is no node in " + node() + " yet; waiting for it");
  std::filesystem::create_directory(node());
  std::filesystem::permissions(node(), std::filesystem::perms(0750));
  beginRun(static_cast<uint32_t>(getpid()));
  tool->waitForOutputLineWith("state     up");
  tool->signal(SIGINT);
  tool->waitForExit();
}

}  // namespace
