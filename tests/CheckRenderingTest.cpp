// The result of a check as it is shown: excerpts of lines, the text for people, the JSON for programs.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "Applications.h"
#include "CheckFixture.h"
#include "Executables.h"
#include "FreshDirectory.h"
#include "Terminal.h"
#include "check/Excerpt.h"

namespace {

using nlohmann::json;
using orv::checking::Excerpt;
using orv::checking::EXCERPT_COLUMNS;
using orv::checking::excerptOf;

// The line, and the marks below it.
Lines excerpt(const std::string &line, size_t column, size_t length) {
  const Excerpt result = excerptOf(line, column, length);
  return {result.line, result.marks};
}

std::string text(const std::string &definitions) {
  return orv::checkText(orv::checkDefinitionText(definitions, "AppDef.txt", textsAlone()));
}

}  // namespace

TEST(CheckExcerpt, MarksAPart) {
  EXPECT_EQ(excerpt("abcdef", 3, 2), (Lines{"abcdef",  //
                                            "  ^~"}));
}

TEST(CheckExcerpt, MarksAPlace) {
  EXPECT_EQ(excerpt("abc", 2, 0), (Lines{"abc", " ^"}));
  EXPECT_EQ(excerpt("abc", 4, 0), (Lines{"abc", "   ^"}));
  EXPECT_EQ(excerpt("", 1, 0), (Lines{"", "^"}));
}

TEST(CheckExcerpt, TabsGoToTheNextStop) {
  EXPECT_EQ(excerpt("a\tb\tc", 3, 1), (Lines{"a       b       c",  //
                                             "        ^"}));
  EXPECT_EQ(excerpt("a\tb", 2, 1), (Lines{"a       b",  //
                                          " ^~~~~~~"}));
}

TEST(CheckExcerpt, WideCharactersHaveTwoColumns) {
  EXPECT_EQ(excerpt("\xe7\x84\xa1\xe7\xb7\x9ax", 7, 1), (Lines{"\xe7\x84\xa1\xe7\xb7\x9ax",  //
                                                               "    ^"}));
  EXPECT_EQ(excerpt("\xe7\x84\xa1x", 1, 3), (Lines{"\xe7\x84\xa1x", "^~"}));
}

TEST(CheckExcerpt, CombiningCharactersHaveNone) {
  EXPECT_EQ(excerpt("e\xcc\x81x", 4, 1), (Lines{"e\xcc\x81x", " ^"}));
}

TEST(CheckExcerpt, NothingCommandsATerminal) {
  EXPECT_EQ(excerpt("a\x1b[2Jb\xff", 7, 1), (Lines{"a\\x1b[2Jb\\xff",  //
                                                   "         ^~~~"}));
}

TEST(CheckExcerpt, OfALongLineOnlyWhatIsNear) {
  const std::string line = std::string(100, 'a') + "X" + std::string(100, 'b');
  EXPECT_EQ(excerpt(line, 101, 1),
            (Lines{"..." + std::string(40, 'a') + "X" + std::string(59, 'b') + "...", std::string(43, ' ') + "^"}));
  EXPECT_EQ(excerpt(line, 1, 1), (Lines{std::string(100, 'a') + "...", "^"}));
  EXPECT_EQ(excerpt(line, 201, 1), (Lines{"..." + std::string(99, 'b') + "b", std::string(102, ' ') + "^"}));
}

TEST(CheckExcerpt, WhatIsTooLongIsMarkedAsFarAsItIsShown) {
  const Lines lines = excerpt(std::string(300, 'a'), 1, 300);
  EXPECT_EQ(lines[1], "^" + std::string(EXCERPT_COLUMNS - 1, '~'));
}

TEST(CheckText, AFileWithoutMistakes) {
  EXPECT_EQ(text("#name;path\nradio;/bin/radio;\"-b 7\";0;3;radio.online\npump;/bin/pump;;;;\n"),
            "AppDef.txt: 2 records\n"
            "  line  name   path        arguments  reserved  flags  online tag\n"
            "  2     radio  /bin/radio  -b 7       0         3      radio.online\n"
            "  3     pump   /bin/pump              0         0\n"
            "\n"
            "The start-up waits for 1 online tag: at worst 4 min, when none is set in time and no reset ends it.\n"
            "Nothing to complain about.\n");
}

