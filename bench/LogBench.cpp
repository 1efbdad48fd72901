// What one log line costs: a whole AaSysLogPrint, with a journal and without one, beside what can least be done to have
// a line somewhere else: one datagram to a Unix socket, and one write to a file.
//
// The journal is a socket of the program's own, which a thread drains, in a mount namespace of its own: the machine's
// journal is not flooded, and the figures are those of the sending side. Where no such namespace can be made, there is
// no journal and the line goes to the node's events alone, if the machine has no journal or syslog either.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

#include "AaSysLog.h"
#include "BenchNode.h"
#include "MountNamespace.h"

namespace {

constexpr uint32_t INFO = 2;
constexpr const char *FORMAT = "ORV/OrvDaemon, readyWait: %s tag set in time, %u ms left";
constexpr const char *JOURNAL = "/run/systemd/journal/socket";

// A datagram socket whose datagrams a thread takes and forgets. Of the main thread alone.
class DrainedSocket {
 public:
  explicit DrainedSocket(const std::string &path)
      : path_(path), descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    address_.sun_family = AF_UNIX;
    path.copy(address_.sun_path, sizeof address_.sun_path - 1);
    isBound_ = bind(descriptor_, address(), sizeof address_) == 0;
    thread_ = std::thread([this] {
      char buffer[4096];
      while (recv(descriptor_, buffer, sizeof buffer, 0) > 0) {
      }
    });
  }
  ~DrainedSocket() {
    shutdown(descriptor_, SHUT_RDWR);  // the thread's recv returns 0
    thread_.join();
    close(descriptor_);
    std::filesystem::remove(path_);
  }
  DrainedSocket(const DrainedSocket &) = delete;
  DrainedSocket &operator=(const DrainedSocket &) = delete;

  bool isBound() const {
    return isBound_;
  }
  const sockaddr *address() const {
    return reinterpret_cast<const sockaddr *>(&address_);
  }
  socklen_t addressLength() const {
    return sizeof address_;
  }

 private:
  const std::string path_;
  const int descriptor_;
  sockaddr_un address_{};
  bool isBound_ = false;
  std::thread thread_;
};

void printLines(benchmark::State &state) {
  uint32_t left = 0;
  for (auto _ : state) {
    if (AaSysLogPrint(INFO, FORMAT, "app.component100.online", ++left) != 0) state.SkipWithError("the line was lost");
  }
}

void BM_AaSysLogPrint_Journal(benchmark::State &state) {
  const DrainedSocket journal(JOURNAL);
  if (!journal.isBound()) {
    state.SkipWithError("no mount namespace for a journal of the benchmark's own");
    return;
  }
  printLines(state);
}
BENCHMARK(BM_AaSysLogPrint_Journal)->UseRealTime();

void BM_AaSysLogPrint_EventsAlone(benchmark::State &state) {
  if (access(JOURNAL, W_OK) == 0 || access("/dev/log", W_OK) == 0) {
    state.SkipWithError("there is a journal or a syslog");
    return;
  }
  printLines(state);
}
BENCHMARK(BM_AaSysLogPrint_EventsAlone)->UseRealTime();

// The text of the same line.
std::string lineText(uint32_t left) {
  char text[256];
  const int length = std::snprintf(text, sizeof text, FORMAT, "app.component100.online", left);
  return {text, static_cast<size_t>(length)};
}

void BM_Bare_sendto(benchmark::State &state) {
  const FreshDirectory directory;
  const DrainedSocket receiver(directory.path("log"));
  const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  uint32_t left = 0;
  for (auto _ : state) {
    const std::string line = lineText(++left);
    if (sendto(sender, line.data(), line.size(), MSG_NOSIGNAL, receiver.address(), receiver.addressLength()) < 0) {
      state.SkipWithError("the line was lost");
    }
  }
  close(sender);
}
BENCHMARK(BM_Bare_sendto)->UseRealTime();

void BM_Bare_write(benchmark::State &state) {
  const FreshDirectory directory;
  const int file = open(directory.write("log", "").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  uint32_t left = 0;
  for (auto _ : state) {
    const std::string line = lineText(++left);
    if (write(file, line.data(), line.size()) < 0) state.SkipWithError("the line was lost");
  }
  close(file);
}
BENCHMARK(BM_Bare_write)->UseRealTime();

// A /run and a /dev/log of this process's own. Without them the benchmarks say so themselves.
bool hideTheMachinesLog() {
  if (!enterMountNamespace()) return true;
  if (mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0) return false;
  std::error_code error;
  if (!std::filesystem::exists("/dev/log", error)) return true;
  return mount("/dev/null", "/dev/log", nullptr, MS_BIND, nullptr) == 0;
}

}  // namespace

int main(int argc, char **argv) {
  return benchmarkOnNode(argc, argv, hideTheMachinesLog);
}
