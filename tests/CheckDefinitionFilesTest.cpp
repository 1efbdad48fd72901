// What orvctl check says about application definition files as a whole, to the letter.
#include <gtest/gtest.h>

#include <string>

#include "CheckFixture.h"

namespace {

// Text of a literal with NULs in it.
template <size_t SIZE>
std::string bytes(const char (&text)[SIZE]) {
  return {text, SIZE - 1};
}

std::string definitions(int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += "n" + std::to_string(i) + ";/p;;0;0;\n";
  return text;
}

}  // namespace

TEST(CheckDefinitionFiles, ALineOfBlanks) {
  EXPECT_EQ(definitionFindings("n;/p;;0;0;\n   \n"),
            (Lines{"2:1+3 warning blank-line: a line of blanks is not empty",
                   "  the daemon makes an empty record of it, which takes one of 64 places and starts nothing",
                   "  an empty line"}));
}

TEST(CheckDefinitionFiles, AByteOrderMarkBeforeAComment) {
  EXPECT_EQ(definitionFindings("\xef\xbb\xbf#name;path\nn;/p;;0;0;\n"),
            (Lines{"1:1+3 warning byte-order-mark: a byte order mark at the beginning",
                   "  the first line does not begin with \"#\": it is read as a definition",
                   "  the file in UTF-8 without a byte order mark"}));
}

TEST(CheckDefinitionFiles, AByteOrderMarkBeforeADefinition) {
  EXPECT_EQ(
      definitionFindings("\xef\xbb\xbfn;/p;;0;0;\n"),
      (Lines{"1:1+3 warning byte-order-mark: a byte order mark at the beginning",
             "  it becomes part of the first application's name", "  the file in UTF-8 without a byte order mark"}));
}

TEST(CheckDefinitionFiles, DosLineEnds) {
  EXPECT_EQ(definitionFindings("#c\r\nn;/p;;0;0;t\r\n"),
            (Lines{"1:3+1 warning dos-line-ends: 2 lines end with a carriage return and a line feed",
                   "  the daemon takes each for the end of a line and loses nothing; other programs take the carriage "
                   "return for a part of the tag",
                   "  line feeds alone: sed -i 's/\\r$//' FILE"}));
}

TEST(CheckDefinitionFiles, ACarriageReturnWithinTheLine) {
  EXPECT_EQ(
      definitionFindings("n;/p;;0;0;t\rm;/q;;0;0;\n"),
      (Lines{"1:12+1 warning carriage-return: a carriage return within the line",
             "  the daemon ends the line here, and what follows is a line of its own", "  a line feed, or nothing"}));
}

TEST(CheckDefinitionFiles, ANulByte) {
  EXPECT_EQ(definitionFindings(bytes("n;/p;;0;0;t\x00"
                                     "ag\n")),
            (Lines{"1:12+1 error nul-byte: a NUL byte in the line", "  the daemon reads the line up to it",
                   "  no NUL bytes"}));
}

TEST(CheckDefinitionFiles, ANulByteAtTheBeginning) {
  EXPECT_EQ(definitionFindings(bytes("\x00n;/p;;0;0;t\nm;/q;;0;0;\n")),
            (Lines{"1:1+12 warning nul-byte: a line that begins with a NUL byte",
                   "  the daemon takes it for an empty line", "  no NUL bytes"}));
}

TEST(CheckDefinitionFiles, ANulByteAtTheEnd) {
  EXPECT_EQ(definitionFindings(bytes("m;/q;;0;0;\nn;/p;;0;0;t\x00")),
            (Lines{"2:12+1 error nul-byte: the file ends with a NUL byte", "  the last line is not read at all",
                   "  a line feed at the end"}));
}

TEST(CheckDefinitionFiles, AControlCharacter) {
  EXPECT_EQ(definitionFindings("n\x1bm;/p;;0;0;\n"),
            (Lines{"1:2+1 warning control-character: a control character (\\x1b) in the name",
                   "  it becomes part of the name", "  the name without it"}));
}

TEST(CheckDefinitionFiles, BytesThatAreNoUtf8) {
  EXPECT_EQ(definitionFindings("n\xff\xfem;/p;\xe4;0;0;\n"),
            (Lines{"1:2+2 warning not-utf8: bytes that are no UTF-8 in the name",
                   "  the daemon keeps them as they are; logs show them as \\xff, and JSON cannot hold them",
                   "  the text in UTF-8", "1:9+1 warning not-utf8: bytes that are no UTF-8 in the arguments",
                   "  the daemon keeps them as they are; logs show them as \\xe4, and JSON cannot hold them",
                   "  the text in UTF-8"}));
}

TEST(CheckDefinitionFiles, CharactersThatLookLikeOthers) {
  EXPECT_EQ(definitionFindings("n;/p;\xe2\x80\x9c-a\xe2\x80\x9d;0;0;a\xc2\xa0"
                               "b\n"),
            (Lines{"1:6+3 warning look-alike: a curly quote (U+201C) in the arguments",
                   "  it is an ordinary character of the arguments and means nothing", "  \"",
                   "1:20+2 warning look-alike: a no-break space (U+00A0) in the online tag",
                   "  it is an ordinary character of the online tag and means nothing", "  a blank"}));
}

TEST(CheckDefinitionFiles, WideCharactersAreAllRight) {
  EXPECT_EQ(definitionFindings("\xe7\x84\xa1\xe7\xb7\x9a;/p;;0;0;\xe7\x84\xa1\xe7\xb7\x9a.online\n"), Lines{});
}

