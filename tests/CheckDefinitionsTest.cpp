// What orvctl check says about the definitions of an application definition file, to the letter.
#include <gtest/gtest.h>

#include <string>

#include "CheckFixture.h"

TEST(CheckDefinitions, NothingIsSaidOfAWellFormedFile) {
  EXPECT_EQ(
      definitionFindings(
          "#name;path;args;reserved;flags;tag\n\nradio;/bin/radio;\"-b 7\";0;3;radio.online\nlogger;/bin/logger;;;;\n"),
      Lines{});
}

TEST(CheckDefinitions, ANameThatIsTooLongIsCut) {
  EXPECT_EQ(definitionFindings(std::string(31, 'n') + "XY;/p;;0;0;\n"),
            (Lines{"1:32+2 warning cut-field: the name has 33 bytes, 2 more than fit",
                   "  the daemon goes on with \"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn\": in its log, as name of the EU, and "
                   "in the tag eu.nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn.ready",
                   "  a name of at most 31 bytes"}));
}

TEST(CheckDefinitions, APathThatIsTooLongIsCut) {
  EXPECT_EQ(definitionFindings("n;/" + std::string(254, 'p') + "XYZ;;0;0;\n"),
            (Lines{"1:258+3 error cut-field: the path has 258 bytes, 3 more than fit",
                   "  the daemon starts \"/pppppppppppppppppppppppp...ppppppppppppppppppppppppp\"",
                   "  a path of at most 255 bytes; a symbolic link can lead on"}));
}

TEST(CheckDefinitions, ArgumentsThatAreTooLongAreCut) {
  EXPECT_EQ(definitionFindings("n;/p;\"" + std::string(255, 'a') + "XY\";0;0;\n"),
            (Lines{"1:262+2 warning cut-field: the arguments have 257 bytes, 2 more than fit",
                   "  the program gets \"aaaaaaaaaaaaaaaaaaaaaaaaa...aaaaaaaaaaaaaaaaaaaaaaaaa\"",
                   "  arguments of at most 255 bytes, or a file that holds them"}));
}

TEST(CheckDefinitions, ATagThatIsTooLongIsCut) {
  EXPECT_EQ(definitionFindings("n;/p;;0;0;" + std::string(255, 't') + "X\n"),
            (Lines{"1:266+1 error cut-field: the online tag has 256 bytes, 1 more than fit",
                   "  the daemon waits for a tag called \"ttttttttttttttttttttttttt...ttttttttttttttttttttttttt\"",
                   "  a tag of at most 255 bytes"}));
}

TEST(CheckDefinitions, ALineWithoutSeparators) {
  EXPECT_EQ(definitionFindings("radio /bin/radio\n"),
            (Lines{"1:1+16 error missing-separator: no \";\" in a line that is no comment",
                   "  the daemon makes an empty record of it, which takes one of 64 places and starts nothing",
                   "  name;path;arguments;0;flags;tag, or \"#\" as the first character of the line"}));
}

TEST(CheckDefinitions, APathThatIsNotEnded) {
  EXPECT_EQ(definitionFindings("radio;/bin/radio\n"),
            (Lines{"1:7+10 error missing-separator: no \";\" behind the path",
                   "  without it the path is not read: the record has none, and nothing is started",
                   "  radio;/bin/radio;;0;0;"}));
}

TEST(CheckDefinitions, ArgumentsThatAreNotEnded) {
  EXPECT_EQ(definitionFindings("radio;/bin/radio;-v\n"),
            (Lines{"1:18+2 warning missing-separator: no \";\" behind the arguments",
                   "  \"-v\" is not read, and what is missing is empty or 0", "  radio;/bin/radio;-v;0;0;"}));
}

TEST(CheckDefinitions, NothingBehindThePath) {
  EXPECT_EQ(definitionFindings("radio;/bin/radio;\n"),
            (Lines{"1:18+0 warning missing-separator: no \";\" behind the arguments", "  what is missing is empty or 0",
                   "  radio;/bin/radio;;0;0;"}));
}

TEST(CheckDefinitions, AReservedFieldThatIsNotEnded) {
  EXPECT_EQ(definitionFindings("radio;/bin/radio;-v;0\n"),
            (Lines{"1:21+1 warning missing-separator: no \";\" behind the reserved field",
                   "  \"0\" is not read, and what is missing is empty or 0", "  radio;/bin/radio;-v;0;0;"}));
}

