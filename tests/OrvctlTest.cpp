// orvctl tag and rad, how the tool answers bad use, and what it makes of a system that fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "Clock.h"
#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

using OrvctlTag = Orvctl;
using OrvctlRad = Orvctl;
using OrvctlUsage = Orvctl;
using OrvctlSystem = Orvctl;

// --- tag ------------------------------------------------------------------------------------------------------------

TEST_F(OrvctlTag, SetWithoutAValueIsANumberOne) {
  store();
  EXPECT_EQ(output(DONE, {"tag", "set", "a"}), "");
  const auto tag = store()->tag("a");
  ASSERT_TRUE(tag.has_value());
  EXPECT_EQ(tag->value.type, TagType::U32);
  EXPECT_EQ(tag->value.number, 1U);
}

TEST_F(OrvctlTag, PlainNumbersBecomeNumbersAndTheRestTexts) {
  store();
  const struct {
    const char *value;
    TagType type;
  } cases[] = {{"0", TagType::U32},           {"4294967295", TagType::U32}, {"4294967296", TagType::STRING},
               {"-5", TagType::STRING},       {"007", TagType::STRING},     {"0x10", TagType::STRING},
               {"1.5", TagType::STRING},      {"", TagType::STRING},        {"[a,b]", TagType::STRING},
               {"two words", TagType::STRING}};
  for (const auto &each : cases) {
    EXPECT_EQ(output(DONE, {"tag", "set", "a", each.value}), "");
    EXPECT_EQ(store()->tag("a")->value.type, each.type) << each.value;
    EXPECT_EQ(output(DONE, {"tag", "get", "a"}), std::string(each.value) + "\n");
  }
}

TEST_F(OrvctlTag, TypeCanBeChosen) {
  store();
  output(DONE, {"tag", "set", "--type", "u16", "a", "0xffff"});
  EXPECT_EQ(store()->tag("a")->value.type, TagType::U16);
  EXPECT_EQ(store()->tag("a")->value.number, 65535U);
  output(DONE, {"tag", "set", "a", "5", "--type=string"});
  EXPECT_EQ(store()->tag("a")->value.type, TagType::STRING);
  EXPECT_EQ(store()->tag("a")->value.text, "5");
  output(DONE, {"tag", "set", "a", "010", "--type", "u32"});
  EXPECT_EQ(store()->tag("a")->value.number, 8U);
}

TEST_F(OrvctlTag, ValueThatIsNotOfTheTypeIsRefused) {
  store();
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "65536", "--type", "u16"}), "0 to 65535"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "x", "--type", "u32"}), "\"x\""));
  complaint(USAGE, {"tag", "set", "a", "", "--type", "u32"});
  complaint(USAGE, {"tag", "set", "a", "0x", "--type", "u32"});
  complaint(USAGE, {"tag", "set", "a", "08", "--type", "u32"});
  EXPECT_FALSE(store()->tagIsSet("a"));
}

TEST_F(OrvctlTag, ValueAfterTwoDashesMayBeginWithOne) {
  store();
  output(DONE, {"tag", "set", "a", "--", "-v"});
  EXPECT_EQ(store()->tag("a")->value.text, "-v");
}

TEST_F(OrvctlTag, MayHaveTheNameOfACommand) {
  store();
  for (const char *name : {"status", "tag", "list", "set", "rad", "ungraceful"}) {
    output(DONE, {"tag", "set", name, "x"});
    EXPECT_EQ(output(DONE, {"tag", "get", name}), "x\n");
  }
}

TEST_F(OrvctlTag, NameAndTextThatAreTooLongAreRefused) {
  store();
  output(DONE, {"tag", "set", std::string(255, 'n'), std::string(4095, 't')});
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", std::string(256, 'n')}), "at most 255"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", std::string(4096, 't')}), "at most 4095"));
  complaint(USAGE, {"tag", "set", ""});
}

