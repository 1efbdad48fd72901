// The application phase: the tags that forbid it, which definition file it reads, and the notice at its end.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Applications.h"
#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;

// The line of the release's statement is the source's affair; here it is called LINE, where it is a line at all.
void nameReleaseLines(TraceLines &trace) {
  const std::string call = "\"ORV_Daemon/src/OrvDaemon\", ";
  for (std::string &line : trace) {
    const size_t at = line.find(call);
    if (line.find("AaMemUnRefDbg(") == std::string::npos || at == std::string::npos) continue;
    char *end = nullptr;
    const unsigned long number = std::strtoul(line.c_str() + at + call.size(), &end, 10);
    if (number != 0 && std::string(end) == ")") line = line.substr(0, at + call.size()) + "LINE)";
  }
}

SimulatedBoot startUp(const Scenario &scenario) {
  SimulatedBoot result = simulate(scenario, [] { appStart(CONTEXT); });
  nameReleaseLines(result.trace);
  EXPECT_EQ(result.outcome.buffersHeld, 0u);
  EXPECT_EQ(result.outcome.filesOpen, 0u);
  EXPECT_EQ(result.outcome.messagesUnsent, 0u);
  return result;
}

constexpr const char *BEGIN = R"(
    0.000 main AaConfigTagIsSet("sys.repair.center.reset") = 0
    0.000 main AaConfigTagIsSet("sys.configuration.reset") = 0
    0.000 main Info: appStart: application start-up
    )";
constexpr const char *NO_FILE_NAME = R"(0.000 main AaConfigTagGetString("app.hwapi.appcfg.filename") = 2
    )";
constexpr const char *NO_FILE = R"(
    0.000 main AaConfigRadGetValue(0x10063) = 0
    0.000 main Error: parseAppExeDefFile: application definition file inaccessible
    )";
constexpr const char *COMPLETE = R"(
    0.000 main Info: appStart: application start-up complete
    )";
constexpr const char *NOTICE = R"(
    0.000 main AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = message 1
    0.000 main AaSysComGetOwnNid() = 0x0
    0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0xfffe, payload 4 bytes) = 0
    0.000 node end: exit status 0)";

}  // namespace

TEST(ApplicationStartConformance, EitherResetTagDisablesTheWholePhase) {
  constexpr const char *DISABLED = R"(
      0.000 main Info: appStart: repair/reset tag set, application start-up disabled
      0.000 node end: exit status 0)";
  const struct {
    const char *name;
    std::map<std::string, TagValue> tags;
    const char *tests;
  } cases[] = {
      {"repair", {{"sys.repair.center.reset", {}}}, "0.000 main AaConfigTagIsSet(\"sys.repair.center.reset\") = 1"},
      {"both",
       {{"sys.repair.center.reset", {}}, {"sys.configuration.reset", {}}},
       "0.000 main AaConfigTagIsSet(\"sys.repair.center.reset\") = 1"},
      {"configuration", {{"sys.configuration.reset", {}}}, R"(
          0.000 main AaConfigTagIsSet("sys.repair.center.reset") = 0
          0.000 main AaConfigTagIsSet("sys.configuration.reset") = 1)"},
      {"configuration, of value 0", {{"sys.configuration.reset", {TagType::U32, 0, ""}}}, R"(
          0.000 main AaConfigTagIsSet("sys.repair.center.reset") = 0
          0.000 main AaConfigTagIsSet("sys.configuration.reset") = 1)"},
      {"repair, an empty text",
       {{"sys.repair.center.reset", {TagType::STRING, 0, ""}}},
       "0.000 main AaConfigTagIsSet(\"sys.repair.center.reset\") = 1"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Scenario scenario;
    scenario.tags = row.tags;
    scenario.files["/rom/AppDef.txt"] = "a;/a;;;;\n";
    EXPECT_TRUE(isTrace(startUp(scenario).trace, std::string(row.tests) + DISABLED));
  }
}

