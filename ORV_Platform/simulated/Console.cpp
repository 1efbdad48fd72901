#include "Console.h"

#include <unistd.h>

#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <utility>

namespace orv::sim {
namespace {

// The streams are the process's, so what is needed to redirect them is too. Made once, never destroyed.
struct Redirection {
  Console *console = nullptr;
  FILE *files[2] = {nullptr, nullptr};
  FILE *originalFiles[2] = {nullptr, nullptr};
  std::streambuf *originalBuffers[2] = {nullptr, nullptr};
};

Redirection &redirection() {
  static auto *instance = new Redirection;
  return *instance;
}

void writeTo(Console::Stream stream, const char *text, size_t length) {
  if (Console *console = redirection().console) console->write(stream, {text, length});
}

ssize_t writeCookie(void *cookie, const char *text, size_t length) {
  writeTo(cookie == nullptr ? Console::Stream::OUT : Console::Stream::ERR, text, length);
  return static_cast<ssize_t>(length);
}

class CaughtBuffer : public std::streambuf {
 public:
  explicit CaughtBuffer(Console::Stream stream) : stream_(stream) {}

 protected:
  int overflow(int character) override {
    if (character != traits_type::eof()) {
      const char text = static_cast<char>(character);
      writeTo(stream_, &text, 1);
    }
    return 0;
  }
  std::streamsize xsputn(const char *text, std::streamsize length) override {
    writeTo(stream_, text, static_cast<size_t>(length));
    return length;
  }

 private:
  Console::Stream stream_;
};

std::streambuf *caughtBuffer(Console::Stream stream) {
  static auto *out = new CaughtBuffer(Console::Stream::OUT);
  static auto *err = new CaughtBuffer(Console::Stream::ERR);
  return stream == Console::Stream::OUT ? out : err;
}

// Unbuffered, so that a line has its place among the operations.
FILE *caughtFile(void *cookie) {
  cookie_io_functions_t functions = {};
  functions.write = writeCookie;
  FILE *file = fopencookie(cookie, "w", functions);
  if (file == nullptr) throw std::runtime_error("the standard streams cannot be redirected");
  std::setvbuf(file, nullptr, _IONBF, 0);
  return file;
}

void writeWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace

void Console::capture(std::function<void(Stream, const std::string &)> onLine, bool passOn) {
  // A library may be loaded before anybody has set up std::cout and std::cerr.
  static const std::ios_base::Init streams;
  onLine_ = std::move(onLine);
  passOn_ = passOn;
  unfinished_[0].clear();
  unfinished_[1].clear();
  Redirection &all = redirection();
  all.console = this;
  if (all.files[0] == nullptr) {
    static char errCookie;
    all.files[0] = caughtFile(nullptr);
    all.files[1] = caughtFile(&errCookie);
  }
  std::fflush(stdout);
  all.originalFiles[0] = std::exchange(stdout, all.files[0]);
  all.originalFiles[1] = std::exchange(stderr, all.files[1]);
  all.originalBuffers[0] = std::cout.rdbuf(caughtBuffer(Stream::OUT));
  all.originalBuffers[1] = std::cerr.rdbuf(caughtBuffer(Stream::ERR));
}

void Console::release() {
  Redirection &all = redirection();
  if (all.console != this) return;
  stdout = all.originalFiles[0];
  stderr = all.originalFiles[1];
  std::cout.rdbuf(all.originalBuffers[0]);
  std::cerr.rdbuf(all.originalBuffers[1]);
  all.console = nullptr;
  for (const Stream stream : {Stream::OUT, Stream::ERR}) {
    std::string &rest = unfinished_[stream == Stream::ERR ? 1 : 0];
    if (!rest.empty()) onLine_(stream, rest);
    rest.clear();
  }
}

void Console::write(Stream stream, std::string_view text) {
  if (passOn_) writeWhole(stream == Stream::ERR ? STDERR_FILENO : STDOUT_FILENO, text);
  std::string &unfinished = unfinished_[stream == Stream::ERR ? 1 : 0];
  unfinished += text;
  for (size_t end = unfinished.find('\n'); end != std::string::npos; end = unfinished.find('\n')) {
    const std::string line = unfinished.substr(0, end);
    unfinished.erase(0, end + 1);
    onLine_(stream, line);
  }
}

}  // namespace orv::sim
