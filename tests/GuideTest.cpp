// Every guide of docs/ is run: each of its commands, in its order, and what it prints is compared with what is shown.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include "GuideRunner.h"
#include "GuideText.h"
#include "SimulationLibraries.h"

namespace {

using Lines = std::vector<std::string>;

struct Guide {
  const char *name;
  bool rehearses;
  bool compiles;
  bool linksOurs = false;
};

constexpr Guide GUIDES[] = {
    {"getting-started.md", false, false}, {"board-reset.md", true, false},        {"nodes.md", false, false},
    {"troubleshooting.md", false, false}, {"platform-library.md", false, true},   {"readiness.md", false, true, true},
    {"rehearsal.md", true, false},        {"start-up-pictures.md", false, false},
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool IS_SANITIZED = true;
#else
constexpr bool IS_SANITIZED = false;
#endif

std::string pathOf(const std::string &guide) {
  return std::string(ORV_SOURCE_DIR "/docs/") + guide;
}

std::string refusalOf(const std::string &guide) {
  try {
    parseGuide(guide);
  } catch (const std::runtime_error &refusal) {
    return refusal.what();
  }
  return "";
}

Lines run(const std::string &guide) {
  return GuideRunner().run(parseGuide(guide));
}

class GuideTest : public testing::TestWithParam<Guide> {};

TEST_P(GuideTest, PrintsWhatIsShown) {
  // ThreadSanitizer's run-time does not start where the simulation's libraries define sigaction
  // (SimulationLibraries.h); the other builds rehearse.
  if (GetParam().rehearses && !CAN_LOAD_SIMULATION) GTEST_SKIP() << CANNOT_LOAD_SIMULATION;
  // What the reader compiles is linked with the built library. With a sanitizer in that, the linker has warnings that
  // no reader sees, and the program does not start.
  if (GetParam().linksOurs && IS_SANITIZED) {
    GTEST_SKIP() << "a program without the sanitizer cannot be linked with a library that has it";
  }
  if (GetParam().compiles) {
    // The compiler that is there is none for another word size.
    if (sizeof(void *) != 8) GTEST_SKIP() << "the compiler makes programs for the machine that builds";
    ASSERT_TRUE(std::filesystem::exists("/usr/bin/cc")) << "scripts/setup installs one";
  }
  GuideRunner runner;
  for (const std::string &problem : runner.run(readGuide(pathOf(GetParam().name))))
    ADD_FAILURE() << pathOf(GetParam().name) << ", " << problem;
}

INSTANTIATE_TEST_SUITE_P(Docs, GuideTest, testing::ValuesIn(GUIDES), [](const auto &parameter) {
  std::string name = parameter.param.name;
  for (char &letter : name)
    letter = letter == '-' || letter == '.' ? '_' : letter;
  return name;
});

// A document that shows commands is a guide.
TEST(Guides, AllThatShowCommandsAreRun) {
  std::set<std::string> run = {"definition-file.md"};  // which DefinitionGuideTest runs
  for (const Guide &guide : GUIDES)
    run.insert(guide.name);
  for (const auto &entry : std::filesystem::directory_iterator(ORV_SOURCE_DIR "/docs")) {
    std::ostringstream text;
    text << std::ifstream(entry.path()).rdbuf();
    if (text.str().find("\n```console") == std::string::npos) continue;
    EXPECT_EQ(run.count(entry.path().filename().string()), 1U) << entry.path() << " is run by nothing";
  }
}

// --- The runner itself ----------------------------------------------------------------------------------------------

TEST(GuideText, BlockThatNothingRunsIsRefused) {
  EXPECT_EQ(refusalOf("text\n```\nls\n```\n"),
            "line 2: nothing runs this block (it is neither ```console nor a file=)");
  EXPECT_EQ(refusalOf("```sh\nls\n```\n"), "line 1: nothing runs this block (it is neither ```console nor a file=)");
  EXPECT_EQ(refusalOf("```console run=no\n$ ls\n```\n"),
            "line 1: \"run=no\" is none of by=, file=, source=, terminal=");
  EXPECT_EQ(refusalOf("```console\nls\n```\n"), "line 2: output without a command above it");
  EXPECT_EQ(refusalOf("```console\n```\n"), "line 2: a console without a command");
  EXPECT_EQ(refusalOf("```console\n$ ls\n"), "line 2: the block does not end");
  EXPECT_EQ(refusalOf("<!-- guide: true\n-->\n"), "line 1: the comment does not end in its line");
  EXPECT_EQ(refusalOf("```console\n$ ls\n```\n```text file=a\nx\n```\n<!-- no guide: -->\n"), "");
}

TEST(GuideText, WildcardsStandForWhatVaries) {
  EXPECT_TRUE(matchesShown({"a  pid <pid>  x"}, {"a  pid 12345 x"}, "/h")) << "the blanks too";
  EXPECT_FALSE(matchesShown({"pid <pid>"}, {"pid x"}, "/h"));
  EXPECT_FALSE(matchesShown({"a  b"}, {"a b"}, "/h")) << "without a wildcard all counts";
  EXPECT_TRUE(matchesShown({"<time> <n> s, <date>"}, {"10:00:00.123 0.5 s, 2026-01-31 10:00:00 +0000"}, "/h"));
  EXPECT_FALSE(matchesShown({"<n>"}, {"1."}, "/h"));
  EXPECT_TRUE(matchesShown({"in <here>/a"}, {"in /h/a"}, "/h"));
  EXPECT_FALSE(matchesShown({"in <here>/a"}, {"in /i/a"}, "/h"));
  EXPECT_TRUE(matchesShown({"a … c"}, {"a b b c"}, "/h"));
  EXPECT_FALSE(matchesShown({"a.c"}, {"abc"}, "/h")) << "the rest is no expression";
  EXPECT_TRUE(matchesShown({"a", "…", "c"}, {"a", "b", "b", "c"}, "/h"));
  EXPECT_TRUE(matchesShown({"a", "…"}, {"a"}, "/h"));
  EXPECT_FALSE(matchesShown({"a", "…", "c"}, {"a", "b"}, "/h"));
  EXPECT_FALSE(matchesShown({"a"}, {"a", "b"}, "/h"));
  EXPECT_EQ(beginsAsShown({"…", "b", "…"}, {"a", "b", "c"}, "/h"), 2U);
  EXPECT_EQ(beginsAsShown({"b"}, {"a", "b"}, "/h"), std::nullopt);
}

TEST(GuideRunner, SaysWhatIsNotAsShown) {
  EXPECT_EQ(run("```console\n$ echo a\na\n$ echo b\nc\n```\n"),
            Lines{"line 4: $ echo b\n  is shown to print\n    c\n  and prints\n    b\n"});
  EXPECT_EQ(run("<!-- guide: echo no; false -->\n"), Lines{"line 1: echo no; false: exit status 1\n    no\n"});
  EXPECT_EQ(run("```console by=scripts/absent\n$ ls\n```\n"), Lines{"line 1: there is no script scripts/absent"});
  EXPECT_EQ(run("```text file=a source=README.md\nx\n```\n"), Lines{"line 1: a is not what stands in README.md"});
}

TEST(GuideRunner, TerminalsAreShellsThatLiveOn) {
  EXPECT_EQ(run("```console\n$ a=1; mkdir d; cd d\n$ echo $a; basename $PWD\n1\nd\n$ false\n$ echo $?\n1\n```\n"
                "```console terminal=2\n$ echo .$a; echo error >&2\n.\nerror\n```\n"
                "```sh file=d/s\n#!/bin/sh\nprintf x\n```\n"
                "```console\n$ ./s\nx\n$ cat <<END\n> two\n> lines\n> END\ntwo\nlines\n```\n"),
            Lines());
}

TEST(GuideRunner, CommandMayEndByItselfInALaterBlock) {
  EXPECT_EQ(run("```console\n$ until [ -e c ]; do sleep 0.01; done; echo c\n```\n"
                "```console terminal=2\n$ touch c\n```\n```console\nc\n$ echo d\nd\n```\n"),
            Lines());
}

TEST(GuideRunner, CtrlCEndsWhatRunsOn) {
  EXPECT_EQ(run("```console\n$ echo up; until [ -e c ]; do sleep 0.01; done; echo c; sleep 1000\nup\n```\n```console "
                "terminal=2\n$ echo b; touch c\nb\n```\n"
                "```console\nc\n^C\n$ echo $?; echo c\n130\nc\n```\n"),
            Lines());
}

}  // namespace