TEST(ApplicationStartConformance, AnyAnswerButZeroMeansThatAResetTagIsSet) {
  for (const char *tag : {"sys.repair.center.reset", "sys.configuration.reset"}) {
    for (const int32_t answer : {2, -1}) {
      SCOPED_TRACE(std::string(tag) + " " + std::to_string(answer));
      Scenario scenario;
      scenario.calls.push_back({"AaConfigTagIsSet", 0, tag, answer});
      const TraceLines trace = startUp(scenario).trace;
      EXPECT_EQ(linesWith(trace, "application start-up disabled\"").size(), 1u);
      EXPECT_TRUE(linesWith(trace, "AaFileOpen").empty());
      EXPECT_TRUE(linesWith(trace, "AaSysComMsgCreate").empty());
    }
  }
}

TEST(ApplicationStartConformance, ApplicationsAreStartedBetweenTheFileAndTheNotice) {
  Scenario scenario;
  scenario.files["/rom/AppDef.txt"] = "a;/a;-x;1;3;\nb;/b;;;;b.up\n";
  scenario.tags["b.up"] = {};
  EXPECT_TRUE(isTrace(startUp(scenario).trace, std::string(BEGIN) + NO_FILE_NAME + R"(
      0.000 main AaFileOpen("/rom/AppDef.txt", "r") = file 1
      0.000 main reads file 1: "a;/a;-x;1;3;\nb;/b;;;;b.up\n"
      0.000 main AaFileClose(file 1) = 0
      0.000 main AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 0, EU 1
      0.000 main AaProEuCreateAndStart("b", 4132, 31, context + 808 bytes) = 0, EU 2
      0.000 main Info: readyWait: waiting 240000 ms for b.up to be set
      0.000 main AaConfigTagIsSet("b.up") = 1
      0.000 main Info: readyWait: b.up tag set in time)" +
                                                   COMPLETE + NOTICE));
}

TEST(ApplicationStartConformance, FileWithoutDefinitionsStartsNothing) {
  for (const std::string content : {"", "#only\n#comments\n", "\r\n"}) {
    SCOPED_TRACE(orv::sim::quoted(content));
    Scenario scenario;
    scenario.files["/rom/AppDef.txt"] = content;
    EXPECT_TRUE(isTrace(startUp(scenario).trace, std::string(BEGIN) + NO_FILE_NAME + R"(
        0.000 main AaFileOpen("/rom/AppDef.txt", "r") = file 1
        0.000 main reads file 1: )" + orv::sim::quoted(content) +
                                                     R"(
        0.000 main AaFileClose(file 1) = 0)" + COMPLETE +
                                                     NOTICE));
  }
}

TEST(ApplicationStartConformance, MissingFileIsAnErrorUnlessTheParameterMakesItOptional) {
  const struct {
    uint32_t rad;
    const char *line;
  } cases[] = {
      {0, "Error: parseAppExeDefFile: application definition file inaccessible"},
      {1,
       "Warning: parseAppExeDefFile: application definition file inaccessible, but not required due to RAD tag "
       "0x10063"},
      {255,
       "Warning: parseAppExeDefFile: application definition file inaccessible, but not required due to RAD tag "
       "0x10063"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.rad);
    Scenario scenario;
    scenario.rad[0x10063] = row.rad;
    EXPECT_TRUE(isTrace(startUp(scenario).trace, std::string(BEGIN) + NO_FILE_NAME + R"(
        0.000 main AaFileOpen("/rom/AppDef.txt", "r") = null
        0.000 main AaConfigRadGetValue(0x10063) = )" +
                                                     std::to_string(row.rad) + "\n0.000 main " + row.line + COMPLETE +
                                                     NOTICE));
  }
}

TEST(ApplicationStartConformance, ParameterIsNotAskedForWhereTheFileOpens) {
  Scenario scenario;
  scenario.rad[0x10063] = 1;
  scenario.files["/rom/AppDef.txt"] = "";
  EXPECT_TRUE(linesWith(startUp(scenario).trace, "AaConfigRadGetValue").empty());
}

