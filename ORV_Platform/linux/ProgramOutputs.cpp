#include "ProgramOutputs.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Clock.h"
#include "JournalStream.h"
#include "Platform.h"
#include "StoreWriter.h"

namespace orv {
namespace {

// What a pipe holds.
constexpr size_t READ_BYTES = 64UL * 1024;

// How often one output is read before the others have their turn.
constexpr int READS_AT_ONCE = 4;

// How often at most what a program left in its pipe is read; others may hold the pipe and go on writing.
constexpr int READS_AT_THE_END = 64;

// A pipe that can be written to takes as much without waiting (PIPE_BUF).
constexpr size_t WRITE_BYTES = 4096;

// Standard output, opened anew where it is a pipe or a terminal: a terminal takes part of what it has no room for and
// then waits, which can be had out of an opening of one's own alone. None for anything else, and where it is not
// allowed.
int openStandardOutput() {
  struct stat file {};
  if (fstat(STDOUT_FILENO, &file) != 0 || !(S_ISFIFO(file.st_mode) || isatty(STDOUT_FILENO) == 1)) return -1;
  return open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

}  // namespace

ProgramOutputs::ProgramOutputs()
    : buffer_(std::make_unique_for_overwrite<char[]>(READ_BYTES)), standardOutput_(openStandardOutput()) {}

void ProgramOutputs::add(int pipe, pid_t program, uint32_t euId, const std::string &euName) {
  outputs_.erase(program);  // of an earlier process with that number
  outputs_.try_emplace(program, Output{Descriptor(pipe), openJournalStream(euName), euId, {}, false});
}

void ProgramOutputs::read(pid_t program) {
  const auto found = outputs_.find(program);
  if (found == outputs_.end()) return;
  for (int i = 0; i < READS_AT_ONCE && readOnce(found->second); ++i) {
  }
  if (found->second.pipe.get() < 0 && found->second.programEnded) forget(program);
}

void ProgramOutputs::programEnded(pid_t program, bool failed) {
  const auto found = outputs_.find(program);
  if (found == outputs_.end()) return;
  Output &output = found->second;
  readToTheEnd(output);
  output.programEnded = true;
  if (failed) {
    for (const std::string &line : output.lines.lastWords()) {
      Event event;
      event.kind = EventKind::LAST_WORDS;
      event.euId = output.euId;
      event.text = line;
      recordEvent(std::move(event));
    }
  }
  if (output.pipe.get() < 0) forget(program);
}

void ProgramOutputs::finishAll() {
  for (auto &[program, output] : outputs_)
    readToTheEnd(output);
}

void ProgramOutputs::readToTheEnd(Output &output) {
  for (int i = 0; i < READS_AT_THE_END && readOnce(output); ++i) {
  }
  output.lines.flush(monotonicNs(), lines_);
  if (!lines_.empty()) recordOutput(output.euId, std::exchange(lines_, {}));
}

bool ProgramOutputs::hasUnfinishedLines() const {
  return std::any_of(outputs_.begin(), outputs_.end(),
                     [](const auto &entry) { return entry.second.lines.hasUnfinishedLine(); });
}

void ProgramOutputs::flushUnfinishedLines() {
  for (auto &[program, output] : outputs_) {
    output.lines.flush(monotonicNs(), lines_);
    if (!lines_.empty()) recordOutput(output.euId, std::exchange(lines_, {}));
  }
}

// Whether there may be more.
bool ProgramOutputs::readOnce(Output &output) {
  if (output.pipe.get() < 0) return false;
  const ssize_t length = ::read(output.pipe.get(), buffer_.get(), READ_BYTES);
  if (length < 0 && errno == EINTR) return true;
  if (length < 0 && errno == EAGAIN) return false;
  if (length <= 0) {
    finish(output);
    return false;
  }
  const auto count = static_cast<size_t>(length);
  show(output, buffer_.get(), count);
  output.lines.feed({buffer_.get(), count}, monotonicNs(), lines_);
  if (!lines_.empty()) recordOutput(output.euId, std::exchange(lines_, {}));
  return true;
}

void ProgramOutputs::show(const Output &output, const char *bytes, size_t count) {
  if (output.journal.get() < 0) return showOnStandardOutput(bytes, count);
  const ssize_t sent = send(output.journal.get(), bytes, count, MSG_DONTWAIT | MSG_NOSIGNAL);
  static_cast<void>(sent);  // a journal that does not keep up misses lines; the store has them
}

void ProgramOutputs::showOnStandardOutput(const char *bytes, size_t count) {
  const int output = standardOutput_.get() >= 0 ? standardOutput_.get() : STDOUT_FILENO;
  while (count != 0) {
    pollfd waiting = {output, POLLOUT, 0};
    const bool takesMore = poll(&waiting, 1, 0) == 1 && (waiting.revents & POLLOUT) != 0;
    const ssize_t written = takesMore ? write(output, bytes, std::min(count, WRITE_BYTES)) : -1;
    if (written <= 0) {
      if (!std::exchange(leftOutReported_, true)) {
        platformLog(SEVERITY_WARNING,
                    "standard output does not take all that programs write; `orvctl log --eu NAME` shows their lines");
      }
      return;
    }
    bytes += written;
    count -= static_cast<size_t>(written);
  }
}

// Nobody holds the writing end any more.
void ProgramOutputs::finish(Output &output) {
  output.lines.flush(monotonicNs(), lines_);
  if (!lines_.empty()) recordOutput(output.euId, std::exchange(lines_, {}));
  output.pipe.reset();
}

void ProgramOutputs::forget(pid_t program) {
  outputs_.erase(program);
}

}  // namespace orv
