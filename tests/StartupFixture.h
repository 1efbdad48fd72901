// What the tests of start-ups share: the events of a run as the daemon's platform records them, made by hand.
#ifndef ORV_TESTS_STARTUPFIXTURE_H
#define ORV_TESTS_STARTUPFIXTURE_H

#include <cstdint>
#include <string>

#include "StartupModel.h"

namespace startuptest {

using orv::EventKind;

constexpr uint64_t MS = 1'000'000;
constexpr uint64_t S = 1000 * MS;
constexpr uint64_t START_NS = 1000 * S;
constexpr uint32_t DAEMON = 400;
constexpr uint32_t STARTUP_EU = 1;

// A node's store, filled run by run. Times are milliseconds since the run began.
class Recorded {
 public:
  orv::StartupSource source;

  // Begins a run: the one before it is over.
  Recorded &begin(uint64_t startNs = START_NS) {
    startNs_ = startNs;
    orv::RunInfo run;
    run.number = source.run ? source.run->number + 1 : 1;
    run.state = orv::RunState::UP;
    run.daemonPid = DAEMON;
    run.startedNs = startNs;
    run.startedRealtimeNs = 1'700'000'000 * S;
    run.nid = 0x1011;
    run.ceName = "CE-1";
    source.run = run;
    source.eus.clear();
    source.daemonIsAlive = true;
    event(0, EventKind::RUN_STARTED, 0, "pid 400");
    event(1, EventKind::CE_STARTED, 0, "node id 4113");
    return created(1, STARTUP_EU, "ceInternalStartupEu");
  }
  Recorded &event(uint64_t atMs, EventKind kind, uint32_t euId, const std::string &text, uint32_t code = 0,
                  uint32_t pid = DAEMON) {
    orv::Event one;
    one.sequence = source.events.size() + 1;
    one.monotonicNs = startNs_ + atMs * MS;
    one.pid = pid;
    one.euId = euId;
    one.kind = kind;
    one.code = code;
    one.text = text;
    source.events.push_back(one);
    source.nowNs = one.monotonicNs;
    return *this;
  }
  Recorded &line(uint64_t atMs, uint32_t euId, const std::string &text) {
    return event(atMs, EventKind::LOG, euId, "ORV/OrvDaemon, " + text, 2);
  }
  Recorded &created(uint64_t atMs, uint32_t euId, const std::string &name) {
    return event(atMs, EventKind::EU_CREATED, euId, name);
  }
  Recorded &started(uint64_t atMs, uint32_t euId, const std::string &path) {
    return event(atMs, EventKind::PROGRAM_STARTED, euId, "pid " + std::to_string(4000 + euId) + ": " + path);
  }
  Recorded &ended(uint64_t atMs, uint32_t euId, int waitStatus, bool returns = true) {
    event(atMs, EventKind::PROGRAM_ENDED, euId,
          "pid " + std::to_string(4000 + euId) + ": wait status " + std::to_string(waitStatus));
    return returns ? event(atMs, EventKind::EU_FINISHED, euId, "") : *this;
  }
  Recorded &tagSet(uint64_t atMs, const std::string &tag, uint32_t euId = 0) {
    return event(atMs, EventKind::TAG_SET, euId, tag + " = 1 (u32)", 0, 5000);
  }
  // The daemon asks for a tag; `waits` unless it is there at once.
  Recorded &asks(uint64_t atMs, const std::string &tag, uint64_t budgetMs = 240000) {
    return line(atMs, STARTUP_EU, "readyWait: waiting " + std::to_string(budgetMs) + " ms for " + tag + " to be set");
  }
  Recorded &waits(uint64_t atMs, uint32_t euId, const std::string &name, const std::string &tag) {
    return event(atMs, EventKind::WAIT_BEGAN, euId, name + " (tag " + tag + ")");
  }
  Recorded &waited(uint64_t atMs, uint32_t euId, const std::string &name, const std::string &tag,
                   orv::WaitOutcome outcome = orv::WaitOutcome::ONLINE) {
    return event(atMs, EventKind::WAIT_ENDED, euId, name + " (tag " + tag + ")", static_cast<uint32_t>(outcome));
  }
  Recorded &complete(uint64_t atMs) {
    return event(atMs, EventKind::STARTUP_COMPLETE, STARTUP_EU, "");
  }
  // An application that is waited for from `atMs` until `onlineMs`.
  Recorded &application(uint64_t atMs, uint32_t euId, const std::string &name, uint64_t onlineMs) {
    const std::string tag = name + ".online";
    return created(atMs, euId, name)
        .asks(atMs, tag)
        .waits(atMs, euId, name, tag)
        .started(atMs + 5, euId, "/bin/" + name)
        .tagSet(onlineMs - 20, tag, euId)
        .waited(onlineMs, euId, name, tag);
  }
  orv::StartupModel model() const {
    return orv::startupOf(source, std::nullopt).value_or(orv::StartupModel{});
  }

 private:
  uint64_t startNs_ = START_NS;
};

// A start-up in which everything that can happen does.
inline Recorded eventfulRun() {
  Recorded node;
  node.begin().application(10, 2, "database", 500);
  node.created(500, 3, "recorder").started(505, 3, "/bin/recorder");
  node.created(500, 4, "self-test").started(505, 4, "/bin/self-test").ended(800, 4, 0);
  node.created(500, 5, "pump").started(505, 5, "/bin/pump").ended(700, 5, 3 << 8);
  node.event(701, EventKind::ERROR_RAISED, 5, "kind 0, code 0x12345678: failure of application pump", 0x12345678);
  node.created(500, 6, "ghost").event(502, EventKind::LAUNCH_FAILED, 6, "cannot run it: No such file or directory");
  node.created(500, 7, "radio").asks(500, "radio.on").waits(500, 7, "radio", "radio.on").started(505, 7, "/bin/radio");
  node.waited(1500, 7, "radio", "radio.on", orv::WaitOutcome::TIMED_OUT);
  node.line(1501, STARTUP_EU, "boardReset: adding 30 s delay before reset");
  node.event(1900, EventKind::RESET_HELD, STARTUP_EU, "would have reset the board by watchdog");
  node.application(1900, 8, "web", 1990);
  return node.complete(2000);
}

}  // namespace startuptest

#endif