TEST(CheckText, MistakesStandBelowTheRecords) {
  EXPECT_EQ(
      text("radio;/bin/radio;;0;4;\npump;;;0;0;\n"),
      "AppDef.txt: 2 records\n"
      "  line  name   path        arguments  reserved  flags  online tag\n"
      "  1     radio  /bin/radio             0         4\n"
      "  2     pump                          0         0\n"
      "\n"
      "AppDef.txt:1:21: warning: flags 4 have bits that nobody reads [unknown-flags]\n"
      "    1 | radio;/bin/radio;;0;4;\n"
      "      |                     ^\n"
      "      why: the daemon looks at 1 (a failure raises an error) and at 2 (a failure resets the board), and at "
      "nothing else\n"
      "      instead: 0, which does the same\n"
      "\n"
      "AppDef.txt:2:6: error: the path is empty [empty-path]\n"
      "    2 | pump;;;0;0;\n"
      "      |      ^\n"
      "      why: the daemon passes over the record without a word: nothing is started, no tag is waited for\n"
      "      instead: the path of the program\n"
      "\n"
      "The start-up waits for no online tag.\n"
      "1 error, 1 warning.\n");
}

TEST(CheckText, AFindingAboutTheWholeHasNoLine) {
  EXPECT_EQ(text(""),
            "AppDef.txt: the daemon reads nothing\n"
            "\n"
            "AppDef.txt: warning: there is no application in it [no-definitions]\n"
            "      why: the daemon starts nothing and reports that the application start-up is complete\n"
            "      instead: a line for each application: name;path;arguments;0;flags;tag\n"
            "\n"
            "The start-up waits for no online tag.\n"
            "1 warning.\n");
}

TEST(CheckText, AListOfTagsStartsNothing) {
  EXPECT_EQ(orv::checkText(checkTagText("a=1,b=x")),
            "--tags: what the daemon makes of it\n"
            "  tag  type    value\n"
            "  a    u32     1\n"
            "  b    string  x\n"
            "\n"
            "Nothing to complain about.\n");
}

TEST(CheckText, TheRecordAsTheStartUpStringLeavesIt) {
  EXPECT_EQ(
      orv::checkText(checkStartupText("nid=0x1011,cename=master,masterip=10.0.0.1,slavenids=0x2011:10.0.0.2:15156,"
                                      "notifreceiver=0xf011315,executable=/a#b,printip=0x7f000001")),
      "--startup: what the daemon makes of it\n"
      "  what                             value\n"
      "  nid                              0x1011\n"
      "  masterip                         10.0.0.1\n"
      "  printip                          0x7f000001\n"
      "  executable                       /a#b\n"
      "  notifreceiver                    0xf011315\n"
      "  variable ORV_CE_NAME             master\n"
      "  tag sys.ce.name                  master\n"
      "  tag orv.demo.slave1nid           8209\n"
      "  tag orv.demo.slave1ip            10.0.0.2\n"
      "  tag orv.demo.slave1gwport        15156\n"
      "  tag orv.demo.numberofslavenodes  1\n"
      "\n"
      "Nothing to complain about.\n");
}

TEST(CheckText, ColoursWhereTheOutputHasThem) {
  orv::useColours(orv::ColourUse::ALWAYS);
  const std::string coloured = text("a;;;;;\n");
  orv::useColours(orv::ColourUse::NEVER);
  EXPECT_NE(coloured.find("\x1b[1mAppDef.txt:1:3:\x1b[0m \x1b[31merror:\x1b[0m the path is empty"), std::string::npos);
  EXPECT_NE(coloured.find("\x1b[32m  ^\x1b[0m\n"), std::string::npos);
  EXPECT_EQ(text("a;;;;;\n").find('\x1b'), std::string::npos);
}

