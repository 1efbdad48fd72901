// One simulated node: its tags, files, programs and messages, its signals and its end. The platform's functions are
// thin over this; each begins with `operation`, in which the daemon may lose its turn, and writes its line to the
// trace.
//
// There is one simulation in a process. A test runs boots in it one after the other with `run`; the libraries that a
// daemon's executable loads begin it once and end the process with it.
#ifndef ORV_SIMULATED_SIMULATION_H
#define ORV_SIMULATED_SIMULATION_H

#include <csignal>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Calls.h"
#include "Console.h"
#include "Programs.h"
#include "Scenario.h"
#include "Scheduler.h"
#include "Trace.h"

namespace orv::sim {

enum class End {
  EXIT,     // the daemon's process ended by itself
  RESET,    // the board was reset
  SIGNAL,   // a signal ended the daemon
  STUCK,    // nothing could happen any more, and no signal was to end it
  TIME_UP,  // the scenario's last moment came
  LOOP      // the daemon made more operations than the scenario allows
};

struct Outcome {
  End end = End::EXIT;
  int exitStatus = 0;    // of EXIT
  int signalNumber = 0;  // of SIGNAL
  uint64_t atMs = 0;
  uint64_t operations = 0;
  // What the daemon had been given by the platform and not given back.
  uint32_t buffersHeld = 0;
  uint32_t filesOpen = 0;
  uint32_t messagesUnsent = 0;
  uint32_t usersRegistered = 0;
  // Expected messages that were not sent, in words.
  std::vector<std::string> missingMessages;
};

struct OpenFile {
  uint32_t number = 0;
  const std::string *content = nullptr;
  size_t position = 0;
};

struct SentMessage {
  uint32_t id = 0;
  uint32_t receiver = 0;
  uint32_t sender = 0;
};

// "SIGTERM", or "signal 40" where it has no name; and a tag's value: both for the trace.
std::string signalName(int number);
std::string tagText(const TagValue &value);

class Simulation {
 public:
  static Simulation &instance();

  // Runs `daemon` as the process's first thread from beginning to end and comes back with what became of it. Everything
  // of the boot before is forgotten, the daemon's own variables excepted, which are the caller's to reset.
  Outcome run(const Scenario &scenario, const std::function<int()> &daemon);

  // Begins a boot whose end ends the process. `onEnd` is called before that, and when the process exits by itself.
  void beginProcess(const Scenario &scenario, bool passConsoleOn, std::function<void(const Outcome &)> onEnd);

  // A boot is under way; else the platform's functions have no node. Needs no instance: the C library's functions that
  // are defined here may be called before anything of the process is set up.
  static bool running() {
    return running_;
  }

  const Scenario &scenario() const {
    return *scenario_;
  }
  Trace &trace() {
    return trace_;
  }
  Scheduler &scheduler() {
    return scheduler_;
  }
  CallAnswers &answers() {
    return answers_;
  }
  Programs &programs() {
    return programs_;
  }

  // The beginning of each operation. Throws BootEnded.
  void operation();

  // A line of the trace: of who runs now, and of the node.
  void record(const std::string &text);
  void recordNode(const std::string &text);
  Trace::Actor actor() const;

  void setTag(const std::string &name, const TagValue &value);
  const TagValue *tag(const char *name) const;

  // The actions of the daemon's signals, as sigaction sees them.
  struct sigaction &signalAction(int number) {
    return signalActions_[static_cast<size_t>(number)];
  }

  // What a semaphore is called in the trace, by its address.
  struct Semaphore {
    uint32_t number = 0;
    uint32_t value = 0;
    std::vector<Unit *> waiters;
  };
  Semaphore &semaphore(const void *address);

  // Waits until all joinable EUs have ended. Throws BootEnded.
  void joinAll();

  // The board goes down. Throws BootEnded.
  [[noreturn]] void resetBoard();

  // The start-up context word as the daemon hands it on, in words for the trace.
  std::string contextText(uint32_t word);

  std::list<OpenFile> files;
  uint32_t filesOpened = 0;
  std::set<uint32_t> users;  // CPIDs
  uint32_t usersMade = 0;
  std::map<const void *, uint32_t> messages;  // by address: number
  uint32_t messagesCreated = 0;
  std::vector<SentMessage> sentMessages;
  std::map<const void *, uint32_t> buffers;  // by address: number
  uint32_t buffersMade = 0;

 private:
  void begin(const Scenario &scenario, bool passConsoleOn);
  void end(End end, int number);
  static void watchExit();
  void endProcess(int exitStatus);  // the process exits by itself
  Outcome finish();
  void consoleLine(Console::Stream stream, const std::string &line);
  void deliver(int number);
  void deliverPending();
  void endWhenIdle();
  void unitFinished(const Unit &unit);
  static std::vector<std::string> missing(const std::vector<ExpectedMessage> &expected,
                                          const std::vector<SentMessage> &sent);

  const Scenario *scenario_ = nullptr;
  static constinit bool running_;
  bool process_ = false;
  std::function<void(const Outcome &)> onEnd_;
  Trace trace_;
  Scheduler scheduler_;
  CallAnswers answers_;
  Programs programs_{*this};
  Console console_;
  Outcome outcome_;
  std::map<std::string, TagValue, std::less<>> tags_;
  std::vector<struct sigaction> signalActions_;
  std::vector<uint32_t> linesSeen_;  // by signal of the scenario: console lines that fit
  std::vector<int> pendingSignals_;
  bool handling_ = false;
  bool endSignalSent_ = false;
  std::map<const void *, Semaphore> semaphores_;
  std::optional<uint32_t> context_;
  Unit *joiner_ = nullptr;
};

}  // namespace orv::sim

#endif
