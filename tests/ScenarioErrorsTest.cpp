// Mistakes in scenario files: each is reported at its place, with what to do about it.
#include <gtest/gtest.h>

#include <string>

#include "ScenarioFile.h"

namespace {

using orv::sim::ScenarioError;

// "LINE:COLUMN: MESSAGE" of a text that has to be refused.
std::string refusal(const std::string &text) {
  ScenarioError error;
  EXPECT_FALSE(orv::sim::parseScenario(text, "f", error).has_value()) << text;
  return error.text().substr(2);
}

// The same of a [[program]] with a path on its second line and `keys` from the third on.
std::string programRefusal(const std::string &keys) {
  return refusal("[[program]]\npath = \"/p\"\n" + keys);
}

// The same of a [[call]] with `keys` from the second line on.
std::string callRefusal(const std::string &keys) {
  return refusal("[[call]]\n" + keys);
}

const std::string DURATION = "a duration (milliseconds as an integer from 0, or \"250ms\", \"1.5s\", \"2min\", \"1h\")";
const std::string SIGNAL = "a signal (a name such as \"SIGTERM\" or a number from 1 to 64)";
const std::string TAG_VALUE = "an integer, a text, {u16 = ...} or {u32 = ...}";

}  // namespace

TEST(ScenarioErrors, TextNamesFileLineAndColumn) {
  ScenarioError error;
  EXPECT_FALSE(orv::sim::parseScenario("seed = 1\n\n  name = 5", "dir/node.toml", error).has_value());
  EXPECT_EQ(error.file, "dir/node.toml");
  EXPECT_EQ(error.line, 3u);
  EXPECT_EQ(error.column, 10u);
  EXPECT_EQ(error.message, "\"name\" is an integer, expected a text (in quotes)");
  EXPECT_EQ(error.text(), "dir/node.toml:3:10: \"name\" is an integer, expected a text (in quotes)");
}

TEST(ScenarioErrors, FirstMistakeInTheFileIsReported) {
  EXPECT_EQ(refusal("seed = true\nname = 5\nend_at = -1").substr(0, 14), "1:8: \"seed\" is");
  EXPECT_EQ(refusal("[[signal]]\nname = \"SIGTERM\"\n[[call]]\n").substr(0, 4), "1:1:");
  EXPECT_EQ(programRefusal("start = -1\nexti = 3").substr(0, 4), "3:9:");
}

TEST(ScenarioErrors, ColumnsCountCharacters) {
  EXPECT_EQ(refusal("tags = {\"\u00e4\u00f6\" = 1, b = true}").substr(0, 5), "1:23:");
}

TEST(ScenarioErrors, WhatIsNoTomlIsReportedWhereItEnds) {
  EXPECT_EQ(refusal("seed = 1\nname = \"a").substr(0, 15), "2:10: not TOML:");
  EXPECT_EQ(refusal("seed = \n").substr(0, 14), "1:8: not TOML:");
  EXPECT_EQ(refusal("[reset\n").substr(0, 14), "1:7: not TOML:");
  EXPECT_EQ(refusal("seed = 99999999999999999999\n").find("not TOML:"), 6u);
  EXPECT_EQ(refusal("name = \"\xff\"\n").find("not TOML:"), 5u);
}

TEST(ScenarioErrors, KeyGivenTwiceIsNoToml) {
  EXPECT_NE(refusal("seed = 1\nseed = 2\n").find("not TOML:"), std::string::npos);
  EXPECT_NE(refusal("[reset]\n[reset]\n").find("not TOML:"), std::string::npos);
}