TEST_F(OrvctlTag, GettingOneThatIsNotSetIsANo) {
  store();
  EXPECT_EQ(complaint(NO, {"tag", "get", "absent"}), "orvctl: tag absent is not set");
}

TEST_F(OrvctlTag, UnsettingTellsWhetherItWasSet) {
  ASSERT_TRUE(store()->setTag("a", {TagType::U32, 1, {}}).ok());
  EXPECT_EQ(output(DONE, {"tag", "unset", "a"}), "");
  EXPECT_FALSE(store()->tagIsSet("a"));
  EXPECT_EQ(complaint(NO, {"tag", "unset", "a"}), "orvctl: tag a was not set");
}

TEST_F(OrvctlTag, ListIsATableByName) {
  const std::string pid = "pid " + std::to_string(getpid());
  {
    const auto own = store();
    ASSERT_TRUE(own->setTag("b", {TagType::STRING, 0, "x"}).ok());
    ASSERT_TRUE(own->setTag("a.long.name", {TagType::U16, 7, {}}).ok());
  }
  const std::string gap(pid.size() - std::string("SET BY").size() + 2, ' ');
  EXPECT_EQ(output(DONE, {"tag", "list"}), "NAME         TYPE    SET BY" + gap + "VALUE\n" + "a.long.name  u16     " +
                                               pid + "  7\n" + "b            string  " + pid + "  x\n");
}

TEST_F(OrvctlTag, ListShowsNoControlCharacters) {
  ASSERT_TRUE(store()->setTag("a\n", {TagType::STRING, 0, "\x1b[31m\tred\r\n\x7f"}).ok());
  EXPECT_TRUE(contains(output(DONE, {"tag", "list"}), "a\\n   string"));
  EXPECT_TRUE(contains(output(DONE, {"tag", "list"}), "\\x1b[31m\\tred\\r\\n\\x7f\n"));
  EXPECT_EQ(complaint(NO, {"tag", "get", "\x1b[31m"}), "orvctl: tag \\x1b[31m is not set");
}

TEST_F(OrvctlTag, WaitingForOneThatIsSetEndsAtOnce) {
  ASSERT_TRUE(store()->setTag("a", {TagType::U32, 1, {}}).ok());
  EXPECT_EQ(output(DONE, {"tag", "wait", "a"}), "");
  EXPECT_EQ(output(DONE, {"tag", "wait", "a", "--timeout", "0"}), "");
}

TEST_F(OrvctlTag, WaitingEndsWhenItIsSet) {
  const auto own = store();
  std::thread waiter([&] { EXPECT_EQ(output(DONE, {"tag", "wait", "a", "--timeout", "60"}), ""); });
  EXPECT_TRUE(own->setTag("a", {TagType::U32, 1, {}}).ok());
  waiter.join();
}

TEST_F(OrvctlTag, WaitingInVainIsANo) {
  store();
  EXPECT_EQ(complaint(NO, {"tag", "wait", "a", "--timeout", "0"}), "orvctl: tag a was not set in time");
  const uint64_t startNs = orv::monotonicNs();
  complaint(NO, {"tag", "wait", "a", "--timeout", "0.05"});
  EXPECT_GE(orv::monotonicNs() - startNs, 50'000'000U);
}

TEST_F(OrvctlTag, TimeoutIsANumberOfSeconds) {
  store();
  for (const char *timeout : {"soon", "", "-1", "nan", "inf", "1s"})
    EXPECT_TRUE(contains(complaint(USAGE, {"tag", "wait", "a", std::string("--timeout=") + timeout}), "--timeout"));
}

// --- rad ------------------------------------------------------------------------------------------------------------

