// Puts a time line together, line by line of the trace.
//
// What the daemon does is read from its calls of the platform and from what it logs. Where both tell of the same thing,
// the call counts, and the tables in the source name the log lines that it makes superfluous; a Warning or an Error
// that is not among them becomes an event of its own, so that none is lost.
#ifndef ORV_TOOLS_TIMELINEBUILDER_H
#define ORV_TOOLS_TIMELINEBUILDER_H

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Timeline.h"
#include "TraceLines.h"

namespace orv::rehearsal {

class TimelineBuilder {
 public:
  void add(const TraceLine &line);

  // The line that tells how the boot ended has come.
  bool ended() const {
    return ended_;
  }

  // What was added, without the verdict. Once.
  Timeline finish();

 private:
  // One row of each table in the source: what a line begins with, and what is done about it.
  struct CallRow;
  struct LogRow;
  struct NodeRow;
  struct ConsoleRow;
  struct EndRow;
  static const CallRow CALL_ROWS[];
  static const LogRow LOG_ROWS[];
  static const NodeRow NODE_ROWS[];
  static const ConsoleRow CONSOLE_ROWS[];
  static const EndRow END_ROWS[];

  struct Program {
    std::string name;
    std::string path;
    uint64_t startedMs = 0;
    size_t startEvent = 0;  // index of the event of its start
    std::string problem;    // how it failed
  };
  struct Wait {
    std::string who;
    std::string tag;
    uint64_t sinceMs = 0;
  };
  struct Executable {
    std::string path;
    std::string tag;
  };

  Event &push(EventKind kind, Mark mark, const std::string &who, const std::string &text);
  // Who does what the line tells of: a program's EU by its name, else the daemon.
  std::string actorName() const;
  std::string euName(uint32_t eu) const;

  void addCall(const TraceCall &call);
  void addLog(int64_t severity, std::string_view message);
  void addConsole(std::string_view text);
  void addNode(std::string_view text);

  void euCreated(const TraceCall &call);
  void startupEuCreated(const TraceCall &call);
  void commandRun(const TraceCall &call);
  void programStarted(const TraceCall &call);
  void programEnded(Program &program, int32_t result, int32_t waitStatus);
  void programNotStarted(Program &program, int32_t result);
  void ceStarted(const TraceCall &call);
  void noticeSent(const TraceCall &call);
  void configurationRead(const TraceCall &call);
  void tagSetByDaemon(const TraceCall &call);
  void radRead(const TraceCall &call);
  void fileOpened(const TraceCall &call);
  void errorRaised(const TraceCall &call);
  void resetCalled(const TraceCall &call);
  void messageCreated(const TraceCall &call);
  void messageSent(const TraceCall &call);
  void logged(const TraceCall &call);

  void nothingMore(std::string_view rest);
  void applicationsBegin(std::string_view rest);
  void applicationsSkipped(std::string_view rest);
  void complete(std::string_view rest);
  void waited(std::string_view rest);
  void executableDefined(std::string_view rest);
  void definitionsMissing(std::string_view rest);
  void resetDisabled(std::string_view rest);
  void resetAnnounced(std::string_view rest);
  void resetFailed(std::string_view rest);
  void executablesNotWaitedFor(std::string_view rest);

  void startupRecord(std::string_view rest);
  void programEvent(std::string_view rest);
  void tagFromOutside(std::string_view rest);
  void operatorEnds(std::string_view rest);
  void signalCame(std::string_view rest);
  void messageMissing(std::string_view rest);
  void bootEnded(std::string_view rest);

  void beginWait(const std::string &tag);
  void endWait(const std::string &tag, bool inTime);
  void settleTags();

  Timeline timeline_;
  TraceLine line_;
  // Of the log line that is being looked at.
  int64_t severity_ = 0;
  std::string_view message_;
  bool ended_ = false;
  bool ceStarted_ = false;
  bool applicationsBegun_ = false;
  bool resetForbidden_ = false;
  bool operatorEnds_ = false;
  std::map<uint32_t, Program> programs_;  // by EU
  std::string lastProgram_;               // the name of the EU that was created last, or was to be
  std::deque<Executable> executables_;    // that are still to be waited for
  std::optional<Wait> wait_;
  std::string lastTimeOut_;  // the problem of the last time-out
  std::string lastFile_;
};

}  // namespace orv::rehearsal

#endif