TEST(ScenarioErrors, UnknownKeyIsRefusedAtEveryLevel) {
  EXPECT_EQ(refusal("[[progam]]\n"), "1:3: unknown key \"progam\" (did you mean \"program\"?)");
  EXPECT_EQ(refusal("\nsead = 1"), "2:1: unknown key \"sead\" (did you mean \"seed\"?)");
  EXPECT_EQ(refusal("[reset]\nresutl = 1"), "2:1: unknown key \"resutl\" in [reset] (did you mean \"result\"?)");
  EXPECT_EQ(refusal("[[tag]]\nname = \"a\"\nat = 1\nvalu = 1"),
            "4:1: unknown key \"valu\" in [[tag]] (did you mean \"value\"?)");
  EXPECT_EQ(refusal("[[file]]\nname = \"a\"\ntext = \"\"\nsorce = \"x\""),
            "4:1: unknown key \"sorce\" in [[file]] (did you mean \"source\"?)");
  EXPECT_EQ(refusal("[[config_file]]\nname = \"a\"\ntag = {}"),
            "3:1: unknown key \"tag\" in [[config_file]] (did you mean \"tags\"?)");
  EXPECT_EQ(programRefusal("arg = \"\""), "3:1: unknown key \"arg\" in [[program]] (did you mean \"args\"?)");
  EXPECT_EQ(programRefusal("sets = [{tag = \"a\", afer = 1}]"),
            "3:21: unknown key \"afer\" in an element of \"sets\" (did you mean \"after\"?)");
  EXPECT_EQ(callRefusal("name = \"sem_post\"\nresult = 1\noccurence = 1"),
            "4:1: unknown key \"occurence\" in [[call]] (did you mean \"occurrence\"?)");
  EXPECT_EQ(refusal("[[signal]]\nname = 1\nat = 1\nafterline = \"\""),
            "4:1: unknown key \"afterline\" in [[signal]] (did you mean \"after_line\"?)");
  EXPECT_EQ(refusal("[[expect_message]]\nid = 1\nsendr = 1"),
            "3:1: unknown key \"sendr\" in [[expect_message]] (did you mean \"sender\"?)");
  EXPECT_EQ(refusal("[tags]\na = {u61 = 1}"),
            "2:6: unknown key \"u61\" in the value of tag \"a\" (did you mean \"u16\"?)");
}

TEST(ScenarioErrors, UnknownKeyNearNoneIsRefusedWithAllThatThereAre) {
  EXPECT_EQ(refusal("[reset]\nwobble = 1"),
            "2:1: unknown key \"wobble\" in [reset] (there are result and takes_effect)");
  EXPECT_EQ(refusal("wobbling = 1"),
            "1:1: unknown key \"wobbling\" (there are name, seed, ungraceful_count, grace_time, end_signal, end_at, "
            "max_operations, tags, rad, reset, tag, file, config_file, program, call, signal and expect_message)");
}

TEST(ScenarioErrors, TypesAreChecked) {
  EXPECT_EQ(refusal("seed = 1.5"),
            "1:8: \"seed\" is a number with a fraction, expected an integer from 0 to 9223372036854775807");
  EXPECT_EQ(refusal("ungraceful_count = \"1\""),
            "1:20: \"ungraceful_count\" is a text, expected an integer from 0 to 4294967295");
  EXPECT_EQ(refusal("end_at = 2024-01-01"), "1:10: \"end_at\" is a date or time, expected " + DURATION);
  EXPECT_EQ(refusal("end_signal = true"), "1:14: \"end_signal\" is a boolean, expected " + SIGNAL + " or \"none\"");
  EXPECT_EQ(refusal("tags = []"), "1:8: \"tags\" is an array, expected a table of tags (NAME = VALUE)");
  EXPECT_EQ(refusal("rad = 1"), "1:7: \"rad\" is an integer, expected a table of RAD parameters (NUMBER = VALUE)");
  EXPECT_EQ(refusal("[[reset]]\n"), "1:1: \"reset\" is an array, expected a table ([reset])");
  EXPECT_EQ(refusal("[program]\n"),
            "1:1: \"program\" is a table, expected any number of tables, each under [[program]]");
  EXPECT_EQ(refusal("file = [1]"), "1:9: an element of \"file\" is an integer, expected a table (write [[file]])");
  EXPECT_EQ(programRefusal("args = 1"), "3:8: \"args\" is an integer, expected a text (in quotes)");
  EXPECT_EQ(programRefusal("wait_status_written = 1"),
            "3:23: \"wait_status_written\" is an integer, expected true or false");
  EXPECT_EQ(programRefusal("runs_for = true"),
            "3:12: \"runs_for\" is a boolean, expected " + DURATION + " or \"forever\"");
  EXPECT_EQ(programRefusal("sets = \"a\""),
            "3:8: \"sets\" is a text, expected an array of tags, each a name or {tag = "
            "..., after = ..., value = ...}");
  EXPECT_EQ(programRefusal("sets = [1]"),
            "3:9: an element of \"sets\" is an integer, expected tags, each a name or "
            "{tag = ..., after = ..., value = ...}");
  EXPECT_EQ(refusal("[[file]]\nname = \"a\"\nbytes = \"\""),
            "3:9: \"bytes\" is a text, expected an array of integers from 0 to 255");
  EXPECT_EQ(refusal("[tags]\na = 1.5"), "2:5: tag \"a\" is a number with a fraction, expected " + TAG_VALUE);
  EXPECT_EQ(refusal("[tags]\na = {}"), "2:5: tag \"a\" is an empty table, expected " + TAG_VALUE);
}