TEST(ApplicationStartConformance, TagNamesTheFileAndItsBufferIsReleased) {
  const struct {
    const char *name;
    const char *opened;
  } cases[] = {{"/etc/apps.txt", "\"/etc/apps.txt\", \"r\") = file 1"},
               {"", "\"\", \"r\") = null"},
               {" relative name ", "\" relative name \", \"r\") = null"},
               {"/rom/AppDef.txt", "\"/rom/AppDef.txt\", \"r\") = file 1"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Scenario scenario;
    scenario.tags["app.hwapi.appcfg.filename"] = {TagType::STRING, 0, row.name};
    scenario.files = {{"/etc/apps.txt", ""}, {"/rom/AppDef.txt", ""}};
    const std::string opened = row.opened;
    std::string expected = std::string(BEGIN) + R"(
        0.000 main AaConfigTagGetString("app.hwapi.appcfg.filename") = 0, buffer 1 ")" +
                           row.name + R"("
        0.000 main AaMemUnRefDbg(buffer 1, "ORV_Daemon/src/OrvDaemon", LINE)
        0.000 main AaFileOpen()" +
                           opened;
    expected += opened.ends_with("null") ? NO_FILE : R"(
        0.000 main AaFileRead(1, 1, file 1) = 0
        0.000 main AaFileClose(file 1) = 0)";
    EXPECT_TRUE(isTrace(startUp(scenario).trace, expected + COMPLETE + NOTICE));
  }
}

TEST(ApplicationStartConformance, LongFileNameIsUsedWhole) {
  Scenario scenario;
  const std::string name = "/" + std::string(999, 'f');
  scenario.tags["app.hwapi.appcfg.filename"] = {TagType::STRING, 0, name};
  scenario.files[name] = "";
  EXPECT_TRUE(isTrace(linesWith(startUp(scenario).trace, "AaFileOpen"),
                      "0.000 main AaFileOpen(\"" + name + "\", \"r\") = file 1"));
}

// Only the pointer tells whether there is a name, so no buffer is released.
TEST(ApplicationStartConformance, TagWithoutATextLeavesTheDefaultFile) {
  Scenario number;
  number.tags["app.hwapi.appcfg.filename"] = {TagType::U32, 7, ""};
  Scenario refused;
  refused.tags["app.hwapi.appcfg.filename"] = {TagType::STRING, 0, "/etc/apps.txt"};
  refused.calls.push_back({"AaConfigTagGetString", 0, "app.hwapi.appcfg.filename", 22});
  for (const Scenario &scenario : {number, refused}) {
    EXPECT_TRUE(isTrace(startUp(scenario).trace, std::string(BEGIN) + R"(
        0.000 main AaConfigTagGetString("app.hwapi.appcfg.filename") = 22
        0.000 main AaFileOpen("/rom/AppDef.txt", "r") = null)" +
                                                     NO_FILE + COMPLETE + NOTICE));
  }
}

TEST(ApplicationStartConformance, SenderOfTheNoticeIsAFixedPointOfTheOwnNode) {
  const struct {
    uint32_t nid;
    const char *nidText;
    const char *sender;
  } cases[] = {{0, "0x0", "0xfffe"},
               {1, "0x1", "0x1fffe"},
               {0x1011, "0x1011", "0x1011fffe"},
               {0xf00d, "0xf00d", "0xf00dfffe"},
               {0xffff, "0xffff", "0xfffffffe"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.nidText);
    Scenario scenario;
    scenario.calls.push_back({"AaSysComGetOwnNid", 0, {}, row.nid});
    const std::string nid = row.nidText;
    EXPECT_TRUE(isTrace(linesBetween(startUp(scenario).trace, "start-up complete\"", "node end: exit status 0"),
                        R"(
        0.000 main AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, appStart: application start-up complete"
        0.000 main AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = message 1
        0.000 main AaSysComGetOwnNid() = )" +
                            nid + R"(
        0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender )" +
                            row.sender + R"(, payload 4 bytes) = 0
        0.000 node end: exit status 0)"));
  }
}

