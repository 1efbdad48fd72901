// What a chart shows of a start-up, whatever it is drawn with: how far it reaches, in what phases each program was,
// what became of it, and all that in words.
#ifndef ORV_TOOLS_STARTUPVIEW_H
#define ORV_TOOLS_STARTUPVIEW_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "StartupModel.h"

namespace orv {

// The end of the chart: a little after the start-up, so that one sees what runs on.
uint64_t chartLengthNs(const StartupModel &model);

enum class Phase : uint8_t {
  CREATED,   // the EU is there, the program not yet
  STARTING,  // the program runs and is not online
  RUNNING,   // it runs, and nobody knows whether it is online
  ONLINE,
};

struct PhaseSpan {
  Phase phase = Phase::CREATED;
  uint64_t beganNs = 0;
  uint64_t endedNs = 0;
};

// The phases of a program up to `lengthNs`, by time and without gaps; none of length 0.
std::vector<PhaseSpan> phasesOf(const StartupProgram &program, uint64_t lengthNs);

enum class Outcome : uint8_t {
  ONLINE,
  RUNNING,
  WAITED_FOR,  // the start-up still waits for it, or did so when the daemon ended
  DONE,        // it ended with exit code 0
  SHUT_DOWN,
  FAILED,     // it ended otherwise, or could not be started
  TIMED_OUT,  // it was not online in time
};

struct OutcomeText {
  Outcome outcome = Outcome::RUNNING;
  std::string text;  // "online", "exited with 3", "not online in time"
};

// What had become of a program by `lengthNs`.
OutcomeText outcomeOf(const StartupModel &model, const StartupProgram &program, uint64_t lengthNs);

// "node 0x1011 (CE-1), run 5", as far as it is known.
std::string startupName(const StartupModel &model);

// "complete after 4.21 s", "going on for 2 s, waiting for radio".
std::string startupStateText(const StartupModel &model);

// All that is known of a program, line by line, for who points at it.
std::string programDetails(const StartupModel &model, const StartupProgram &program);

// "raised error ...", "board reset ...".
std::string markText(const StartupMark &mark);

// `text`, which is UTF-8, cut to `limit` characters, the last being an ellipsis then.
std::string shortened(const std::string &text, size_t limit);

// The daemon's own time: what is left of the start-up where nothing was waited for.
uint64_t daemonsOwnNs(const StartupModel &model);

// "50 %", of the whole start-up.
std::string shareText(uint64_t partNs, uint64_t wholeNs);

}  // namespace orv

#endif