TEST(ScenarioErrors, RangesAreChecked) {
  EXPECT_EQ(refusal("seed = -1"), "1:8: \"seed\" is -1, expected an integer from 0 to 9223372036854775807");
  EXPECT_EQ(refusal("seed = \"18446744073709551616\""),
            "1:8: \"seed\" is \"18446744073709551616\", expected a number from 0 to 18446744073709551615 (decimal or "
            "0x...)");
  EXPECT_EQ(
      refusal("max_operations = \"many\""),
      "1:18: \"max_operations\" is \"many\", expected a number from 0 to 18446744073709551615 (decimal or 0x...)");
  EXPECT_EQ(refusal("ungraceful_count = 4294967296"),
            "1:20: \"ungraceful_count\" is 4294967296, expected an integer from 0 to 4294967295");
  EXPECT_EQ(refusal("grace_time = 4294967296"), "1:14: \"grace_time\" is too long (the longest is 4294967295ms)");
  EXPECT_EQ(refusal("[tags]\na = -1"), "2:5: tag \"a\" is -1, expected an integer from 0 to 4294967295");
  EXPECT_EQ(refusal("[tags]\na = {u16 = 65536}"), "2:12: \"u16\" is 65536, expected an integer from 0 to 65535");
  EXPECT_EQ(refusal("[rad]\n1 = 4294967296"),
            "2:5: RAD parameter \"1\" is 4294967296, expected an integer from 0 to 4294967295");
  EXPECT_EQ(refusal("[rad]\n4294967296 = 1"),
            "2:1: RAD parameter \"4294967296\" is no number from 0 to 4294967295 "
            "(write it in decimal or as 0x...)");
  EXPECT_EQ(refusal("[rad]\nten = 1"),
            "2:1: RAD parameter \"ten\" is no number from 0 to 4294967295 (write it in decimal or as 0x...)");
  EXPECT_EQ(refusal("[reset]\nresult = 2147483648"),
            "2:10: \"result\" is 2147483648, expected an integer from -2147483648 to 2147483647");
  EXPECT_EQ(programRefusal("exit = 256"), "3:8: \"exit\" is 256, expected an integer from 0 to 255");
  EXPECT_EQ(programRefusal("launch_failure = 0"),
            "3:18: \"launch_failure\" is 0, expected another result (without the key the program can be started)");
  EXPECT_EQ(refusal("[[file]]\nname = \"a\"\nbytes = [0, 256]"),
            "3:13: an element of \"bytes\" is 256, expected an integer from 0 to 255");
  EXPECT_EQ(refusal("[[signal]]\nname = 1\nafter_line = \"a\"\noccurrence = 0"),
            "4:14: \"occurrence\" is 0, expected an integer from 1 to 4294967295");
}