TEST(CheckDefinitions, FlagsThatAreNotEnded) {
  EXPECT_EQ(definitionFindings("radio;/bin/radio;-v;0;3\n"),
            (Lines{"1:23+1 warning missing-separator: no \";\" behind the flags",
                   "  \"3\" is not read, and what is missing is empty or 0", "  radio;/bin/radio;-v;0;3;"}));
}

TEST(CheckDefinitions, ALeftOutReservedField) {
  EXPECT_EQ(
      definitionFindings("radio;/bin/radio;-v;3;radio.online\n"),
      (Lines{"1:21+1 warning reserved-value: the reserved field is 3",
             "  nothing reads it; the flags are the field behind it", "  0",
             "1:23+12 warning missing-separator: no \";\" behind the flags",
             "  \"radio.online\" is not read, and what is missing is empty or 0: the application is not waited for",
             "  the reserved field, 0, before the flags"}));
}

TEST(CheckDefinitions, AnEmptyPath) {
  EXPECT_EQ(definitionFindings("radio;;-v;0;0;radio.online\n"),
            (Lines{"1:7+0 error empty-path: the path is empty",
                   "  the daemon passes over the record without a word: nothing is started, no tag is waited for",
                   "  the path of the program"}));
}

TEST(CheckDefinitions, AnEmptyName) {
  EXPECT_EQ(definitionFindings(";/bin/radio;-v;0;0;\n"),
            (Lines{"1:1+0 warning empty-name: the name is empty",
                   "  log lines, events and raised errors do not say which application they are about", "  a name"}));
}

TEST(CheckDefinitions, ALineThatIsTooLong) {
  EXPECT_EQ(definitionFindings("n;/p;;0;0;" + std::string(849, 't') + "Xm;/q;;0;0;\n"),
            (Lines{"1:266+594 error cut-field: the online tag has 849 bytes, 594 more than fit",
                   "  the daemon waits for a tag called \"ttttttttttttttttttttttttt...ttttttttttttttttttttttttt\"",
                   "  a tag of at most 255 bytes",
                   "1:860+11 error line-too-long: the line goes on behind the 859 bytes that the daemon reads",
                   "  the next byte is lost, and what is behind it is read as a line of its own",
                   "  at most 859 bytes in a line"}));
}

TEST(CheckDefinitions, ACommentThatIsTooLong) {
  EXPECT_EQ(
      definitionFindings("#" + std::string(858, 'c') + "Xm;/q;;0;0;\n"),
      (Lines{"1:860+11 warning line-too-long: the comment goes on behind the 859 bytes that the daemon reads as a line",
             "  what is behind them is read as a definition", "  several lines, each with \"#\" in front"}));
}

TEST(CheckDefinitions, HexadecimalFlags) {
  EXPECT_EQ(definitionFindings("n;/p;;0;0x3;\n"),
            (Lines{"1:10+2 warning bad-number: \"0x3\" is hexadecimal, and numbers in this file are decimal",
                   "  the daemon reads 0 and passes over the rest", "  3"}));
}

TEST(CheckDefinitions, RubbishInANumber) {
  EXPECT_EQ(definitionFindings("n;/p;;0;3x;\n"),
            (Lines{"1:10+1 warning bad-number: \"3x\" is no number", "  the daemon reads 3 and passes over the rest",
                   "  a decimal number"}));
}

TEST(CheckDefinitions, ATextForANumber) {
  EXPECT_EQ(definitionFindings("n;/p;;none;1;\n"),
            (Lines{"1:7+4 warning bad-number: \"none\" is no number", "  the daemon reads 0 and passes over the rest",
                   "  a decimal number"}));
}

TEST(CheckDefinitions, ANumberThatDoesNotFit) {
  EXPECT_EQ(definitionFindings("n;/p;;0;99999999999;\n"),
            (Lines{"1:9+11 warning number-too-large: \"99999999999\" does not fit into the flags",
                   "  the daemon goes on with 2147483647", "  a number that fits"}));
}

