#include "Oracle.h"

#include "EndRules.h"
#include "ExpectedMain.h"
#include "ExpectedOptions.h"
#include "ExpectedSentinel.h"
#include "ExpectedStartup.h"
#include "NodeRules.h"
#include "SignalRules.h"
#include "Trace.h"
#include "TraceReader.h"

namespace boots {
namespace {

constexpr const char *STARTUP_EU_NAME = "ceInternalStartupEu";
constexpr uint32_t MOST_EXECUTABLES = 3;
constexpr uint32_t MOST_APPLICATIONS = 64;

class Judge {
 public:
  Judge(const Node &node, const SimulatedBoot &boot, const ReadTrace &trace)
      : node_(node), boot_(boot), trace_(trace), options_(expectOptions(node.arguments)) {}

  Violations all() {
    const bool mainKept = follow([this](EuWalk &walk) { walkMain(walk, options_, main_); }, trace_.main);
    record();
    bool kept = mainKept;
    if (main_.startupEu) {
      kept = follow([this](EuWalk &walk) { walkStartup(walk, options_, node_.scenario, startup_); },
                    own(*main_.startupEu)) &&
             kept;
    }
    for (const Sentinel &sentinel : startup_.sentinels)
      follow([&sentinel](EuWalk &walk) { walkSentinel(walk, sentinel); }, own(sentinel.eu));
    lives(kept);
    counts();
    judgeSignals(node_.scenario, boot_.outcome, trace_, violations_);
    judgeEnd({node_.scenario, boot_.outcome, trace_, main_, startup_}, violations_);
    judgeNode(node_.scenario, options_.rtConfigFile, trace_, violations_);
    return std::move(violations_);
  }

 private:
  // Whether nothing was broken.
  template <typename Walker>
  bool follow(const Walker &walker, const LineNumbers &own) {
    EuWalk walk(trace_, own);
    try {
      walker(walk);
    } catch (const Cut &) {
      // It came no further.
    } catch (const Violation &violation) {
      violations_.push_back(violation);
      return false;
    }
    return true;
  }

  const LineNumbers &own(uint32_t eu) const {
    static const LineNumbers NONE;
    return eu < trace_.eus.size() ? trace_.eus[eu] : NONE;
  }

  void violated(Rule rule, size_t line, const std::string &words) {
    violations_.push_back({rule, line, words});
  }

  // The record as the platform found it stands right behind the CE's start-up.
  void record() {
    if (!main_.ceStarted) return;
    const size_t index = *main_.ceStarted + 1;
    const std::string due = startupRecordLine(options_);
    if (index >= trace_.lines.size() || trace_.lines[index].text != due)
      violated(Rule::STARTUP_RECORD, std::min(index, trace_.lines.size() - 1), "due: " + due);
  }

  // Every EU was created, is called as it was, and does nothing before. Who was to be created is only known as far as
  // the creators kept the rules.
  void lives(bool creatorsKept) {
    std::vector<bool> known(trace_.eus.size());
    if (main_.startupEu) life(*main_.startupEu, STARTUP_EU_NAME, *main_.euCreatedAt, known);
    for (const Sentinel &sentinel : startup_.sentinels)
      life(sentinel.eu, sentinel.name, sentinel.createdAt, known);
    for (size_t eu = 1; creatorsKept && eu < known.size(); ++eu) {
      if (!known[eu] && !trace_.eus[eu].empty()) violated(Rule::EU_LIFE, trace_.eus[eu].front(), "nobody created it");
    }
  }

  void life(uint32_t eu, const std::string &name, uint32_t createdAt, std::vector<bool> &known) {
    if (eu >= known.size()) return;
    if (known[eu]) violated(Rule::EU_LIFE, createdAt, "there is an EU of this number");
    known[eu] = true;
    std::string written = orv::sim::quoted(name);
    const bool plain = !name.empty() && written.size() == name.size() + 2 && name.find(' ') == std::string::npos;
    if (plain) written = name;
    for (const uint32_t line : trace_.eus[eu]) {
      if (line < createdAt) return violated(Rule::EU_LIFE, line, "it was not created yet");
      if (trace_.lines[line].name != written) return violated(Rule::EU_LIFE, line, "its name is " + written);
    }
  }

  void counts() {
    uint32_t complete = 0;
    uint32_t executables = 0;
    uint32_t applications = 0;
    for (size_t i = 0; i < trace_.lines.size(); ++i) {
      std::string_view text = trace_.lines[i].text;
      if (text == "err: Info/ORV/OrvDaemon, ceInternalStartup: CE start-up complete" && ++complete == 2)
        violated(Rule::COMPLETE_ONCE, i, "the second time");
      if (!takeOff(text, "AaProEuCreateAndStart(")) continue;
      const bool executable = text.find(", context + 600 bytes)") != std::string_view::npos;
      if (executable && ++executables > MOST_EXECUTABLES) violated(Rule::LIMITS, i, "one too many");
      if (!executable && ++applications > MOST_APPLICATIONS) violated(Rule::LIMITS, i, "one too many");
    }
  }

  const Node &node_;
  const SimulatedBoot &boot_;
  const ReadTrace &trace_;
  const ExpectedOptions options_;
  MainResult main_;
  StartupResult startup_;
  Violations violations_;
};

}  // namespace

Violations judge(const Node &node, const SimulatedBoot &boot) {
  const ReadTrace trace = readTrace(boot.trace);
  if (trace.unreadable) return {{Rule::READABLE, trace.unreadable, "a line of another form"}};
  return Judge(node, boot, trace).all();
}

}  // namespace boots