TEST(ScenarioErrors, DurationsSayWhatIsWrongWithThem) {
  const auto refused = [](const std::string &value) { return refusal("end_at = " + value); };
  EXPECT_EQ(refused("-5"), "1:10: \"end_at\" is -5, expected " + DURATION);
  EXPECT_EQ(refused("\"-5s\""), "1:10: \"end_at\" is \"-5s\", which is negative (a duration counts from 0)");
  EXPECT_EQ(refused("\"250\""),
            "1:10: \"end_at\" is \"250\", which has no unit (use ms, s, min or h; an integer "
            "without quotes is milliseconds)");
  EXPECT_EQ(refused("\"5sec\""),
            "1:10: \"end_at\" is \"5sec\", which has the unknown unit \"sec\" (use ms, s, min or h)");
  EXPECT_EQ(refused("\"5 s\""), "1:10: \"end_at\" is \"5 s\", which has the unknown unit \" s\" (use ms, s, min or h)");
  EXPECT_EQ(refused("\"5.s\""), "1:10: \"end_at\" is \"5.s\", which has the unknown unit \".s\" (use ms, s, min or h)");
  EXPECT_EQ(refused("\"\""),
            "1:10: \"end_at\" is \"\", which begins with no number (write \"250ms\", \"1.5s\", "
            "\"2min\" or \"1h\")");
  EXPECT_EQ(refused("\"forever\""),
            "1:10: \"end_at\" is \"forever\", which begins with no number (write \"250ms\", "
            "\"1.5s\", \"2min\" or \"1h\")");
  const std::string finer = ", which is finer than a millisecond (durations are whole milliseconds)";
  EXPECT_EQ(refused("\"0.5ms\""), "1:10: \"end_at\" is \"0.5ms\"" + finer);
  EXPECT_EQ(refused("\"1.0005s\""), "1:10: \"end_at\" is \"1.0005s\"" + finer);
  EXPECT_EQ(refused("\"0.00000001h\""), "1:10: \"end_at\" is \"0.00000001h\"" + finer);
  const std::string longest = ", which is too long (the longest is 9223372036854775807ms)";
  EXPECT_EQ(refused("\"9223372036854775808ms\""), "1:10: \"end_at\" is \"9223372036854775808ms\"" + longest);
  EXPECT_EQ(refused("\"9223372036854775.808s\""), "1:10: \"end_at\" is \"9223372036854775.808s\"" + longest);
  EXPECT_EQ(refused("\"99999999999999999999h\""), "1:10: \"end_at\" is \"99999999999999999999h\"" + longest);
}

TEST(ScenarioErrors, UnknownSignalsAreRefused) {
  EXPECT_EQ(refusal("end_signal = \"SIGTREM\""),
            "1:14: \"end_signal\" is the unknown signal \"SIGTREM\" (did you mean \"SIGTERM\"?)");
  EXPECT_EQ(refusal("end_signal = \"non\""),
            "1:14: \"end_signal\" is the unknown signal \"non\" (did you mean \"none\"?)");
  EXPECT_EQ(programRefusal("signal = \"*\""),
            "3:10: \"signal\" is the unknown signal \"*\" (name one such as \"SIGTERM\", or its number)");
  EXPECT_EQ(programRefusal("stop = 65"), "3:8: \"stop\" is 65, expected " + SIGNAL);
  EXPECT_EQ(programRefusal("signal = 0"), "3:10: \"signal\" is 0, expected " + SIGNAL);
}

TEST(ScenarioErrors, UnknownCallsAreRefused) {
  EXPECT_EQ(callRefusal("name = \"AaFilOpen\"\nresult = 0"),
            "2:8: \"name\" is the unknown call \"AaFilOpen\" (did you mean \"AaFileOpen\"?)");
  EXPECT_EQ(callRefusal("name = \"malloc\"\nresult = 0"),
            "2:8: \"name\" is the unknown call \"malloc\" (the calls are the functions of the platform's headers)");
  for (const std::string name : {"AaErrorExceptionRaise", "AaMemUnRefDbg"}) {
    EXPECT_EQ(callRefusal("name = \"" + name + "\"\nresult = 0"),
              "2:8: \"name\" is \"" + name + "\", which returns nothing (remove the call)");
  }
}