TEST(ApplicationStartConformance, NoticeThatCannotBeCreatedIsLeftOutInSilence) {
  Scenario scenario;
  scenario.calls.push_back({"AaSysComMsgCreate", 0, "0xfd28", 0});
  EXPECT_TRUE(isTrace(startUp(scenario).trace, std::string(BEGIN) + NO_FILE_NAME + R"(
      0.000 main AaFileOpen("/rom/AppDef.txt", "r") = null)" +
                                                   NO_FILE + COMPLETE + R"(
      0.000 main AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = null
      0.000 node end: exit status 0)"));
}

TEST(ApplicationStartConformance, NoticeThatCannotBeSentIsNotNoticed) {
  Scenario scenario;
  scenario.calls.push_back({"AaSysComMsgSendWithPriority", 0, "0xfd28", 113});
  EXPECT_TRUE(isTrace(linesBetween(startUp(scenario).trace, "AaSysComGetOwnNid() = 0x0", "node end: exit status 0"), R"(
      0.000 main AaSysComGetOwnNid() = 0x0
      0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0xfffe, payload 4 bytes) = 113
      0.000 node end: exit status 0)"));
}

// Whole boots: what the command line sets decides the phase, and the start-up goes on behind it.
TEST(ApplicationStartConformance, FileNamedOnTheCommandLineIsReadAndTheDefaultIsNotTouched) {
  Scenario scenario;
  scenario.files = {{"/etc/apps.txt", "a;/a;;;;\n"}, {"/rom/AppDef.txt", "b;/b;;;;\n"}};
  SimulatedBoot result = boot(scenario, {"--startup=nid=0x1011", "-c", "app.hwapi.appcfg.filename=/etc/apps.txt"});
  nameReleaseLines(result.trace);
  EXPECT_TRUE(
      isTrace(linesBetween(result.trace, "appStart: application start-up\"", "sem_init(semaphore 1, 0, 0) = 0"), R"(
      0.000 1:ceInternalStartupEu AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, appStart: application start-up"
      0.000 1:ceInternalStartupEu AaConfigTagGetString("app.hwapi.appcfg.filename") = 0, buffer 1 "/etc/apps.txt"
      0.000 1:ceInternalStartupEu AaMemUnRefDbg(buffer 1, "ORV_Daemon/src/OrvDaemon", LINE)
      0.000 1:ceInternalStartupEu AaFileOpen("/etc/apps.txt", "r") = file 1
      0.000 1:ceInternalStartupEu reads file 1: "a;/a;;;;\n"
      0.000 1:ceInternalStartupEu AaFileClose(file 1) = 0
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 0, EU 2
      0.000 1:ceInternalStartupEu Info: appStart: application start-up complete
      0.000 1:ceInternalStartupEu AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = message 1
      0.000 1:ceInternalStartupEu AaSysComGetOwnNid() = 0x1011
      0.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0x1011fffe, payload 4 bytes) = 0
      0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0)"));
}

TEST(ApplicationStartConformance, ResetTagOfTheCommandLineDisablesThePhaseAndNothingElse) {
  const SimulatedBoot result = boot({}, {"-c", "sys.configuration.reset=0"});
  EXPECT_TRUE(isTrace(
      linesBetween(result.trace, "AaStartupCeUngracefulShutdownCount(context) = 0", "sem_init(semaphore 1, 0, 0) = 0"),
      R"(
      0.000 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 0
      0.000 1:ceInternalStartupEu AaConfigTagIsSet("sys.repair.center.reset") = 0
      0.000 1:ceInternalStartupEu AaConfigTagIsSet("sys.configuration.reset") = 1
      0.000 1:ceInternalStartupEu Info: appStart: repair/reset tag set, application start-up disabled
      0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0)"));
}
