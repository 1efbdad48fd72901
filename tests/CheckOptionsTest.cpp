// What orvctl check says about executables and lists of tags, to the letter.
#include <gtest/gtest.h>

#include <string>

#include "CheckFixture.h"

TEST(CheckExecutables, NothingIsSaidOfWellFormedOnes) {
  EXPECT_EQ(
      findingsOf(checkExecutableText("/opt/bin/agent -v -p 5#agent.online|/opt/bin/logger|  /usr/bin/watcher --once")),
      Lines{});
}

TEST(CheckExecutables, NothingAtAll) {
  EXPECT_EQ(findingsOf(checkExecutableText("")),
            (Lines{"whole warning no-definitions: there is no executable in it",
                   "  the daemon starts none and goes on with the applications", "  path arguments#tag"}));
}

TEST(CheckExecutables, TooManyBytes) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent " + std::string(245, 'a'))),
            (Lines{"1:256+1 error cut-field: the executables have 256 bytes, 1 more than fit",
                   "  the daemon reads the first 255, wherever that cuts them",
                   "  at most 255 bytes for all executables together"}));
}

TEST(CheckExecutables, AFourthExecutable) {
  EXPECT_EQ(findingsOf(checkExecutableText("/a|/b|/c|/d#d.online")),
            (Lines{"1:10+11 error too-many-definitions: more than 3 executables",
                   "  the daemon starts none of them, and no application either",
                   "  at most 3 executables, and nothing behind the last; others belong into the definition file"}));
}

TEST(CheckExecutables, AFourthThatIsBlank) {
  EXPECT_EQ(findingsOf(checkExecutableText("/a|/b|/c| ")),
            (Lines{"1:11+0 error too-many-definitions: more than 3 executables",
                   "  the daemon starts none of them, and no application either",
                   "  at most 3 executables, and nothing behind the last; others belong into the definition file"}));
}

TEST(CheckExecutables, EmptyOnesTakeNoPlace) {
  EXPECT_EQ(findingsOf(checkExecutableText("/a| |/b|#t|/c")),
            (Lines{"1:5+0 warning empty-path: a definition of blanks", "  the daemon passes over it", "  nothing",
                   "1:9+2 warning empty-path: a definition without a path",
                   "  the daemon passes over it: nothing is started, no tag is waited for", "  path arguments#tag"}));
}

TEST(CheckExecutables, ATabForABlank) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent\t-v")),
            (Lines{"1:11+1 error tab: a tab in the path",
                   "  only a blank ends the path: the daemon starts \"/opt/agent\\t-v\"", "  a blank"}));
}

TEST(CheckExecutables, AHashInTheArguments) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent -c #5#agent.online")),
            (Lines{"1:15+1 warning hash: a \"#\" that does not begin the online tag",
                   "  the tag begins behind the last \"#\"; this one belongs to the path or the arguments",
                   "  one \"#\", in front of the tag"}));
}

TEST(CheckExecutables, NoTagBehindTheHash) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent#")),
            (Lines{"1:11+1 warning empty-tag: no online tag behind the \"#\"",
                   "  the daemon does not wait for the executable", "  the tag, or no \"#\""}));
}

TEST(CheckExecutables, ATagThatIsTooLong) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent#" + std::string(82, 't'))),
            (Lines{"1:92+2 error cut-field: the online tag has 82 bytes, 2 more than fit",
                   "  the daemon waits for a tag called \"ttttttttttttttttttttttttt...ttttttttttttttttttttttttt\"",
                   "  a tag of at most 80 bytes"}));
}

TEST(CheckExecutables, ABlankBehindTheTag) {
  EXPECT_EQ(
      findingsOf(checkExecutableText("/opt/agent#agent.online |/opt/logger")),
      (Lines{"1:24+1 error stray-blank: a blank behind the online tag",
             "  nothing is taken off: the daemon waits for a tag called \"agent.online \"", "  \"agent.online\""}));
}

TEST(CheckExecutables, AComma) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent -l 1,2#agent.online")),
            (Lines{"1:16+1 error comma: a comma in the executables",
                   "  in the start-up string it ends the value: the daemon reads \"2#agent.online\" as the next key",
                   "  arguments without commas, or a file that holds them"}));
}

