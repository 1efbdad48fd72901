// Makes the model of one start-up out of the events of one run; StartupModel.cpp finds the run.
#ifndef ORV_TOOLS_STARTUPBUILDER_H
#define ORV_TOOLS_STARTUPBUILDER_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "StartupModel.h"
#include "StartupTexts.h"

namespace orv {

class StartupBuilder {
 public:
  // Events of EUs count where they come from one of the processes `daemonPids`: a program may have EUs of its own, with
  // numbers of its own. None: all events count.
  StartupBuilder(uint64_t beganNs, std::set<uint32_t> daemonPids)
      : beganNs_(beganNs), daemonPids_(std::move(daemonPids)) {}

  // By time.
  void add(const Event &event);
  // What the store keeps of the EUs of the latest run, after the events.
  void addRecords(const std::vector<EuRecord> &eus);
  // Completes `model`, of which the head is there; `lengthNs` where the events tell it.
  void finish(StartupModel &model);

 private:
  struct Entry {
    StartupProgram program;
    bool finished = false;  // the EU
  };
  // A wait for a program, and what came of it in the start-up's own EU.
  struct Step {
    uint32_t euId = 0;
    uint64_t beganNs = 0;
    std::optional<uint64_t> endedNs;
  };
  struct Mark {
    uint32_t euId = 0;
    StartupMark mark;
  };

  uint64_t since(uint64_t monotonicNs) const {
    return monotonicNs > beganNs_ ? monotonicNs - beganNs_ : 0;
  }
  StartupProgram &program(uint32_t euId);
  void addOfDaemon(const Event &event);
  void addOfEu(const Event &event);
  void addLine(const Event &event, std::string_view line);
  void addMark(const Event &event, MarkKind kind);
  void beginWait(const Event &event);
  void endWait(const Event &event);
  void noteZeroWait(const std::string &tag, uint64_t atNs);
  uint32_t ownerOfTag(const std::string &tag) const;
  uint32_t ownerOf(const Event &event) const;
  bool isDaemons(const Event &event) const {
    return daemonPids_.empty() || daemonPids_.contains(event.pid);
  }
  bool isStartupEu(uint32_t euId) const;
  void prolongTimeOut(const Event &event);
  void takeEnds();
  void takeReadyTimes();
  void takePrograms(StartupModel &model);
  void takeSteps(StartupModel &model) const;

  uint64_t beganNs_;
  std::set<uint32_t> daemonPids_;
  std::map<uint32_t, Entry> entries_;
  std::vector<uint32_t> created_;  // the ids, in their order
  std::vector<Step> steps_;
  std::vector<Mark> marks_;
  std::vector<std::pair<uint64_t, std::string>> tagsSet_;  // when, and the event's text
  std::map<uint32_t, uint64_t> saidReadyNs_;
  std::vector<ExecutableTag> executableTags_;
  std::optional<AskedTag> asked_;
  std::optional<uint64_t> completeNs_;
  std::optional<uint64_t> stoppedNs_;
  std::optional<uint16_t> nid_;
  uint64_t lastOfDaemonNs_ = 0;
  std::map<uint32_t, size_t> indices_;
};

}  // namespace orv

#endif