TEST(ScenarioErrors, CallReturnsWhatItsFunctionCan) {
  EXPECT_EQ(callRefusal("name = \"AaFileOpen\"\nresult = 1"), "3:10: \"result\" of AaFileOpen is 1, expected 0");
  EXPECT_EQ(callRefusal("name = \"AaSysComMsgCreate\"\nresult = -1"),
            "3:10: \"result\" of AaSysComMsgCreate is -1, expected 0");
  EXPECT_EQ(callRefusal("name = \"AaSysComGetOwnNid\"\nresult = 65536"),
            "3:10: \"result\" of AaSysComGetOwnNid is 65536, expected an integer from 0 to 65535");
  EXPECT_EQ(callRefusal("name = \"AaFileRead\"\nresult = -1"),
            "3:10: \"result\" of AaFileRead is -1, expected an integer from 0 to 4294967295");
  EXPECT_EQ(callRefusal("result = -1\nname = \"sem_init\""),
            "2:10: \"result\" of sem_init is -1, expected an integer from 0 to 2147483647");
  EXPECT_EQ(callRefusal("name = \"AaFileClose\"\nresult = \"x\""),
            "3:10: \"result\" of AaFileClose is a text, expected an integer from -2147483648 to 2147483647");
}

TEST(ScenarioErrors, ArgumentIsOfTheKindThatItsCallHas) {
  EXPECT_EQ(callRefusal("name = \"sem_wait\"\nresult = 4\nargument = \"a\""),
            "4:12: \"argument\" is given, but calls of sem_wait cannot be told apart by one (remove it)");
  EXPECT_EQ(callRefusal("name = \"AaConfigRadGetValue\"\nresult = 4\nargument = \"a\""),
            "4:12: \"argument\" is \"a\", expected a number from 0 to 4294967295 (decimal or 0x...)");
  EXPECT_EQ(callRefusal("name = \"AaConfigTagIsSet\"\nresult = 4\nargument = 5"),
            "4:12: \"argument\" is an integer, expected a text (in quotes)");
}

TEST(ScenarioErrors, MissingKeysAreReportedAtTheirTable) {
  EXPECT_EQ(refusal("seed = 1\n[[program]]\nexit = 0"),
            "2:1: [[program]] has no \"path\" (add the path of the program)");
  EXPECT_EQ(programRefusal("sets = [{after = 1}]"), "3:9: an element of \"sets\" has no \"tag\" (add the tag's name)");
  EXPECT_EQ(refusal("[[tag]]\nat = 1"), "1:1: [[tag]] has no \"name\" (add the tag's name)");
  EXPECT_EQ(refusal("[[tag]]\nname = \"a\""),
            "1:1: [[tag]] has no \"at\" (add the time at which it is set; what is set "
            "from the beginning belongs into [tags])");
  EXPECT_EQ(refusal("[[file]]\ntext = \"\""),
            "1:1: [[file]] has no \"name\" (add the name under which the daemon opens "
            "it)");
  EXPECT_EQ(refusal("[[file]]\nname = \"a\""), "1:1: [[file]] has no content (add text, bytes or source)");
  EXPECT_EQ(refusal("[[config_file]]\n"),
            "1:1: [[config_file]] has no \"name\" (add the name under which the daemon "
            "reads it)");
  EXPECT_EQ(callRefusal("result = 1"), "1:1: [[call]] has no \"name\" (add the name of the function)");
  EXPECT_EQ(callRefusal("name = \"sem_wait\""), "1:1: [[call]] has no \"result\" (add what it returns)");
  EXPECT_EQ(refusal("[[signal]]\nat = 1"), "1:1: [[signal]] has no \"name\" (add the signal's name)");
  EXPECT_EQ(refusal("[[signal]]\nname = 1"), "1:1: [[signal]] never comes (add at or after_line)");
  EXPECT_EQ(refusal("[[expect_message]]\nsender = 1"), "1:1: [[expect_message]] has no \"id\" (add the message's id)");
}

