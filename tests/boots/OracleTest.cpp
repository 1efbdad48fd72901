// The oracle can fail: traces of good boots, tampered with in one place, break the rule that the place is about.
#include "Oracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <stdexcept>

#include "NodeMaker.h"
#include "Report.h"

namespace boots {
namespace {

using orv::sim::ProgramBehaviour;
using orv::sim::TagType;

ProgramBehaviour program(const std::string &path, const std::string &tag, std::optional<uint64_t> runsForMs,
                         int32_t waitStatus) {
  ProgramBehaviour result;
  result.path = path;
  if (!tag.empty()) result.sets.push_back({tag, {}, 100});
  result.runsForMs = runsForMs;
  result.waitStatus = waitStatus;
  return result;
}

// Two executables, of which one fails; three applications, of which two fail; a board whose reset fails; a receiver.
Node wholeNode() {
  Node node;
  node.scenario.tags["app.hwapi.appcfg.filename"] = {TagType::STRING, 0, "/rom/apps.txt"};
  node.scenario.tags["orv.service.aapro.watchdog_enabled"] = {};
  node.scenario.files["/rom/apps.txt"] = "one;/opt/one;-x;0;3;one.online\ntwo;/opt/two;;;1;\nthree;/opt/three;;;;\n";
  node.scenario.programs = {program("/opt/exe", "exe.online", 5000, 1 << 8), program("/opt/one", "one.online", 300, 9),
                            program("/opt/two", "", 10, 3 << 8)};
  node.scenario.reset = {-5, false};
  node.arguments = {"-c", "a=1",
                    "--startup=nid=0x1011,testerport=7,slavenids=7:10.0.0.2:5,notifreceiver=0xf011315,"
                    "executable=/opt/exe -v#exe.online|/opt/other"};
  return node;
}

// Its executable never comes online.
Node lateNode() {
  Node node;
  node.scenario.rad[0x10070] = 100;
  node.arguments = {"--startup=executable=/opt/exe#exe.online"};
  return node;
}

// Its application never comes online.
Node timedOutNode() {
  Node node;
  node.scenario.files["/rom/AppDef.txt"] = "one;/opt/one;;;;one.online";
  node.arguments = {"-v"};
  return node;
}

Node ungracefulNode() {
  Node node;
  node.scenario.ungracefulCount = 2;
  node.arguments = {"--startup=executable=/opt/exe#exe.online"};
  return node;
}

Node resetTagNode() {
  Node node;
  node.scenario.tags["sys.configuration.reset"] = {};
  node.arguments = {"-v"};
  return node;
}

Node wrongOptionNode() {
  Node node;
  node.arguments = {"-x", "-h"};
  return node;
}

Node noOptionNode() {
  return {};
}

// A boot's trace, to be tampered with. A place is the first line that holds a text.
class Tampering {
 public:
  explicit Tampering(SimulatedBoot &boot) : boot_(boot), lines_(boot.trace) {}

  void drop(const std::string &part) {
    lines_.erase(find(part));
  }
  void dropAll(const std::string &part) {
    find(part);
    std::erase_if(lines_, [&](const std::string &line) { return line.find(part) != std::string::npos; });
  }
  void replace(const std::string &part, const std::string &from, const std::string &to) {
    std::string &line = *find(part);
    const size_t at = line.find(from);
    if (at == std::string::npos) throw std::logic_error("no " + from + " in " + line);
    line.replace(at, from.size(), to);
  }
  void duplicate(const std::string &part) {
    const auto line = find(part);
    lines_.insert(line, std::string(*line));
  }
  void swap(const std::string &first, const std::string &second) {
    std::iter_swap(find(first), find(second));
  }
  void moveInFrontOf(const std::string &part, const std::string &before) {
    const std::string line = *find(part);
    drop(part);
    lines_.insert(find(before), line);
  }
  void append(const std::string &line) {
    lines_.push_back(line);
  }
  orv::sim::Outcome &outcome() {
    return boot_.outcome;
  }

 private:
  std::vector<std::string>::iterator find(const std::string &part) {
    const auto found = std::find_if(lines_.begin(), lines_.end(),
                                    [&](const std::string &line) { return line.find(part) != std::string::npos; });
    if (found == lines_.end()) throw std::logic_error("no line with " + part);
    return found;
  }