TEST_F(OrvctlRad, SetIsTheOperators) {
  store();
  EXPECT_EQ(output(DONE, {"rad", "set", "0x10063", "0xffffffff"}), "");
  ASSERT_EQ(store()->rads().size(), 1U);
  EXPECT_EQ(store()->rads()[0].number, 0x10063U);
  EXPECT_EQ(store()->rads()[0].value, 0xffffffffU);
  EXPECT_EQ(store()->rads()[0].origin, orv::RadOrigin::OPERATOR);
  EXPECT_EQ(output(DONE, {"rad", "get", "65635"}), "4294967295\n");
}

TEST_F(OrvctlRad, GettingOneThatIsNotSetIsANo) {
  store();
  EXPECT_EQ(complaint(NO, {"rad", "get", "17"}), "orvctl: RAD parameter 0x11 is not set and reads as 0");
}

TEST_F(OrvctlRad, ListTellsWhoSetThem) {
  {
    const auto own = store();
    ASSERT_TRUE(own->setRad(0x10063, 1, orv::RadOrigin::CONFIGURATION).ok());
    ASSERT_TRUE(own->setRad(2, 30, orv::RadOrigin::OPERATOR).ok());
  }
  EXPECT_EQ(output(DONE, {"rad", "list"}),
            "NUMBER   SET BY         VALUE\n"
            "0x2      operator       30\n"
            "0x10063  configuration  1\n");
}

TEST_F(OrvctlRad, NumbersThatAreNoneAreRefused) {
  store();
  EXPECT_TRUE(contains(complaint(USAGE, {"rad", "set", "x", "1"}), "NUMBER"));
  EXPECT_TRUE(contains(complaint(USAGE, {"rad", "set", "1", "4294967296"}), "VALUE"));
  EXPECT_TRUE(contains(complaint(USAGE, {"rad", "set", "1"}), "VALUE"));
  complaint(USAGE, {"rad", "get", "-1"});
  EXPECT_TRUE(store()->rads().empty());
}

// --- Use ------------------------------------------------------------------------------------------------------------

TEST_F(OrvctlUsage, NearestCommandIsNamed) {
  EXPECT_EQ(complaint(USAGE, {"statsu"}), "orvctl: there is no command \"statsu\" (did you mean \"status\"?)");
  EXPECT_EQ(complaint(USAGE, {"tag", "lst"}), "orvctl: there is no command \"tag lst\" (did you mean \"tag list\"?)");
  EXPECT_EQ(complaint(USAGE, {"wait", "a"}), "orvctl: there is no command \"wait\" (did you mean \"tag wait\"?)");
  EXPECT_EQ(complaint(USAGE, {"--node-dir", "tag", "rat"}),
            "orvctl: there is no command \"rat\" (did you mean \"rad\"?)");
  EXPECT_EQ(complaint(USAGE, {"frobnicate"}), "orvctl: there is no command \"frobnicate\" (see orvctl --help)");
  EXPECT_EQ(complaint(USAGE, {""}), "orvctl: there is no command \"\" (see orvctl --help)");
  complaint(USAGE, {std::string(100000, 'x')});
}

TEST_F(OrvctlUsage, MissingCommandIsSaidWithWhatThereIs) {
  const std::string all = complaint(USAGE, {});
  EXPECT_TRUE(all.starts_with("orvctl: a command is missing: orvctl tag|rad|")) << all;
  EXPECT_TRUE(all.ends_with("|help|completions (see orvctl --help)")) << all;
  EXPECT_EQ(complaint(USAGE, {"--node-dir=x", "rad"}),
            "orvctl: a command is missing: orvctl rad set|get|list (see orvctl --help)");
}

TEST_F(OrvctlUsage, WrongArgumentsAreNamed) {
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "get"}), "NAME"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "get", "a", "b"}), "b"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "-v"}), "-v"));
  EXPECT_TRUE(contains(complaint(USAGE, {"--nodedir", "x", "status"}), "--nodedir"));
  EXPECT_TRUE(contains(complaint(USAGE, {"status", "--node-dir"}), "--node-dir"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "1", "--type", "bool"}), "bool"));
  complaint(USAGE, {"tag", "get", "a", "status"});
}