TEST(ScenarioErrors, EmptyNamesAreRefused) {
  const std::string empty = " is empty (nothing has an empty name)";
  EXPECT_EQ(refusal("[[program]]\npath = \"\""), "2:8: \"path\"" + empty);
  EXPECT_EQ(programRefusal("sets = [\"\"]"), "3:9: an element of \"sets\"" + empty);
  EXPECT_EQ(refusal("[[signal]]\nname = 1\nafter_line = \"\""), "3:14: \"after_line\"" + empty);
  EXPECT_EQ(refusal("[tags]\n\"\" = 1"), "2:1: a tag without a name (nothing has an empty name)");
}

TEST(ScenarioErrors, KeysThatContradictEachOtherAreRefused) {
  EXPECT_EQ(programRefusal("signal = 9\nexit = 0"),
            "4:1: \"exit\" conflicts with \"signal\" on line 3 (a program ends in one way)");
  EXPECT_EQ(programRefusal("wait_status = 0\nlaunch_failure = 2\nstop = 1"),
            "4:1: \"launch_failure\" conflicts with \"wait_status\" on line 3 (a program ends in one way)");
  EXPECT_EQ(refusal("[[file]]\nname = \"a\"\ntext = \"\"\nbytes = []"),
            "4:1: \"bytes\" conflicts with \"text\" on line 3 (a file has one content)");
  EXPECT_EQ(refusal("[[signal]]\nname = 1\nat = 1\nafter_line = \"a\""),
            "4:1: \"after_line\" conflicts with \"at\" on line 3 (a signal comes once, at a time or behind a line)");
  EXPECT_EQ(refusal("[[signal]]\nname = 1\nat = 1\noccurrence = 2"),
            "4:1: \"occurrence\" conflicts with \"at\" on line 3 (an occurrence counts lines)");
  EXPECT_EQ(refusal("[tags]\na = {u16 = 1, u32 = 1}"),
            "2:15: \"u32\" conflicts with \"u16\" on line 2 (a tag has one type)");
}

TEST(ScenarioErrors, WhatIsThereTwiceIsRefused) {
  EXPECT_EQ(refusal("[[file]]\nname = \"a\"\ntext = \"\"\n[[file]]\ntext = \"\"\nname = \"a\""),
            "6:8: \"name\" is \"a\", which is there already (keep one)");
  EXPECT_EQ(refusal("[[config_file]]\nname = \"a\"\n[[config_file]]\nname = \"a\""),
            "4:8: \"name\" is \"a\", which is there already (keep one)");
  EXPECT_EQ(refusal("[rad]\n0x10 = 1\n16 = 1"),
            "3:1: RAD parameter \"16\" has a value already under another spelling (keep one of them)");
}

TEST(ScenarioErrors, TagNamesWithDotsNeedQuotes) {
  const std::string why = " has dots and no quotes (write it in quotes; a typed value is {u16 = ...})";
  EXPECT_EQ(refusal("[tags]\norv.service.enabled = 1"), "2:1: tag name \"orv.service.enabled\"" + why);
  EXPECT_EQ(refusal("[tags]\na.u16 = 1"), "2:1: tag name \"a.u16\"" + why);
  EXPECT_EQ(refusal("[tags.a]\nb = 1"), "1:7: tag name \"a.b\"" + why);
  EXPECT_EQ(refusal("[[config_file]]\nname = \"f\"\ntags = {a.b = 1}"), "3:9: tag name \"a.b\"" + why);
}

TEST(ScenarioErrors, LongTextsAreCutInMessages) {
  EXPECT_EQ(refusal("end_signal = \"" + std::string(1000, 'x') + "\""),
            "1:14: \"end_signal\" is the unknown signal \"" + std::string(60, 'x') +
                "\"... (name one such as \"SIGTERM\", or its number)");
}

