// orvctl tag list --long and --json: who set a tag, when and in which run, and what to beware of.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include "Clock.h"
#include "OrvctlFixture.h"
#include "ProcessTree.h"

using namespace orvctltest;

namespace {

using OrvctlTagList = Orvctl;

using orv::NS_PER_S;

uint32_t ownPid() {
  return static_cast<uint32_t>(getpid());
}

orv::Setter self() {
  return orv::identify(ownPid());
}

// The id of a process that is gone and has been waited for.
uint32_t pidOfNobody() {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);
  return static_cast<uint32_t>(child);
}

// The cells of the line that begins with `name`; the last is the rest of the line.
Lines rowOf(const std::string &text, const std::string &name, size_t columns) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with(name + " ")) continue;
    Lines cells;
    for (size_t begin = 0; cells.size() + 1 < columns;) {
      const size_t end = line.find("  ", begin);
      cells.push_back(line.substr(begin, end - begin));
      begin = line.find_first_not_of(' ', end);
      if (cells.size() + 1 == columns) cells.push_back(line.substr(begin));
    }
    return cells;
  }
  return {};
}

TEST_F(OrvctlTagList, LongOneIsATable) {
  const auto own = store();
  orv::RunInfo run;
  run.daemonPid = pidOfNobody();
  run.startedNs = orv::monotonicNs() - 100;
  run.startedRealtimeNs = 1700000000 * NS_PER_S;
  ASSERT_TRUE(own->beginRun(run).ok());
  orv::Setter setter = self();
  setter.executable = "/usr/bin/radio";
  setter.uid = 1000;
  setter.euName = "radioCtrl";
  ASSERT_TRUE(own->setTag("a", {TagType::U32, 1, {}}, setter).ok());
  const std::string pid = std::to_string(ownPid());
  const std::string text = output(DONE, {"tag", "list", "--long"});
  const std::string gap(pid.size() - 1, ' ');
  EXPECT_EQ(text.substr(0, text.find('\n')), "Run 1 of the node since 2023-11-14 22:13:20 +0000, daemon pid " +
                                                 std::to_string(run.daemonPid) + ", dead: this is what it left");
  EXPECT_TRUE(contains(text, "NAME  TYPE  RUN  AFTER  EU         PID" + gap + "UID   EXECUTABLE      BEWARE"));
  const Lines row = rowOf(text, "a", 10);
  ASSERT_EQ(row.size(), 10U) << text;
  EXPECT_EQ(row[1], "u32");
  EXPECT_EQ(row[2], "1");
  EXPECT_EQ(row[4], "radioCtrl");
  EXPECT_EQ(row[5], pid);
  EXPECT_EQ(row[6], "1000");
  EXPECT_EQ(row[7], "/usr/bin/radio");
  EXPECT_EQ(row[9], "1");
}

TEST_F(OrvctlTagList, NothingIsWrongWithATagOfTheLivingDaemon) {
  orv::RunInfo run;
  run.daemonPid = ownPid();
  run.startedNs = orv::monotonicNs();
  const auto own = store();
  ASSERT_TRUE(own->beginRun(run).ok());
  ASSERT_TRUE(own->setTag("a", {TagType::U32, 1, {}}).ok());
  const std::string text = output(DONE, {"tag", "list", "--long"});
  EXPECT_TRUE(contains(text, "daemon pid " + std::to_string(ownPid()))) << text;
  const Lines row = rowOf(text, "a", 10);
  ASSERT_EQ(row.size(), 10U) << text;
  EXPECT_NE(row[3], "-");
  EXPECT_EQ(row[8], "-") << "older than the run, as a daemon has to be";
}

TEST_F(OrvctlTagList, ProcessThatIsGoneIsAWarning) {
  beginRun(ownPid());
  orv::Setter gone = self();
  gone.pid = pidOfNobody();
  orv::Setter reused = self();
  ++reused.startTicks;
  orv::Setter unknown;
  {
    const auto own = store();
    ASSERT_TRUE(own->setTag("gone", {TagType::U32, 1, {}}, gone).ok());
    ASSERT_TRUE(own->setTag("reused", {TagType::U32, 1, {}}, reused).ok());
    ASSERT_TRUE(own->setTag("unknown", {TagType::U32, 1, {}}, unknown).ok());
  }
  const std::string text = output(DONE, {"tag", "list", "--long"});
  EXPECT_TRUE(rowOf(text, "gone", 10).at(8).ends_with("process gone")) << text;
  EXPECT_TRUE(rowOf(text, "reused", 10).at(8).ends_with("process gone, another has its pid")) << text;
  EXPECT_EQ(rowOf(text, "unknown", 10).at(8), "-") << text;
  EXPECT_EQ(rowOf(text, "unknown", 10).at(7), "-") << text;
}