  SimulatedBoot &boot_;
  std::vector<std::string> &lines_;
};

using T = Tampering;

struct Case {
  const char *name;
  Rule rule;
  Node (*node)();
  void (*tamper)(T &);
};

const Case CASES[] = {
    {"UnreadableLine", Rule::READABLE, wholeNode, [](T &t) { t.replace("NID set", " main ", " nobody "); }},
    {"BannerMissing", Rule::BANNER, wholeNode, [](T &t) { t.drop("RT-ORV build"); }},
    {"ReadinessNotGiven", Rule::EARLY_STARTUP, wholeNode, [](T &t) { t.drop("ddal_system_notify_ready"); }},
    {"OptionsBeforeEarlyStartup", Rule::EARLY_STARTUP, wholeNode,
     [](T &t) { t.swap("AaStartupEarlyStartup", "AaConfigTagSetU32(\"a\""); }},
    {"UsageNotPrinted", Rule::NO_OPTION, noOptionNode, [](T &t) { t.drop("out: Options:"); }},
    {"UsageLineChanged", Rule::USAGE, wrongOptionNode, [](T &t) { t.replace("--verbose", "Increase", "Decrease"); }},
    {"DiagnosticMissing", Rule::OPTION_DIAGNOSTIC, wrongOptionNode, [](T &t) { t.drop("invalid option"); }},
    {"TagWithOtherValue", Rule::TAG_ASSIGNMENT, wholeNode, [](T &t) { t.replace("(\"a\", 1)", ", 1)", ", 2)"); }},
    {"TagWithOtherWidth", Rule::TAG_ASSIGNMENT, wholeNode, [](T &t) { t.replace("(\"a\", 1)", "U32", "U16"); }},
    {"AcknowledgementsSwapped", Rule::START_OPTION, wholeNode, [](T &t) { t.swap("NID set to", "Tester port"); }},
    {"MasterLineMissing", Rule::START_OPTION, wholeNode, [](T &t) { t.drop("Master NID value"); }},
    {"SlaveTagMissing", Rule::SLAVE_LIST, wholeNode, [](T &t) { t.drop("slave1gwport"); }},
    {"SlavesMiscounted", Rule::SLAVE_LIST, wholeNode, [](T &t) { t.replace("numberofslave", ", 1)", ", 2)"); }},
    {"RecordWithOtherPort", Rule::STARTUP_RECORD, wholeNode,
     [](T &t) { t.replace("start-up record", "testerPort=7", "testerPort=8"); }},
    {"CeNotStarted", Rule::CE_STARTUP, wholeNode, [](T &t) { t.drop("AaStartupCeStartup"); }},
    {"StartupEuWithOtherStack", Rule::STARTUP_EU, wholeNode,
     [](T &t) { t.replace("Joinable(", "4096", "4132"); }},
    {"ShutdownRequestedTwice", Rule::SHUTDOWN_REQUEST, wholeNode, [](T &t) { t.duplicate("main AaStartupCeShutdown()"); }},
    {"ShutdownLineAfterRequest", Rule::SHUTDOWN_REQUEST, wholeNode,
     [](T &t) { t.swap("err: Info/ORV/OrvDaemon, shutdown:", "main AaStartupCeShutdown()"); }},
    {"SuccessLineMissing", Rule::EXIT_STATUS, wholeNode, [](T &t) { t.drop("returned success"); }},
    {"OtherExitStatus", Rule::EXIT_STATUS, wholeNode, [](T &t) { t.outcome().exitStatus = 1; }},
    {"ListingCorrected", Rule::EXE_DEFINITIONS, wholeNode,
     [](T &t) { t.replace("has arguments", "arguments '/opt/exe'", "arguments '-v'"); }},
    {"ExecutablesOutOfOrder", Rule::EXE_START, wholeNode,
     [](T &t) { t.swap("StartAll: Executable '/opt/exe' starting", "StartAll: Executable '/opt/other' starting"); }},
    {"ExecutableWithOtherStack", Rule::EXE_START, wholeNode,
     [](T &t) { t.replace("Start(\"/opt/exe\"", "4132", "4096"); }},
    {"ExecutableWithOtherPriority", Rule::EXE_START, wholeNode,
     [](T &t) { t.replace("Start(\"/opt/exe\"", "31", "10"); }},
    {"BudgetNotAskedFor", Rule::EXE_WAIT, wholeNode, [](T &t) { t.drop("(0x10070)"); }},
    {"LateRaiseMissing", Rule::EXE_LATE_RAISE, lateNode, [](T &t) { t.drop("AaErrorExceptionRaise"); }},
    {"LateRaiseFromOtherLine", Rule::EXE_LATE_RAISE, lateNode, [](T &t) { t.replace("Exception", "1317", "1186"); }},
    {"LateExecutableForgiven", Rule::EXE_FAILED_SKIPS_APPS, lateNode,
     [](T &t) { t.dropAll("application start-up skipped"); }},
    {"CountNotRead", Rule::UNGRACEFUL, wholeNode, [](T &t) { t.drop("UngracefulShutdownCount"); }},
    {"CountIgnored", Rule::UNGRACEFUL, ungracefulNode, [](T &t) { t.dropAll("application start-up disabled"); }},
    {"ResetTagIgnored", Rule::RESET_TAGS, resetTagNode, [](T &t) { t.dropAll("repair/reset tag set"); }},
    {"ResetTagsOutOfOrder", Rule::RESET_TAGS, wholeNode,
     [](T &t) { t.swap("sys.repair.center.reset", "sys.configuration.reset"); }},
    {"BufferKept", Rule::FILE_NAME, wholeNode, [](T &t) { t.drop("AaMemUnRefDbg"); }},
    {"OtherFileOpened", Rule::DEFINITION_FILE, wholeNode,
     [](T &t) { t.replace("AaFileOpen", "/rom/apps.txt", "/rom/AppDef.txt"); }},
    {"CharacterNotRead", Rule::DEFINITION_FILE, wholeNode, [](T &t) { t.drop("= 1, \"x\""); }},
    {"FileClosedLate", Rule::DEFINITION_FILE, wholeNode, [](T &t) { t.swap("AaFileClose", "Start(\"one\""); }},
    {"FileNotClosed", Rule::DEFINITION_FILE, wholeNode, [](T &t) { t.drop("AaFileClose"); }},
    {"ApplicationsOutOfOrder", Rule::APP_START, wholeNode, [](T &t) { t.swap("Start(\"one\"", "Start(\"two\""); }},
    {"ApplicationLeftOut", Rule::APP_START, wholeNode, [](T &t) { t.drop("Start(\"two\""); }},
    {"ApplicationStartedTwice", Rule::APP_START, wholeNode, [](T &t) { t.duplicate("Start(\"two\""); }},
    {"ApplicationBeforeItsTurn", Rule::ONLINE_WAIT, wholeNode,
     [](T &t) { t.moveInFrontOf("Start(\"two\"", "err: Info/ORV/OrvDaemon, readyWait: one.online tag set"); }},
    {"TimeOutForgiven", Rule::APP_TIMED_OUT, timedOutNode, [](T &t) { t.dropAll("timed out waiting"); }},
    {"NoticeNotSent", Rule::APP_NOTICE, wholeNode, [](T &t) { t.drop("id 0xfd28"); }},
    {"NoticeFromOtherSender", Rule::APP_NOTICE, wholeNode,
     [](T &t) { t.replace("id 0xfd28", "0x1011fffe", "0x1011ffff"); }},
    {"NotifiedBeforeNotice", Rule::APP_NOTICE, wholeNode,
     [](T &t) { t.moveInFrontOf("AaSysComEuUserRegister", "AaSysComMsgCreate(0xfd28"); }},
    {"NotificationWithOtherSender", Rule::NOTIFICATION, wholeNode,
     [](T &t) { t.replace("id 0x1b9d", "0xf011000", "0xf011001"); }},
    {"RegistrationKept", Rule::NOTIFICATION, wholeNode, [](T &t) { t.drop("AaSysComUserDeregister"); }},
    {"HandlersBeforeSemaphore", Rule::SHUTDOWN_SUPPORT, wholeNode, [](T &t) { t.swap("sem_init", "sigaction(SIGINT"); }},
    {"HangUpNotIgnored", Rule::SHUTDOWN_SUPPORT, wholeNode, [](T &t) { t.drop("signal(SIGHUP"); }},
    {"CompleteNotReported", Rule::COMPLETE, wholeNode, [](T &t) { t.dropAll("CE start-up complete"); }},
    {"CompleteReportedTwice", Rule::COMPLETE_ONCE, wholeNode,
     [](T &t) { t.duplicate("err: Info/ORV/OrvDaemon, ceInternalStartup: CE start-up complete"); }},
    {"TerminationNotReported", Rule::TERMINATION, wholeNode, [](T &t) { t.dropAll("Daemon termination initiated"); }},
    {"EndWithoutAPost", Rule::TERMINATION, wholeNode,
     [](T &t) {
       t.drop("node SIGTERM");
       t.dropAll(" handler ");
     }},
    {"ConsoleLineMissing", Rule::LOG_TWICE, wholeNode,
     [](T &t) { t.drop("err: Info/ORV/OrvDaemon, appStart: application start-up complete"); }},
    {"SystemLogLineMissing", Rule::LOG_TWICE, wholeNode,
     [](T &t) { t.drop("= 0: \"ORV/OrvDaemon, appStart: application start-up complete"); }},
    {"OtherSeverity", Rule::LOG_TWICE, wholeNode,
     [](T &t) { t.replace("= 0: \"ORV/OrvDaemon, exeRun: executable '/opt/one' exited", "Print(4", "Print(2"); }},
    {"OtherLabel", Rule::LOG_TWICE, wholeNode,
     [](T &t) { t.replace("err: Error/ORV/OrvDaemon, exeRun: executable '/opt/one' exited", "Error", "Info"); }},
    {"SleepLeftOut", Rule::ONLINE_WAIT, wholeNode, [](T &t) { t.drop("AaSysTimeSleep(50, 3)"); }},
    {"SleepOfOtherLength", Rule::ONLINE_WAIT, wholeNode, [](T &t) { t.replace("AaSysTimeSleep(50", "(50", "(51"); }},
    {"OtherBudget", Rule::ONLINE_WAIT, wholeNode, [](T &t) { t.replace("240000 ms for one", "240000", "239900"); }},
    {"OneTestTooMany", Rule::ONLINE_WAIT, lateNode, [](T &t) { t.duplicate("IsSet(\"exe.online\")"); }},
    {"OneSleepTooMany", Rule::ONLINE_WAIT, lateNode, [](T &t) { t.duplicate("AaSysTimeSleep(50, 3)"); }},
    {"ResetTooEarly", Rule::BOARD_RESET, wholeNode, [](T &t) { t.replace("AaSysTimeSleep(30", "(30", "(3"); }},
    {"ResetSwitchNotRead", Rule::BOARD_RESET, wholeNode, [](T &t) { t.drop("(0x10077)"); }},
    {"ResetThoughSwitchedOff", Rule::BOARD_RESET, wholeNode, [](T &t) { t.replace("(0x10077)", "= 0", "= 1"); }},
    {"FailedResetNotLogged", Rule::BOARD_RESET, wholeNode, [](T &t) { t.dropAll("reset failed"); }},
    {"RunWithOtherArguments", Rule::RUN, wholeNode, [](T &t) { t.replace("Exec(\"/opt/one\", ", "-x", "-y"); }},
    {"RunWithOtherFlags", Rule::RUN, wholeNode, [](T &t) { t.replace("Exec(\"/opt/one\", ", "0x3", "0x2"); }},
    {"SignalTakenForExitCode", Rule::RUN_OUTCOME, wholeNode,
     [](T &t) { t.replace("err: Error/ORV/OrvDaemon, exeRun: executable '/opt/one'", "exited due to signal", "failed with status"); }},
    {"FailureTakenForSuccess", Rule::RUN_OUTCOME, wholeNode, [](T &t) { t.replace("Exec(\"/opt/two\") =", "768", "0"); }},
    {"ExecutableRaisedTwice", Rule::EXE_RAISE, wholeNode, [](T &t) { t.duplicate("failure of executable"); }},
    {"ExecutableNotRaised", Rule::EXE_RAISE, wholeNode, [](T &t) { t.drop("failure of executable"); }},
    {"ApplicationNotRaised", Rule::APP_RAISE, wholeNode, [](T &t) { t.drop("failure of application one"); }},
    {"ApplicationRaisedTwice", Rule::APP_RAISE, wholeNode, [](T &t) { t.duplicate("failure of application two"); }},
    {"ApplicationRaisedWithOtherCode", Rule::APP_RAISE, wholeNode,
     [](T &t) { t.replace("failure of application one", "0x12345678", "0x1004b"); }},
    {"ResetNotAskedFor", Rule::APP_RESET, wholeNode, [](T &t) { t.dropAll("requesting system reset"); }},
    {"FourExecutables", Rule::LIMITS, wholeNode,
     [](T &t) {
       t.duplicate("Start(\"/opt/exe\"");
       t.duplicate("Start(\"/opt/exe\"");
     }},
    {"EuBeforeItsCreation", Rule::EU_LIFE, wholeNode,
     [](T &t) { t.moveInFrontOf("AaProEuCurrent() = 2", "Start(\"/opt/exe\""); }},
    {"EuThatNobodyCreated", Rule::EU_LIFE, wholeNode, [](T &t) { t.append("40.000 9:x ends"); }},
    {"EuWithOtherName", Rule::EU_LIFE, wholeNode,
     [](T &t) { t.replace("AaProEuCurrent() = 2", "2:/opt/exe", "2:/opt/ex"); }},
    {"EuActsAfterItsEnd", Rule::EU_LIFE, wholeNode, [](T &t) { t.duplicate("1:ceInternalStartupEu ends"); }},
    {"HandlerLineMissing", Rule::SIGNAL, wholeNode, [](T &t) { t.drop("handler err: Initiated ORV-RT"); }},
    {"SignalPostsTwice", Rule::SIGNAL, wholeNode, [](T &t) { t.duplicate("handler sem_post"); }},
    {"ArmedSignalKills", Rule::SIGNAL, wholeNode,
     [](T &t) { t.replace("node SIGTERM", "SIGTERM", "SIGTERM ends the daemon"); }},
    {"BufferLeft", Rule::NOTHING_LEFT, wholeNode, [](T &t) { t.outcome().buffersHeld = 1; }},
    {"MessageLeft", Rule::NOTHING_LEFT, wholeNode, [](T &t) { t.outcome().messagesUnsent = 1; }},
    {"EuStandsStill", Rule::IDLE, wholeNode, [](T &t) { t.drop("two ends"); }},
    {"CallAfterTheEnd", Rule::END, wholeNode, [](T &t) { t.append("40.000 main AaStartupCeShutdown()"); }},
    {"CallAfterTheExit", Rule::END, wholeNode, [](T &t) { t.moveInFrontOf("3:/opt/other AaProCmdExec", "node end"); }},
    {"OtherEnd", Rule::END, wholeNode, [](T &t) { t.outcome().end = orv::sim::End::RESET; }},
    {"TimeGoesBack", Rule::TIME, wholeNode, [](T &t) { t.replace("application two", "0.", "9."); }},
    {"WokenLate", Rule::TIME, wholeNode, [](T &t) { t.replace("doing hardware reset", "30.", "31."); }},
    {"UnsetTagFound", Rule::TAG_STORE, lateNode, [](T &t) { t.replace("IsSet(\"exe.online\")", "= 0", "= 1"); }},
    {"OtherRadValue", Rule::RAD, lateNode, [](T &t) { t.replace("(0x10070)", "100", "150"); }},
    {"OtherWaitStatus", Rule::PROGRAM, wholeNode, [](T &t) { t.replace("Exec(\"/opt/one\") =", "status 9", "status 6"); }},
};

void PrintTo(const Case &tried, std::ostream *to) {
  *to << tried.name;
}

class OracleObjects : public testing::TestWithParam<Case> {};

TEST_P(OracleObjects, ToATamperedTrace) {
  const Case &tried = GetParam();
  const Node node = tried.node();
  SimulatedBoot booted = boot(node.scenario, node.arguments);
  ASSERT_TRUE(judge(node, booted).empty()) << violationsText(judge(node, booted), booted);
  Tampering tampering(booted);
  tried.tamper(tampering);
  const Violations violations = judge(node, booted);
  EXPECT_TRUE(std::any_of(violations.begin(), violations.end(),
                          [&](const Violation &violation) { return violation.rule == tried.rule; }))
      << "not objected to: " << ruleName(tried.rule) << "\n"
      << violationsText(violations, booted);
}

INSTANTIATE_TEST_SUITE_P(All, OracleObjects, testing::ValuesIn(CASES),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(Oracle, EveryRuleIsBrokenByOneOfTheTamperings) {
  std::set<Rule> broken;
  for (const Case &tried : CASES)
    broken.insert(tried.rule);
  for (size_t i = 0; i < static_cast<size_t>(Rule::COUNT); ++i)
    EXPECT_TRUE(broken.contains(static_cast<Rule>(i))) << ruleName(static_cast<Rule>(i));
}

TEST(Oracle, MissesAnyLineOfTheDaemons) {
  const Node node = wholeNode();
  const SimulatedBoot booted = boot(node.scenario, node.arguments);
  for (size_t i = 0; i < booted.trace.size(); ++i) {
    const std::string &line = booted.trace[i];
    if (line.find(" node ") != std::string::npos) continue;
    SimulatedBoot tampered = booted;
    tampered.trace.erase(tampered.trace.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_FALSE(judge(node, tampered).empty()) << line;
  }
}

TEST(NodeMaker, MakesTheSameNodeFromTheSameSeed) {
  for (uint64_t seed = 1; seed <= 200; ++seed) {
    const Node first = makeNode(seed);
    const Node second = makeNode(seed);
    EXPECT_TRUE(first.scenario == second.scenario && first.arguments == second.arguments) << seed;
  }
  EXPECT_FALSE(makeNode(1).scenario == makeNode(2).scenario);
}

TEST(NodeMaker, BootsAreTheSameFromTheSameSeed) {
  for (uint64_t seed = 1; seed <= 50; ++seed) {
    const Node node = makeNode(seed);
    EXPECT_EQ(boot(node.scenario, node.arguments).trace, boot(node.scenario, node.arguments).trace) << seed;
  }
}

}  // namespace
}  // namespace boots