// A part of a key costs the parser a stack frame when it takes its tables down.
TEST(ScenarioErrors, KeysOfVeryManyPartsAreRefused) {
  const std::string why =
      "a key of more than 32 parts (a name with dots is quoted, and a text needs a quote at either end)";
  std::string key = "a";
  for (int i = 0; i < 400000; ++i)
    key += ".a";
  EXPECT_EQ(refusal("seed = 1\n" + key + " = 1"), "2:66: " + why);
  EXPECT_EQ(refusal("name = \"\"\"\nx\\\"\"\"\"\" # ...\nx = {" + key + " = 1}"), "3:71: " + why);
  EXPECT_EQ(refusal("name = '''\n'''\nx = 'a' \n[" + key + "]"), "4:67: " + why);
  EXPECT_EQ(refusal("name = \"a\nx = {" + key + " = 1}"), "2:71: " + why);
  EXPECT_EQ(refusal("x = {a = \"\"\"\"\"\"\", " + key + " = 1}"), "1:84: " + why);
}

// The parser has assertions that these do not hold.
TEST(ScenarioErrors, BracketsThatHoldNothingThatTheyCanAreNoToml) {
  for (const char *text : {"[!tags]", "\n \t[[ =program]]", "[[[program]]]", "[.a]", "\ufeff[\n]", "[]", "[[", "x = [}",
                           "x = [1, }]", "x = {a = ]", "x = {a = [}}"}) {
    EXPECT_NE(refusal(text).find("not TOML:"), std::string::npos) << text;
  }
}

// Where white space could be, the parser takes some of these for impossible.
TEST(ScenarioErrors, CharactersThatAreNotAsciiNeedQuotes) {
  const std::string why = "not TOML: a character that is not ASCII and not in quotes (put it in quotes)";
  EXPECT_EQ(refusal("seed = 0x\u041cF"), "1:10: " + why);
  EXPECT_EQ(refusal("# \u041c\nn\u00e4me = 1"), "2:2: " + why);
  EXPECT_EQ(refusal("name = '\u041c'\u00a0"), "1:11: " + why);
}

TEST(ScenarioErrors, TextThatIsNotAsciiStandsAlone) {
  const std::string why = "no blank before a text that is not all ASCII (put one before its quote)";
  EXPECT_EQ(refusal("seed = 1\"\u041c\""), "1:9: " + why);
  EXPECT_EQ(refusal("seed = 1.'\u041c'"), "1:10: " + why);
  EXPECT_EQ(refusal("seed = -1='\u041c'"), "1:11: " + why);
  EXPECT_EQ(refusal("name=\"\u041c\""), "1:6: " + why);
  ScenarioError error;
  EXPECT_TRUE(orv::sim::parseScenario("tags = {\"\u041c\" = \"a\",\"\u00e4\" = '\u041c'}\nprogram = []", "f", error));
}

TEST(ScenarioErrors, LineThatGoesOnBehindABackslashIsAscii) {
  const std::string why = "a character that is not ASCII behind a backslash (join the lines)";
  EXPECT_EQ(refusal("name = \"\"\"\n\u041c\\ \n \t\u041c\"\"\""), "3:3: " + why);
  EXPECT_EQ(refusal("name = \"\\\u041c\""), "1:10: " + why);
  ScenarioError error;
  const auto scenario = orv::sim::parseScenario("name = \"\"\"\\\\\u041c\\\n  a\"\"\"", "f", error);
  ASSERT_TRUE(scenario.has_value()) << error.text();
  EXPECT_EQ(scenario->name, "\\\u041ca");
}

TEST(ScenarioErrors, DotsOfTextsAndCommentsAreNoParts) {
  const std::string dots(1000, '.');
  const std::string text = "# " + dots + "\nname = \"\\\"" + dots + "\"\n[tags]\na = '" + dots + "'\nb = \"\"\"\n\"" +
                           dots + "\"\"\"\"\nc = '''" + dots + "\n'''\nd = \"\" # " + dots;
  ScenarioError error;
  EXPECT_TRUE(orv::sim::parseScenario(text, "f", error).has_value()) << error.text();
}