TEST_F(OrvctlTagList, ProcessOlderThanTheRunIsAWarning) {
  // A program of an earlier run that still lives, and sets its tag in this one.
  orv::RunInfo run;
  run.daemonPid = pidOfNobody();
  const auto own = store();
  orv::Setter setter = self();
  setter.pid = ownPid();
  run.startedNs = orv::startedMonotonicNs(setter.startTicks) + NS_PER_S;
  ASSERT_TRUE(own->beginRun(run).ok());
  ASSERT_TRUE(own->setTag("a", {TagType::U32, 1, {}}, setter).ok());
  setter.startTicks += 1000;
  ASSERT_TRUE(own->setTag("b", {TagType::U32, 1, {}}, setter).ok());
  const std::string text = output(DONE, {"tag", "list", "--long"});
  EXPECT_EQ(rowOf(text, "a", 10).at(8), "set by a process older than this run") << text;
  EXPECT_FALSE(contains(rowOf(text, "b", 10).at(8), "older")) << text;
}

TEST_F(OrvctlTagList, LongOneOfANodeWithoutARun) {
  ASSERT_TRUE(store()->setTag("a", {TagType::U32, 1, {}}).ok());
  const std::string text = output(DONE, {"tag", "list", "--long"});
  EXPECT_TRUE(text.starts_with("No run of this node has begun yet.\nNAME  ")) << text;
  EXPECT_EQ(rowOf(text, "a", 10).at(2), "-");
  EXPECT_EQ(rowOf(text, "a", 10).at(3), "-");
}

TEST_F(OrvctlTagList, LongOneShowsNoControlCharacters) {
  beginRun(ownPid());
  orv::Setter setter = self();
  setter.executable = "/tmp/\x1b[31mred\xc2\x9b";
  setter.euName = "\xff";
  ASSERT_TRUE(store()->setTag("a\n", {TagType::STRING, 0, "\xe2\x80\xae"}, setter).ok());
  const std::string text = output(DONE, {"tag", "list", "--long"});
  EXPECT_TRUE(contains(text, "/tmp/\\x1b[31mred\\xc2\\x9b ")) << text;
  EXPECT_TRUE(contains(text, "a\\n ")) << text;
  EXPECT_TRUE(contains(text, " \\xff ")) << text;
  EXPECT_TRUE(contains(text, "  \\xe2\\x80\\xae\n")) << text;
}

TEST_F(OrvctlTagList, JsonHasTheSameFields) {
  orv::RunInfo run;
  run.daemonPid = pidOfNobody();
  run.startedNs = orv::monotonicNs();
  run.startedRealtimeNs = 5;
  const auto own = store();
  ASSERT_TRUE(own->beginRun(run).ok());
  orv::Setter setter = {pidOfNobody(), 12, 34, "/usr/bin/\"radio\"", "radioCtrl", 5};
  // What is in no run that can be told has no time after its start.
  ASSERT_TRUE(own->setTag("a", {TagType::STRING, 0, "x\n"}, setter).ok());
  const uint64_t setNs = own->tag("a")->setNs;
  const std::string afterMs = std::to_string((setNs - run.startedNs) / 1000000);
  EXPECT_EQ(output(DONE, {"tag", "list", "--json"}),
            "{\"run\": {\"number\": 1, \"daemon_pid\": " + std::to_string(run.daemonPid) +
                ", \"daemon_alive\": false, \"started_monotonic_ns\": " + std::to_string(run.startedNs) +
                ", \"started_realtime_ns\": 5},\n\"tags\": [\n"
                "{\"name\": \"a\", \"type\": \"string\", \"value\": \"x\\n\", \"pid\": " +
                std::to_string(setter.pid) +
                ", \"pid_start_ticks\": 12, \"process\": \"gone\", \"executable\": \"/usr/bin/\\\"radio\\\"\", "
                "\"uid\": 34, \"eu\": \"radioCtrl\", \"set_monotonic_ns\": " +
                std::to_string(setNs) + ", \"after_start_ms\": " + afterMs +
                ", \"run\": 1, \"this_run\": true, \"warnings\": [\"set by a process older than this run\", "
                "\"process gone\"]}\n]}\n");
}

TEST_F(OrvctlTagList, JsonOfANodeWithoutARunOrTags) {
  store();
  EXPECT_EQ(output(DONE, {"tag", "list", "--json", "--long"}), "{\"run\": null,\n\"tags\": [\n]}\n");
}

}  // namespace