TEST_F(OrvctlUsage, HelpNamesEveryCommandAndExitCode) {
  const std::string text = output(DONE, {"--help"});
  for (const char *part : {"tag", "rad", "log", "status", "ungraceful", "--node-dir", "--state-dir",
                           "Exit codes:", "  0  done", "  1  ", "  2  ", "  3  "})
    EXPECT_TRUE(contains(text, part)) << part;
  for (const char *command : {"set", "get", "unset", "list", "wait"})
    EXPECT_TRUE(contains(output(DONE, {"tag", "--help"}), command)) << command;
  EXPECT_TRUE(contains(output(DONE, {"tag", "wait", "-h"}), "--timeout"));
}

// --- The system -----------------------------------------------------------------------------------------------------

TEST_F(OrvctlSystem, NodeThatIsNotThereIsAFailureThatNamesTheDirectory) {
  const Lines commands[] = {
      {"tag", "set", "a"},      {"tag", "get", "a"}, {"tag", "unset", "a"}, {"tag", "list"}, {"tag", "wait", "a"},
      {"rad", "set", "1", "2"}, {"rad", "get", "1"}, {"rad", "list"},       {"status"},      {"log"}};
  for (const Lines &command : commands) {
    EXPECT_EQ(complaint(FAILED, command), "orvctl: there is no node in " + node() +
                                              " (start it, or name its directory with --node-dir or ORV_NODE_DIR)");
  }
  EXPECT_TRUE(std::filesystem::is_empty(node())) << "looking makes nothing";
}

TEST_F(OrvctlSystem, NodeDirectoryCanBeNamedBeforeAndAfterTheCommand) {
  ASSERT_TRUE(store()->setTag("a", {TagType::U32, 5, {}}).ok());
  ProcessStart start;
  start.environment = {"ORV_NODE_DIR=" + directory_.path("absent")};
  const Lines variants[] = {{"--node-dir", node(), "tag", "get", "a"},
                            {"tag", "--node-dir", node(), "get", "a"},
                            {"tag", "get", "--node-dir=" + node(), "a"},
                            {"tag", "get", "a", "--node-dir", node()}};
  for (const Lines &arguments : variants) {
    start.arguments = {ORVCTL_PATH};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(runCommand(start).output, Lines{"5"});
  }
}

TEST_F(OrvctlSystem, DirectoryThatCannotBeTrustedIsRefused) {
  store();
  std::filesystem::permissions(node(), std::filesystem::perms(0777));
  EXPECT_TRUE(contains(complaint(FAILED, {"status"}), "everybody may write to it"));
}

TEST_F(OrvctlSystem, DamagedStoreIsAFailureAndLeftAlone) {
  directory_.write("node/node.mdb", std::string(20000, '\xa5'));
  EXPECT_TRUE(contains(complaint(FAILED, {"status"}), "damaged"));
  EXPECT_EQ(directory_.read("node/node.mdb"), std::string(20000, '\xa5'));
}

// Runs the tool with `descriptor` as its standard output.
int exitCodeWithOutput(const std::string &nodeDirectory, int descriptor) {
  const pid_t child = fork();
  if (child == 0) {
    dup2(descriptor, STDOUT_FILENO);
    execl(ORVCTL_PATH, ORVCTL_PATH, "--node-dir", nodeDirectory.c_str(), "tag", "list", nullptr);
    _exit(99);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST_F(OrvctlSystem, ReaderThatIsGoneIsNoFailure) {
  store();
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  EXPECT_EQ(exitCodeWithOutput(node(), ends[1]), DONE);
  close(ends[1]);
}

TEST_F(OrvctlSystem, OutputThatCannotBeWrittenIsAFailure) {
  store();
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  EXPECT_EQ(exitCodeWithOutput(node(), full), FAILED);
  close(full);
}

}  // namespace