TEST(CheckDefinitions, TheGreatestNumberFits) {
  EXPECT_EQ(definitionFindings("n;/p;;0; 2147483647;\n"),
            (Lines{"1:10+10 warning unknown-flags: flags 2147483647 have bits that nobody reads",
                   "  the daemon looks at 1 (a failure raises an error) and at 2 (a failure resets the board), and at "
                   "nothing else",
                   "  3, which does the same"}));
}

TEST(CheckDefinitions, BlanksAroundANumberAreHarmless) {
  EXPECT_EQ(definitionFindings("n;/p;; 0 ; 3 ;\n"), Lines{});
}

TEST(CheckDefinitions, FlagsThatNobodyReads) {
  EXPECT_EQ(definitionFindings("n;/p;;0;5;\n"),
            (Lines{"1:9+1 warning unknown-flags: flags 5 have bits that nobody reads",
                   "  the daemon looks at 1 (a failure raises an error) and at 2 (a failure resets the board), and at "
                   "nothing else",
                   "  1, which does the same"}));
}

TEST(CheckDefinitions, NegativeFlags) {
  EXPECT_EQ(definitionFindings("n;/p;;0;-1;\n"),
            (Lines{"1:9+2 warning unknown-flags: flags -1 have bits that nobody reads",
                   "  the daemon looks at 1 (a failure raises an error) and at 2 (a failure resets the board), and at "
                   "nothing else",
                   "  3, which does the same"}));
}

TEST(CheckDefinitions, AReservedNumber) {
  EXPECT_EQ(definitionFindings("n;/p;;7;1;\n"),
            (Lines{"1:7+1 warning reserved-value: the reserved field is 7",
                   "  nothing reads it; the flags are the field behind it", "  0"}));
}

TEST(CheckDefinitions, AnOpeningQuoteAlone) {
  EXPECT_EQ(definitionFindings("n;/p;\"-a b;0;0;\n"),
            (Lines{"1:6+5 error quote: a quote without its pair",
                   "  the platform does not start a program with the arguments \"\"-a b\"",
                   "  the quotes in pairs, or none"}));
}

TEST(CheckDefinitions, AClosingQuoteAlone) {
  EXPECT_EQ(definitionFindings("n;/p;-a b\";0;0;\n"),
            (Lines{"1:6+5 error quote: a quote without its pair",
                   "  the platform does not start a program with the arguments \"-a b\"\"",
                   "  the quotes in pairs, or none"}));
}

TEST(CheckDefinitions, OneQuote) {
  EXPECT_EQ(definitionFindings("n;/p;\";0;0;\n"),
            (Lines{"1:6+1 warning quote: a quote without its pair", "  the daemon takes it off: there are no arguments",
                   "  the quotes in pairs, or none"}));
}

TEST(CheckDefinitions, TwoQuotedArguments) {
  EXPECT_EQ(definitionFindings("n;/p;\"a b\" \"c d\";0;0;\n"),
            (Lines{"1:6+11 warning quote: the first and the last quote are taken for a pair",
                   "  the daemon takes both off; what remains is \"a b\" \"c d\"",
                   "  \"\"\"a b\" \"c d\"\"\", with a pair around all of it"}));
}

TEST(CheckDefinitions, AQuoteInsideThatIsPaired) {
  EXPECT_EQ(definitionFindings("n;/p;-m \"a b\" -q;0;0;\n"), Lines{});
}

TEST(CheckDefinitions, ASingleQuoteAlone) {
  EXPECT_EQ(definitionFindings("n;/p;don't;0;0;\n"),
            (Lines{"1:6+5 error quote: a quote without its pair",
                   "  the platform does not start a program with the arguments \"don't\"",
                   "  the quotes in pairs, or none"}));
}

TEST(CheckDefinitions, ABackslashAtTheEnd) {
  EXPECT_EQ(definitionFindings("n;/p;a\\;0;0;\n"),
            (Lines{"1:6+2 error arguments: a backslash at the end of the arguments",
                   "  the platform does not start a program with the arguments \"a\\\"",
                   "  arguments without the backslash"}));
}

TEST(CheckDefinitions, QuotesAroundAPath) {
  EXPECT_EQ(definitionFindings("n;\"/p\";;0;0;\n"),
            (Lines{"1:3+4 error quote: a quote in the path",
                   "  quotes are taken off the arguments alone: what the daemon has is \"\"/p\"\"",
                   "  the path without quotes"}));
}

