// A scenario: all that a simulated node's start-up depends on beside the daemon itself and its command line. Plain
// data; what it does not say has the default given here. ScenarioFile reads one from a TOML file, tests write one in
// place.
//
// Times are virtual milliseconds. Those named `at...` count from the start of the daemon's process.
#ifndef ORV_SIMULATED_SCENARIO_H
#define ORV_SIMULATED_SCENARIO_H

#include <csignal>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orv::sim {

enum class TagType { STRING, U16, U32 };

struct TagValue {
  TagType type = TagType::U32;
  uint32_t number = 1;
  std::string text;
  bool operator==(const TagValue &) const = default;
};

// A tag that becomes set in the course of things.
struct TimedTag {
  std::string name;
  TagValue value;
  uint64_t afterMs = 0;  // of a program's: after its start; of the scenario's own: at this time
  bool operator==(const TimedTag &) const = default;
};

// How a program behaves, each time it is started.
struct ProgramBehaviour {
  std::string path;                 // as the daemon is told to start it, compared whole
  std::optional<std::string> args;  // only a start with exactly these arguments; without: any
  uint32_t start = 0;               // only the n-th start of the path, from 1; 0: every one

  int32_t launchFailure = 0;  // not 0: it cannot be started, with this result
  // How long it runs. Without: until the node's shutdown.
  std::optional<uint64_t> runsForMs;
  int32_t waitStatus =
      0;  // how it ends, in the POSIX wait-status layout: exit code << 8, signal, or signal << 8 | 0x7f
  // The result of its command. Without: 0 when it ended with exit code 0, else 5.
  std::optional<int32_t> result;
  bool waitStatusWritten = true;    // false: the command leaves the caller's status word as it is
  uint64_t endsAfterSigtermMs = 0;  // at the shutdown; beyond the grace time it is killed
  std::vector<TimedTag> sets;       // tags that it sets, as long as it runs
  bool operator==(const ProgramBehaviour &) const = default;
};

// What a call of the platform answers instead of what it would, or what is fed to it.
struct CallResult {
  std::string call;         // the function's name: "AaProEuCreateAndStart"; also sem_init, sem_wait, sem_post
  uint32_t occurrence = 0;  // only the n-th call that matches `argument`, from 1; 0: every one
  std::optional<std::string> argument;  // only calls with this name, path or number ("0x10063": lower-case hexadecimal)
  int64_t result = 0;                   // what it returns; 0 for null; for sem_*: the errno, 0 as without
  bool operator==(const CallResult &) const = default;
};

struct SignalEvent {
  int number = SIGTERM;
  std::optional<uint64_t> atMs;  // at this time; without: behind `afterLine`
  std::string afterLine;         // behind the first console line that holds this text
  uint32_t occurrence = 1;       // behind the n-th such line
  bool operator==(const SignalEvent &) const = default;
};

struct ExpectedMessage {
  uint32_t id = 0;
  std::optional<uint32_t> receiver;
  std::optional<uint32_t> sender;
  bool operator==(const ExpectedMessage &) const = default;
};

// What the board does when it is asked to reset.
struct ResetBehaviour {
  int32_t result = 0;       // of the request
  bool takesEffect = true;  // with result 0: the board goes down at once and nothing more happens
  bool operator==(const ResetBehaviour &) const = default;
};

struct Scenario {
  std::string name;   // for people
  uint64_t seed = 0;  // 0: EUs take turns in the order in which they become ready; else: at random, from this seed

  std::map<std::string, TagValue> tags;      // set when the daemon starts
  std::vector<TimedTag> timedTags;           // set from outside
  std::map<uint32_t, uint32_t> rad;          // RAD parameters by number
  std::map<std::string, std::string> files;  // what AaFileOpen finds, by name; any other file is absent
  // Configuration files by name, as the tags that reading one sets; any other is absent.
  std::map<std::string, std::map<std::string, TagValue>> configFiles;
  uint32_t ungracefulCount = 0;
  uint32_t graceTimeMs = 10000;

  std::vector<ProgramBehaviour> programs;  // the first that fits counts; a program without runs on and sets nothing
  std::vector<CallResult> calls;           // the first that fits counts
  ResetBehaviour reset;
  std::vector<SignalEvent> signals;
  std::vector<ExpectedMessage> expectedMessages;

  // When nothing can happen any more: the signal that the node's operator sends; 0: none, the node is left as it is.
  int endSignal = SIGTERM;
  uint64_t endAtMs = 0;              // the simulation stops at this time; 0: no limit
  uint64_t maxOperations = 2000000;  // calls of the platform, after which the daemon counts as caught in a loop
  bool operator==(const Scenario &) const = default;
};

}  // namespace orv::sim

#endif
