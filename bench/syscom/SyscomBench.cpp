// Many nodes on one machine: starts that many daemons, each with directories and a gateway port of its own on loopback,
// lets a program on each node send messages to the others, and measures how many come and how long they take; beside
// a bare ZeroMQ pair, and messages within a node beside a bare Unix socket pair, in the same run.
//
// The driver starts everything, measures, and leaves nothing behind. It uses no libORV.so itself: a process belongs to
// one node at most.
#include <stdlib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "Children.h"
#include "Clock.h"
#include "FreshDirectory.h"
#include "Measurement.h"
#include "Nodes.h"
#include "Programs.h"
#include "Report.h"

namespace {

using namespace syscombench;

constexpr int EXIT_GOOD = 0;
constexpr int EXIT_BAD = 1;     // something was lost, or did not end well
constexpr int EXIT_USAGE = 2;   // the command makes no sense
constexpr int EXIT_FAILED = 3;  // nothing could be measured

constexpr unsigned WORKER_LIMIT_MS = 30000;

struct Options {
  size_t nodes = 50;
  double seconds = 3;
  uint32_t payloadBytes = 64;
  uint32_t window = 8;
  bool json = false;
  std::string daemon = ORV_DAEMON_EXE;
};

double secondsSince(uint64_t beginNs) {
  return static_cast<double>(orv::monotonicNs() - beginNs) / 1e9;
}

// Child processes, killed at the end of the scope unless they have ended before.
class Processes {
 public:
  Processes() = default;
  ~Processes() {
    for (const pid_t pid : pids_)
      kill(pid, SIGKILL);
    waitForAll(pids_, WORKER_LIMIT_MS);
  }
  Processes(const Processes &) = delete;
  Processes &operator=(const Processes &) = delete;

  void add(std::vector<pid_t> pids) {
    pids_.insert(pids_.end(), pids.begin(), pids.end());
  }
  // Throws when one of them has ended.
  void check() {
    for (auto pid = pids_.begin(); pid != pids_.end(); ++pid) {
      int waitStatus = 0;
      if (!hasEnded(*pid, waitStatus)) continue;
      pids_.erase(pid);
      throw std::runtime_error("a process has ended early, with wait status " + std::to_string(waitStatus));
    }
    if (isInterrupted()) throw std::runtime_error("interrupted");
  }
  // Waits for the end of all of them. Returns how many have not ended as they should.
  size_t wait() {
    const size_t failed = waitForAll(pids_, WORKER_LIMIT_MS);
    pids_.clear();
    return failed;
  }

 private:
  std::vector<pid_t> pids_;
};

class Run {
 public:
  explicit Run(const Options &options) : options_(options) {
    result_.nodes = options.nodes;
    result_.payloadBytes = options.payloadBytes;
    result_.window = options.window;
    result_.seconds = options.seconds;
  }

  Result all() {
    const FreshDirectory directory;
    const uint64_t beginNs = orv::monotonicNs();
    Nodes nodes(directory.path(), options_.daemon, options_.nodes);
    nodes.waitUntilUp();
    result_.startS = secondsSince(beginNs);
    measureNodes(nodes);
    result_.endedBadly += nodes.stop();
    return result_;
  }

 private:
  void measureNodes(const Nodes &nodes) {
    const BoardMemory board = makeBoard();
    board->nodeCount = static_cast<uint32_t>(options_.nodes);
    board->payloadBytes = options_.payloadBytes;
    Processes workers;
    startWorkers(*board, nodes, workers);
    const uint64_t beginNs = orv::monotonicNs();
    exchange(*board, board->nodeCount - 1, [&] { workers.check(); });
    result_.connectS = secondsSince(beginNs);

    addRow("between nodes, one pair", *board, Pattern::NODE_TO_NODE, workers, options_.window);
    addRow("between nodes, all " + std::to_string(options_.nodes) + " at once", *board, Pattern::EACH_TO_ALL, workers,
           options_.window);
    addBareRow("bare ZeroMQ PUSH/PULL over loopback", BarePair::ZEROMQ_PUSH_PULL);
    addRow("within a node, one pair", *board, Pattern::WITHIN_NODE, workers, options_.window);
    addBareRow("bare Unix socket pair", BarePair::UNIX_SOCKET_PAIR);
    quit(*board);
    result_.endedBadly += workers.wait();
  }