TEST(CheckDefinitions, QuotesAroundANameAndATag) {
  EXPECT_EQ(definitionFindings("\"n\";/p;;0;0;\"t\"\n"),
            (Lines{"1:1+3 warning quote: a quote in the name",
                   "  quotes are taken off the arguments alone: what the daemon has is \"\"n\"\"",
                   "  the name without quotes", "1:13+3 error quote: a quote in the online tag",
                   "  quotes are taken off the arguments alone: what the daemon has is \"\"t\"\"",
                   "  the online tag without quotes"}));
}

TEST(CheckDefinitions, ABlankBehindTheTag) {
  EXPECT_EQ(definitionFindings("n;/p;;0;0;tag \n"),
            (Lines{"1:14+1 error stray-blank: a blank behind the online tag",
                   "  nothing is taken off: the daemon waits for a tag called \"tag \"", "  \"tag\""}));
}

TEST(CheckDefinitions, ATabInFrontOfTheName) {
  EXPECT_EQ(definitionFindings("\tn;/p;;0;0;tag\n"),
            (Lines{"1:1+1 warning stray-blank: a tab in front of the name",
                   "  nothing is taken off: the application is called \"\\tn\"", "  \"n\""}));
}

TEST(CheckDefinitions, BlanksAroundAPath) {
  EXPECT_EQ(definitionFindings("n; /p ;;0;0;\n"),
            (Lines{"1:3+1 error stray-blank: a blank in front of the path",
                   "  nothing is taken off: the daemon starts \" /p \"", "  \"/p\"",
                   "1:6+1 error stray-blank: a blank behind the path",
                   "  nothing is taken off: the daemon starts \" /p \"", "  \"/p\""}));
}

TEST(CheckDefinitions, BlanksAroundArgumentsAreHarmless) {
  EXPECT_EQ(definitionFindings("n;/p; -a ;0;0;\n"), Lines{});
}

TEST(CheckDefinitions, ACommentBehindTheTag) {
  EXPECT_EQ(
      definitionFindings("n;/p;;0;0;tag # the radio\n"),
      (Lines{
          "1:15+11 error comment-in-tag: a comment behind the online tag",
          "  \"#\" begins a comment in the first column alone: the daemon waits for a tag called \"tag # the radio\"",
          "  the comment in a line of its own"}));
}

TEST(CheckDefinitions, AHashInATagIsNoComment) {
  EXPECT_EQ(definitionFindings("n;/p;;0;0;tag#1\n"), Lines{});
}

TEST(CheckDefinitions, ASeparatorInTheTag) {
  EXPECT_EQ(
      definitionFindings("n;/p;;0;0;tag;extra\n"),
      (Lines{"1:14+6 error separator-in-tag: a \";\" in the online tag",
             "  the tag goes to the end of the line: the daemon waits for a tag called \"tag;extra\"", "  \"tag\""}));
}

TEST(CheckDefinitions, ACommentThatIsIndented) {
  EXPECT_EQ(definitionFindings("  # n;/p;;0;0;tag\n"),
            (Lines{"1:1+3 warning not-a-comment: a \"#\" that is not the first character begins no comment",
                   "  the daemon takes the line for a definition and starts \"/p\"",
                   "  \"#\" as the first character of the line"}));
}

TEST(CheckDefinitions, ACommentThatIsIndentedAndHasNoPath) {
  EXPECT_EQ(
      definitionFindings("\t# a remark\n"),
      (Lines{"1:1+2 warning not-a-comment: a \"#\" that is not the first character begins no comment",
             "  the daemon makes a record without a path of the line, which takes one of 64 places and starts nothing",
             "  \"#\" as the first character of the line"}));
}

TEST(CheckDefinitions, ACommentOfAnotherLanguage) {
  EXPECT_EQ(definitionFindings("// a remark\n"),
            (Lines{"1:1+2 warning not-a-comment: \"//\" begins no comment",
                   "  the daemon makes an empty record of the line, which takes one of 64 places and starts nothing",
                   "  \"#\" as the first character of the line"}));
}