TEST(CheckExecutables, AQuoteWithoutItsPair) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent \"a b")),
            (Lines{"1:12+4 error quote: a quote without its pair, or a backslash at the end",
                   "  the platform does not start a program with the arguments \"\"a b\"",
                   "  the quotes in pairs, or none"}));
}

TEST(CheckExecutables, ASecondOfTheSamePath) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/agent -a|/opt/agent -b")),
            (Lines{"1:15+10 warning same-name: a second executable \"/opt/agent\"",
                   "  their EUs have one name: events and logs cannot be told apart",
                   "  a symbolic link with a name of its own"}));
}

TEST(CheckExecutables, ATagOfTwo) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/a#on|/opt/b#on")),
            (Lines{"1:18+2 warning shared-tag: the online tag is also that of executable \"/opt/a\"",
                   "  the daemon takes both for online as soon as one of them sets it", "  a tag of its own"}));
}

TEST(CheckExecutables, TheReadyTagOfItself) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/a#eu./opt/a.ready")), Lines{});
}

TEST(CheckExecutables, BytesThatAreNoUtf8) {
  EXPECT_EQ(findingsOf(checkExecutableText("/opt/\xff#\xfe")),
            (Lines{"1:6+1 warning not-utf8: bytes that are no UTF-8 in the path",
                   "  the daemon keeps them as they are; logs show them as \\xff, and JSON cannot hold them",
                   "  the text in UTF-8", "1:8+1 warning not-utf8: bytes that are no UTF-8 in the online tag",
                   "  the daemon keeps them as they are; logs show them as \\xfe, and JSON cannot hold them",
                   "  the text in UTF-8"}));
}

TEST(CheckTags, NothingIsSaidOfAWellFormedList) {
  EXPECT_EQ(findingsOf(checkTagText("a=1,b=hello,c=-5,d=0x10,e=1.2.3,f=0")), Lines{});
}

TEST(CheckTags, NothingAtAll) {
  EXPECT_EQ(findingsOf(checkTagText("")),
            (Lines{"whole warning no-definitions: there is no tag in it", "  the daemon sets none", "  tag=value"}));
}

TEST(CheckTags, ANameWithoutAValue) {
  EXPECT_EQ(findingsOf(checkTagText("a=1,b")), (Lines{"1:5+1 warning no-value: the tag \"b\" has no value",
                                                      "  the daemon does not set it", "  tag=1, for instance"}));
}

TEST(CheckTags, AnEmptyValue) {
  EXPECT_EQ(findingsOf(checkTagText("a=,b=1")),
            (Lines{"1:2+2 warning separator: \"=,\" where \"=\" belongs",
                   "  \"=\" and \",\" separate alike, and several count as one: names and values simply alternate",
                   "  tag=value,tag=value; a value can be neither empty nor hold \"=\" or \",\"",
                   "1:6+1 warning no-value: the tag \"1\" has no value", "  the daemon does not set it",
                   "  tag=1, for instance"}));
}

TEST(CheckTags, AnEqualsSignInAValue) {
  EXPECT_EQ(findingsOf(checkTagText("a=b=c,d=1")),
            (Lines{"1:4+1 warning separator: \"=\" where \",\" belongs",
                   "  \"=\" and \",\" separate alike, and several count as one: names and values simply alternate",
                   "  tag=value,tag=value; a value can be neither empty nor hold \"=\" or \",\"",
                   "1:9+1 warning no-value: the tag \"1\" has no value", "  the daemon does not set it",
                   "  tag=1, for instance"}));
}

TEST(CheckTags, ACommaForAnEqualsSign) {
  EXPECT_EQ(findingsOf(checkTagText("a,1,b,2")),
            (Lines{"1:2+1 warning separator: \",\" where \"=\" belongs",
                   "  \"=\" and \",\" separate alike, and several count as one: names and values simply alternate",
                   "  tag=value,tag=value; a value can be neither empty nor hold \"=\" or \",\""}));
}

TEST(CheckTags, ANumberBeyond32Bits) {
  EXPECT_EQ(findingsOf(checkTagText("a=99999999999")),
            (Lines{"1:3+11 warning number-as-text: \"99999999999\" becomes a text",
                   "  it is no whole number from -2147483648 to 2147483647, in decimal, octal or hexadecimal",
                   "  a number of that kind, where one is meant"}));
}

