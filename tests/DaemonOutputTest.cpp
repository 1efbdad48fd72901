// What programs write: where it goes, what is kept of it, and that nobody waits for it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "HeldStore.h"
#include "ProcessTable.h"
#include "TestNode.h"
#include "WaitUntil.h"

namespace {

using Lines = std::vector<std::string>;

class DaemonOutput : public DaemonTest {
 protected:
  // The definition of an application that is a shell script.
  std::string script(const std::string &name, const std::string &text, const std::string &flags = "0") const {
    node.writeFile(name + ".sh", text);
    return name + ";/bin/sh;" + node.path(name + ".sh") + ";0;" + flags + ";";
  }

  // The output of EU `name`, once `isThere` finds in it what it looks for.
  template <typename IsThere>
  orv::ProgramOutput outputOf(const std::string &name, IsThere isThere) const {
    orv::ProgramOutput output;
    const bool hasCome = comesTrue([&] {
      for (const orv::EuRecord &eu : node.eus()) {
        if (eu.name != name) continue;
        output = node.output(eu.id);
        if (isThere(output)) return true;
      }
      return false;
    });
    if (!hasCome) throw std::runtime_error("the output of " + name + " does not come");
    return output;
  }

  // The last words of the node's failures, in order.
  Lines lastWords() const {
    Lines texts;
    for (const orv::Event &event : node.events()) {
      if (event.kind == orv::EventKind::LAST_WORDS) texts.push_back(event.text);
    }
    return texts;
  }
};

[[maybe_unused]] size_t residentKilobytes(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("RssAnon:")) return std::stoul(line.substr(8));
  }
  return 0;
}

}  // namespace