TEST(CheckJson, HoldsAllThatTheTextShows) {
  const json result =
      json::parse(orv::checkJson(orv::checkDefinitionText("radio;/bin/radio;\"-b\";0;4;on\n", "A\x1b", textsAlone())));
  EXPECT_EQ(result, json::parse(R"({
    "inputs": [{"name": "A\u001b", "kind": "definitions", "problem": null, "records": [
      {"line": 1, "name": "radio", "path": "/bin/radio", "args": "-b", "reserved": 0, "flags": 4, "online_tag": "on"}]}],
    "findings": [{"severity": "warning", "kind": "unknown-flags", "file": "A\u001b", "line": 1, "column": 25, "length": 1,
      "text": "radio;/bin/radio;\"-b\";0;4;on", "what": "flags 4 have bits that nobody reads",
      "why": "the daemon looks at 1 (a failure raises an error) and at 2 (a failure resets the board), and at nothing else",
      "instead": "0, which does the same"}],
    "errors": 0, "warnings": 1, "awaited_tags": 1, "longest_start_ms": 240000})"));
}

TEST(CheckJson, AFindingAboutTheWholeHasNoPlace) {
  const json result = json::parse(orv::checkJson(orv::checkDefinitionText("", "A", textsAlone())));
  EXPECT_EQ(result["inputs"][0]["records"], json::array());
  for (const char *field : {"line", "column", "length", "text"})
    EXPECT_TRUE(result["findings"][0][field].is_null()) << field;
}

TEST(CheckJson, BytesThatAreNoUtf8AreReplaced) {
  const json result = json::parse(orv::checkJson(orv::checkDefinitionText("a\xff;/p;;0;0;\n", "A", textsAlone())));
  EXPECT_EQ(result["inputs"][0]["records"][0]["name"], "a\xef\xbf\xbd");
}

TEST(CheckWaits, EachApplicationHasItsOwnTimeAndTheExecutablesHaveOneTogether) {
  const FreshDirectory directory;
  orv::CheckRequest request;
  request.files = {directory.write("AppDef.txt", "a;/a;;0;0;on.a\nb;/b;;0;0;on.b\nc;;;0;0;on.c\nd;/d;;0;0;\n")};
  EXPECT_EQ(orv::check(request, textsAlone()).longestStartMs, 2 * APP_ONLINE_TIMEOUT_MS);
  request.executables = {"/x#on.x|/y#on.y|/z"};
  const orv::CheckResult result = orv::check(request, textsAlone());
  EXPECT_EQ(result.awaitedTags, 4U);
  EXPECT_EQ(result.longestStartMs, 2 * APP_ONLINE_TIMEOUT_MS + EXE_ONLINE_TIMEOUT_MS);
}

TEST(CheckTogether, TheInputsAreComparedWithEachOther) {
  const FreshDirectory directory;
  orv::CheckRequest request;
  const std::string file =
      directory.write("AppDef.txt", "a;/a;;0;0;on.x\nb;/b;;0;0;set.early\nc;/c;;0;0;eu./x.ready\n");
  request.files = {file};
  request.executables = {"/x#on.x"};
  request.tagLists = {"set.early=0"};
  EXPECT_EQ(
      findingsOf(orv::check(request, textsAlone())),
      (Lines{"1:11+4 warning shared-tag: the online tag is also that of executable \"/x\" (--executable)",
             "  the daemon takes both for online as soon as one of them sets it", "  a tag of its own",
             "2:11+9 warning tag-already-set: the online tag is set by --tags already",
             "  the daemon does not wait for application \"b\" at all", "  a tag that only the program sets",
             "3:11+11 warning ready-tag-of-another: the online tag is set when executable \"/x\" (--executable) is "
             "ready",
             "  the daemon takes application \"c\" for online though it may not be", "  eu.c.ready"}));
}

TEST(CheckTogether, TheTagsOfAStartUpStringAreSetEarlyToo) {
  const FreshDirectory directory;
  orv::CheckRequest request;
  request.files = {directory.write("AppDef.txt", "a;/a;;0;0;sys.ce.name\n")};
  request.startups = {"cename=x"};
  const Lines findings = findingsOf(orv::check(request, textsAlone()));
  ASSERT_EQ(findings.size(), 3U);
  EXPECT_EQ(findings[0], "1:11+11 warning tag-already-set: the online tag is set by --startup already");
}