TEST(CheckTags, AnOctalNumber) {
  EXPECT_EQ(findingsOf(checkTagText("a=010")),
            (Lines{"1:3+3 warning octal-number: \"010\" is octal: it begins with 0", "  the daemon reads 8", "  10"}));
}

TEST(CheckTags, DigitsThatAreNotOctal) {
  EXPECT_EQ(findingsOf(checkTagText("a=08")),
            (Lines{"1:3+2 warning number-as-text: \"08\" becomes a text",
                   "  it is no whole number from -2147483648 to 2147483647, in decimal, octal or hexadecimal",
                   "  a number of that kind, where one is meant"}));
}

TEST(CheckTags, ABlankBehindAComma) {
  EXPECT_EQ(findingsOf(checkTagText("a=1, b=2")),
            (Lines{"1:5+1 warning stray-blank: a blank in front of the tag",
                   "  nothing is taken off: the tag is called \" b\"", "  \"b\""}));
}

TEST(CheckTags, ABlankBehindANumber) {
  EXPECT_EQ(findingsOf(checkTagText("a=1 ,b=2")),
            (Lines{"1:3+2 warning number-as-text: \"1 \" becomes a text",
                   "  it is no whole number from -2147483648 to 2147483647, in decimal, octal or hexadecimal",
                   "  a number of that kind, where one is meant"}));
}

TEST(CheckTags, ARepeatedTag) {
  EXPECT_EQ(findingsOf(checkTagText("a=1,a=2")), (Lines{"1:5+1 warning repeated-tag: the tag \"a\" stands there again",
                                                        "  the last value counts", "  the tag once"}));
}

TEST(CheckTags, ANameThatThePlatformRefuses) {
  EXPECT_EQ(findingsOf(checkTagText(std::string(257, 'a') + "=1")),
            (Lines{"1:256+2 error tag-refused: the name of the tag has 257 bytes, 2 more than the platform takes",
                   "  the platform refuses the tag, and the daemon goes on without it", "  at most 255 bytes"}));
}

TEST(CheckTags, ATextThatThePlatformRefuses) {
  EXPECT_EQ(findingsOf(checkTagText("a=" + std::string(4096, 'x'))),
            (Lines{"1:4098+1 error tag-refused: the value has 4096 bytes, 1 more than the platform takes",
                   "  the platform refuses the tag, and the daemon goes on without it", "  at most 4095 bytes"}));
}

TEST(CheckTags, ATagThatForbidsTheApplications) {
  EXPECT_EQ(findingsOf(checkTagText("sys.repair.center.reset=0,sys.configuration.reset=1")),
            (Lines{"1:1+23 warning forbids-applications: this tag forbids the start of applications",
                   "  that it is set is enough, whatever its value: the daemon does not read the definition file",
                   "  the list without it, unless that is meant",
                   "1:27+23 warning forbids-applications: this tag forbids the start of applications",
                   "  that it is set is enough, whatever its value: the daemon does not read the definition file",
                   "  the list without it, unless that is meant"}));
}

TEST(CheckTags, AWatchdogThatIsNotDisabled) {
  EXPECT_EQ(findingsOf(checkTagText("orv.service.aapro.watchdog_enabled=0")),
            (Lines{"1:36+1 warning enables-watchdog: this enables board resets, though the value says no",
                   "  that the tag is set is enough, whatever its value",
                   "  the list without it, which leaves board resets disabled"}));
}

TEST(CheckTags, AWatchdogThatIsEnabled) {
  EXPECT_EQ(findingsOf(checkTagText("orv.service.aapro.watchdog_enabled=1")), Lines{});
}

TEST(CheckTags, AFileNameThatIsANumber) {
  EXPECT_EQ(findingsOf(checkTagText("app.hwapi.appcfg.filename=5")),
            (Lines{"1:27+1 warning file-name-is-number: the name of the definition file is a number",
                   "  the daemon asks for a text, finds none and reads the default file",
                   "  a path, such as /etc/orv/AppDef.txt"}));
}

TEST(CheckTags, ANumberBeyond16BitsInAShortList) {
  EXPECT_EQ(findingsOf(checkTagText("a=0x10004")), Lines{});
  EXPECT_EQ(findingsOf(checkShortTagText("a=65535,b=-32768,c=0x10004")),
            (Lines{"1:20+7 warning number-too-large: \"0x10004\" does not fit into the value",
                   "  the daemon goes on with 4", "  a number that fits"}));
}