  void startWorkers(Board &board, const Nodes &nodes, Processes &workers) {
    for (uint32_t worker = 0; worker <= board.nodeCount; ++worker) {
      const std::string directory = nodes.nodeDirectory(worker == board.nodeCount ? 0 : worker);
      workers.add({forkChild([&board, worker, directory] { return runWorker(board, worker, directory); })});
    }
    waitUntilReady(board, board.nodeCount + 1, workers);
  }

  static void waitUntilReady(const Board &board, uint32_t count, Processes &processes) {
    for (uint32_t worker = 0; worker < count; ++worker) {
      while (board.workers.at(worker).isReady.load() == 0) {
        sleepMs(1);
        processes.check();
      }
    }
  }

  void addRow(const std::string &name, Board &board, Pattern pattern, Processes &processes, uint32_t window) {
    constexpr uint32_t ONE_AT_A_TIME = 1;
    if (!options_.json) std::fprintf(stderr, "SyscomBench: %s\n", name.c_str());
    const auto check = [&] { processes.check(); };
    Row row{name, {}, {}};
    row.oneAtATime = measure(board, {pattern, ONE_AT_A_TIME, options_.seconds}, check);
    row.atFullSpeed = measure(board, {pattern, window, options_.seconds}, check);
    result_.rows.push_back(row);
  }

  // On a board of its own: the nodes' programs have nothing to do with it.
  void addBareRow(const std::string &name, BarePair kind) {
    constexpr uint32_t AS_MANY_AS_IT_TAKES = 0;
    const BoardMemory board = makeBoard();
    board->payloadBytes = options_.payloadBytes;
    Processes pair;
    pair.add(startBarePair(*board, kind));
    waitUntilReady(*board, 2, pair);
    addRow(name, *board, Pattern::BARE_PAIR, pair, AS_MANY_AS_IT_TAKES);
    quit(*board);
    result_.endedBadly += pair.wait();
  }

  const Options options_;
  Result result_;
};

int runBench(int argc, char **argv) {
  CLI::App app("Messages between many nodes on this machine, beside the bare transports.", "SyscomBench");
  Options options;
  app.add_option("--nodes", options.nodes, "How many nodes")
      ->check(CLI::Range(size_t{2}, MAX_NODES))
      ->capture_default_str();
  app.add_option("--seconds", options.seconds, "How long each of the ten measurements takes")
      ->check(CLI::Range(0.01, 3600.0))
      ->capture_default_str();
  app.add_option("--payload", options.payloadBytes, "Bytes of payload")
      ->check(CLI::Range(uint32_t{sizeof(Stamp)}, uint32_t{65520}))
      ->capture_default_str();
  app.add_option("--window", options.window, "How many messages of each sender are under way at full speed")
      ->check(CLI::Range(1, 100000))
      ->capture_default_str();
  app.add_option("--daemon", options.daemon, "The daemon's executable")->capture_default_str();
  app.add_flag("--json", options.json, "Print JSON");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? EXIT_GOOD : EXIT_USAGE;
  }
  // Nodes lie in memory where the machine has a file system for that, as on a board.
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 0);
  isInterrupted();
  const Result result = Run(options).all();
  std::fputs((options.json ? jsonOf(result) : textOf(result)).c_str(), stdout);
  return isGood(result) ? EXIT_GOOD : EXIT_BAD;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return runBench(argc, argv);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "SyscomBench: %s\n", error.what());
    return EXIT_FAILED;
  }
}