TEST(CheckDefinitionFiles, ASecondApplicationOfTheSameName) {
  EXPECT_EQ(definitionFindings("radio;/p;;0;0;\npump;/p;;0;0;\nradio;/q;;0;0;\n"),
            (Lines{"3:1+5 warning same-name: a second application called \"radio\": the first is in line 1",
                   "  their log lines, events and errors cannot be told apart, and both set the tag eu.radio.ready",
                   "  a name of its own"}));
}

TEST(CheckDefinitionFiles, NamesThatAreTheSameOnceCut) {
  EXPECT_EQ(definitionFindings(std::string(31, 'n') + "A;/p;;0;0;\n" + std::string(31, 'n') + "B;/p;;0;0;\n"),
            (Lines{"1:32+1 warning cut-field: the name has 32 bytes, 1 more than fit",
                   "  the daemon goes on with \"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn\": in its log, as name of the EU, and "
                   "in the tag eu.nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn.ready",
                   "  a name of at most 31 bytes",
                   "2:1+32 warning same-name: a second application called \"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn\": the "
                   "first is in line 1",
                   "  their log lines, events and errors cannot be told apart, and both set the tag "
                   "eu.nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn.ready",
                   "  a name of its own", "2:32+1 warning cut-field: the name has 32 bytes, 1 more than fit",
                   "  the daemon goes on with \"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn\": in its log, as name of the EU, and "
                   "in the tag eu.nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn.ready",
                   "  a name of at most 31 bytes"}));
}

TEST(CheckDefinitionFiles, MoreDefinitionsThanThereAreRecords) {
  EXPECT_EQ(definitionFindings(definitions(67)),
            (Lines{"65:1+12 error too-many-definitions: more than 64 definitions",
                   "  the daemon stops reading here, without a word: it and 2 behind it are never started",
                   "  at most 64 definitions; records without a path count too"}));
}

TEST(CheckDefinitionFiles, OneDefinitionTooMany) {
  EXPECT_EQ(definitionFindings(definitions(64) + "#c\nn64;/p;;0;0;\n"),
            (Lines{"66:1+12 error too-many-definitions: more than 64 definitions",
                   "  the daemon stops reading here, without a word: it is never started",
                   "  at most 64 definitions; records without a path count too"}));
}

TEST(CheckDefinitionFiles, AsManyDefinitionsAsThereAreRecords) {
  EXPECT_EQ(definitionFindings(definitions(64) + "#c\n"), Lines{});
}

TEST(CheckDefinitionFiles, AnEmptyFile) {
  EXPECT_EQ(definitionFindings(""),
            (Lines{"whole warning no-definitions: there is no application in it",
                   "  the daemon starts nothing and reports that the application start-up is complete",
                   "  a line for each application: name;path;arguments;0;flags;tag"}));
}

TEST(CheckDefinitionFiles, AFileOfComments) {
  EXPECT_EQ(definitionFindings("#c\n\n#d\n"),
            (Lines{"whole warning no-definitions: there is no application in it",
                   "  the daemon starts nothing and reports that the application start-up is complete",
                   "  a line for each application: name;path;arguments;0;flags;tag"}));
}

TEST(CheckDefinitionFiles, ATagOfTwoApplications) {
  EXPECT_EQ(definitionFindings("radio;/p;;0;0;online\npump;/q;;0;0;online\n"),
            (Lines{"2:14+6 warning shared-tag: the online tag is also that of application \"radio\" (line 1)",
                   "  the daemon takes both for online as soon as one of them sets it", "  a tag of its own"}));
}

TEST(CheckDefinitionFiles, TheReadyTagOfTheApplicationItself) {
  EXPECT_EQ(definitionFindings("radio;/p;;0;0;eu.radio.ready\n"), Lines{});
}

TEST(CheckDefinitionFiles, TheReadyTagOfAnEarlierApplication) {
  EXPECT_EQ(
      definitionFindings("radio;/p;;0;0;\npump;/q;;0;0;eu.radio.ready\n"),
      (Lines{"2:14+14 warning ready-tag-of-another: the online tag is set when application \"radio\" (line 1) is ready",
             "  the daemon takes application \"pump\" for online though it may not be", "  eu.pump.ready"}));
}

TEST(CheckDefinitionFiles, TheReadyTagOfALaterApplication) {
  EXPECT_EQ(
      definitionFindings("radio;/p;;0;0;eu.pump.ready\npump;/q;;0;0;\n"),
      (Lines{"1:15+13 error ready-tag-of-another: the online tag is set when application \"pump\" (line 2) is ready",
             "  that is started later, once application \"radio\" is online: the daemon waits in vain",
             "  eu.radio.ready"}));
}

TEST(CheckDefinitionFiles, TheReadyTagOfNobody) {
  EXPECT_EQ(definitionFindings("radio;/p;;0;0;eu.radio2.ready\n"),
            (Lines{"1:15+15 warning ready-tag-of-nobody: nothing that is started is called \"radio2\"",
                   "  the platform sets eu.NAME.ready when the program of that name reports that it is ready: nobody "
                   "sets this one",
                   "  eu.radio.ready"}));
}

TEST(CheckDefinitionFiles, TheReadyTagOfANameThatWasCut) {
  EXPECT_EQ(definitionFindings(std::string(40, 'A') + ";/p;;0;0;eu." + std::string(40, 'A') + ".ready\n"),
            (Lines{"1:32+9 warning cut-field: the name has 40 bytes, 9 more than fit",
                   "  the daemon goes on with \"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\": in its log, as name of the EU, and "
                   "in the tag eu.AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA.ready",
                   "  a name of at most 31 bytes",
                   "1:50+49 warning ready-tag-of-nobody: nothing that is started is called "
                   "\"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\"",
                   "  the platform sets eu.NAME.ready when the program of that name reports that it is ready: nobody "
                   "sets this one",
                   "  eu.AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA.ready"}));
}