TEST_F(DaemonOutput, EveryLineOfAProgramIsKeptWithItsEu) {
  node.define({script("app", "echo one\necho two >&2\nprintf 'three'\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const orv::ProgramOutput output = outputOf("app", [](const auto &all) { return all.first.size() == 3; });
  EXPECT_EQ(output.first[0].text, "one");
  EXPECT_EQ(output.first[1].text, "two");
  EXPECT_EQ(output.first[2].text, "three");
  EXPECT_FALSE(output.first[1].partial);
  EXPECT_TRUE(output.first[2].partial);
  EXPECT_EQ(output.dropped, 0U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOutput, LineWithoutAnEndIsShownWhileItsProgramWaits) {
  node.define({script("app", "printf 'login: '\nexec sleep 1000\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const orv::ProgramOutput output = outputOf("app", [](const auto &all) { return all.first.size() == 1; });
  EXPECT_EQ(output.first[0].text, "login: ");
  EXPECT_TRUE(output.first[0].partial);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOutput, BytesThatAreNoTextAreKeptAsTheyAre) {
  node.define({script("app", "printf 'a\\000\\377\\033[2Jb\\n'\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const orv::ProgramOutput output = outputOf("app", [](const auto &all) { return !all.first.empty(); });
  EXPECT_EQ(output.first[0].text, std::string("a\0\xff\x1b[2Jb", 8));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOutput, FirstAndLastLinesAreKeptAndWhatIsBetweenIsCounted) {
  constexpr uint64_t COUNT = 100000;
  node.define({script("app", "seq " + std::to_string(COUNT) + "\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const orv::ProgramOutput output = outputOf(
      "app", [](const auto &all) { return !all.last.empty() && all.last.back().text == std::to_string(COUNT); });
  ASSERT_EQ(output.first.size(), orv::FIRST_OUTPUT_LINES);
  EXPECT_EQ(output.first.front().text, "1");
  EXPECT_EQ(output.first.back().text, std::to_string(orv::FIRST_OUTPUT_LINES));
  ASSERT_EQ(output.last.size(), orv::LAST_OUTPUT_LINES);
  EXPECT_EQ(output.last.front().text, std::to_string(COUNT - orv::LAST_OUTPUT_LINES + 1));
  // A line counts twice where the machine held its program up in the middle of it for so long that its beginning was
  // shown.
  EXPECT_GE(output.dropped, COUNT - orv::FIRST_OUTPUT_LINES - orv::LAST_OUTPUT_LINES);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOutput, FailureStandsWithItsLastTwentyLinesInTheEvents) {
  node.define({script("app", "seq 30\nprintf 'no such device' >&2\nexit 3\n")});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForEvent(orv::EventKind::LAST_WORDS, "no such device");
  Lines expected;
  for (int i = 12; i <= 30; ++i)
    expected.push_back(std::to_string(i));
  expected.emplace_back("no such device");
  EXPECT_EQ(lastWords(), expected);
  // Behind the end they belong to.
  bool ended = false;
  for (const orv::Event &event : node.events()) {
    if (event.kind == orv::EventKind::PROGRAM_ENDED) ended = true;
    if (event.kind == orv::EventKind::LAST_WORDS) {
      EXPECT_TRUE(ended);
      EXPECT_EQ(event.euId, node.waitForFinishedEu("app").id);
    }
  }
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOutput, SuccessAndShutdownHaveNoLastWords) {
  node.define({script("done", "echo done\n"), script("app", "echo running\nexec sleep 1000\n")});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForFinishedEu("done");
  outputOf("app", [](const auto &all) { return !all.first.empty(); });
  expectGracefulEnd(*daemon);
  EXPECT_EQ(lastWords(), Lines());
}

TEST_F(DaemonOutput, LastLinesDuringTheShutdownAreKept) {
  node.define({script("app", "trap 'echo going; exit 0' TERM\necho here\nwhile true; do sleep 0.01; done\n")});
  const auto daemon = node.startedDaemon({"-v"});
  outputOf("app", [](const auto &all) { return !all.first.empty(); });
  expectGracefulEnd(*daemon);
  // Between the two there may be the shell's word on what it had running.
  outputOf("app", [](const auto &all) { return all.first.size() > 1 && all.first.back().text == "going"; });
}

TEST_F(DaemonOutput, ProgramIsNotHeldUpByAStandardOutputThatNobodyReads) {
  // A pipe takes 64 KiB; the program writes 700 and ends.
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  node.define({script("app", "seq 100000\n")});
  ProcessStart start;
  start.output = ends[1];
  const auto daemon = node.startedDaemon({"-v"}, start);
  EXPECT_EQ(node.waitForFinishedEu("app").waitStatus, 0);
  const orv::ProgramOutput output =
      outputOf("app", [](const auto &all) { return !all.last.empty() && all.last.back().text == "100000"; });
  EXPECT_EQ(output.last.size(), orv::LAST_OUTPUT_LINES);
  EXPECT_NE(node.waitForEvent(orv::EventKind::LOG,
                              "standard output does not take all that programs write; `orvctl log --eu NAME` shows "
                              "their lines")
                .code,
            0U);
  expectGracefulEnd(*daemon);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(DaemonOutput, ProgramIsNotHeldUpByATerminalThatNobodyReads) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(terminal, 0);
  ASSERT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const int line = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(line, 0);
  // The room that is left is seldom a whole write's.
  node.define({script("app", "seq 100000\n")});
  ProcessStart start;
  start.output = line;
  const auto daemon = node.startedDaemon({"-v"}, start);
  EXPECT_EQ(node.waitForFinishedEu("app").waitStatus, 0);
  outputOf("app", [](const auto &all) { return !all.last.empty() && all.last.back().text == "100000"; });
  expectGracefulEnd(*daemon);
  close(line);
  close(terminal);
}

TEST_F(DaemonOutput, StormOfOneProgramDelaysNoOtherAndKeepsNoMemory) {
  node.define({script("storm", "yes 'a line of a program that says the same for ever'\n"),
               script("app", "echo failing\nexit 3\n", "1")});
  int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  ProcessStart start;
  start.output = nowhere;
  const auto daemon = node.startedDaemon({"-v"}, start);
  daemon->waitForErrorLine(errorLine("exeRun: executable '/bin/sh' failed with status 3"));
  outputOf("storm", [](const auto &all) { return all.dropped > 1'000'000; });
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // What waits is bounded by lines and events; 64 MiB is far above that and far below what the storm has written. A
  // sanitizer keeps what has been freed, and more.
  EXPECT_LT(residentKilobytes(daemon->pid()), 64U * 1024);
#endif
  expectGracefulEnd(*daemon);
  close(nowhere);
}

TEST_F(DaemonOutput, SupervisionGoesOnWhileSomebodyHoldsTheStoreLocked) {
  node.writeFile("go.sh", "while ! [ -e " + node.path("go") + " ]; do sleep 0.01; done\necho gone\nexit 4\n");
  node.define({"app;/bin/sh;" + node.path("go.sh") + ";0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForEu("app", orv::EuState::RUNNING);
  {
    const HeldStore held(node.nodeDirectory());
    node.writeFile("go", "");
    daemon->waitForErrorLine(errorLine("exeRun: executable '/bin/sh' failed with status 4"));
  }
  node.waitForEvent(orv::EventKind::LAST_WORDS, "gone");
  expectGracefulEnd(*daemon);
}
