// The XML configuration: what it sets, and where and how a mistake in it is reported.
#include "PlatformConfig.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "FreshDirectory.h"

namespace {

using orv::PlatformConfig;
using orv::RadOrigin;
using orv::Status;
using orv::TagType;

Status parse(const std::string &text, PlatformConfig &config) {
  return orv::parsePlatformConfig(text, "node.xml", config);
}

PlatformConfig parsed(const std::string &text) {
  PlatformConfig config;
  const Status status = parse(text, config);
  EXPECT_TRUE(status.ok()) << status.message;
  return config;
}

// The message of a text that has to be refused.
std::string refusal(const std::string &text) {
  PlatformConfig config;
  const Status status = parse(text, config);
  EXPECT_EQ(status.code, EINVAL) << text;
  return status.message;
}

// The text of the only tag of `element`.
std::string tagText(const std::string &element) {
  const PlatformConfig config = parsed("<orv><tags>" + element + "</tags></orv>");
  return config.settings.tags.size() == 1 ? config.settings.tags[0].second.text : "(not one tag)";
}

uint32_t tagNumber(const std::string &element) {
  const PlatformConfig config = parsed("<orv><tags>" + element + "</tags></orv>");
  return config.settings.tags.size() == 1 ? config.settings.tags[0].second.number : 999999999;
}

std::string tagRefusal(const std::string &element) {
  return refusal("<orv><tags>\n" + element + "\n</tags></orv>");
}

class PlatformConfigFile : public testing::Test {
 protected:
  std::string write(const std::string &text) const {
    return directory_.write("platform.xml", text);
  }
  FreshDirectory directory_;
};

}  // namespace

TEST(PlatformConfig, EmptyRootSetsNothing) {
  const PlatformConfig config = parsed("<orv/>");
  EXPECT_TRUE(config.settings.tags.empty());
  EXPECT_TRUE(config.settings.rads.empty());
  EXPECT_FALSE(config.eventLimit.has_value());
}

TEST(PlatformConfig, WholeExampleIsRead) {
  const PlatformConfig config = parsed(
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!-- a node -->\n<orv>\n  <tags>\n"
      "    <tag name=\"app.hwapi.appcfg.filename\">/etc/orv/AppDef.txt</tag>\n"
      "    <tag name=\"app.port\" type=\"u16\" value=\"8080\"/>\n"
      "    <tag name=\"app.mask\" type=\"u32\">0x10</tag>\n  </tags>\n"
      "  <rad><parameter number=\"0x10063\" value=\"1\"/></rad>\n"
      "  <board reset=\"watchdog\" watchdogDevice=\"/dev/watchdog1\" resetBudget=\"4\" resetWindowS=\"601\""
      " graceTimeMs=\"5000\"/>\n  <events limit=\"20000\"/>\n</orv>\n");
  const auto &tags = config.settings.tags;
  ASSERT_EQ(tags.size(), 8u);
  EXPECT_EQ(tags[0].first, "app.hwapi.appcfg.filename");
  EXPECT_EQ(tags[0].second.type, TagType::STRING);
  EXPECT_EQ(tags[0].second.text, "/etc/orv/AppDef.txt");
  EXPECT_EQ(tags[1].first, "app.port");
  EXPECT_EQ(tags[1].second.type, TagType::U16);
  EXPECT_EQ(tags[1].second.number, 8080u);
  EXPECT_EQ(tags[2].second.type, TagType::U32);
  EXPECT_EQ(tags[2].second.number, 16u);
  EXPECT_EQ(tags[2].second.text, "");
  EXPECT_EQ(tags[3].first, orv::BOARD_RESET_TAG);
  EXPECT_EQ(tags[3].second.text, "watchdog");
  EXPECT_EQ(tags[4].first, orv::BOARD_WATCHDOG_DEVICE_TAG);
  EXPECT_EQ(tags[4].second.text, "/dev/watchdog1");
  EXPECT_EQ(tags[5].first, orv::BOARD_RESET_BUDGET_TAG);
  EXPECT_EQ(tags[5].second.type, TagType::U32);
  EXPECT_EQ(tags[5].second.number, 4u);
  EXPECT_EQ(tags[6].first, orv::BOARD_RESET_WINDOW_TAG);
  EXPECT_EQ(tags[6].second.number, 601u);
  EXPECT_EQ(tags[7].first, orv::BOARD_GRACE_TIME_TAG);
  EXPECT_EQ(tags[7].second.number, 5000u);
  ASSERT_EQ(config.settings.rads.size(), 1u);
  EXPECT_EQ(config.settings.rads[0].number, 0x10063u);
  EXPECT_EQ(config.settings.rads[0].value, 1u);
  EXPECT_EQ(config.settings.rads[0].origin, RadOrigin::CONFIGURATION);
  EXPECT_EQ(config.eventLimit, 20000u);
}

TEST(PlatformConfig, PartsMayStandSeveralTimes) {
  const PlatformConfig config = parsed(
      "<orv><tags><tag name=\"a\">1</tag></tags><rad/><tags><tag name=\"a\">2</tag></tags>"
      "<events limit=\"100\"/><events limit=\"200\"/></orv>");
  ASSERT_EQ(config.settings.tags.size(), 2u);
  EXPECT_EQ(config.settings.tags[1].second.text, "2");
  EXPECT_EQ(config.eventLimit, 200u);
}

TEST(PlatformConfig, AbsentBoardAttributesSetNoTag) {
  const PlatformConfig config = parsed("<orv><board resetBudget=\"0\"/></orv>");
  ASSERT_EQ(config.settings.tags.size(), 1u);
  EXPECT_EQ(config.settings.tags[0].first, orv::BOARD_RESET_BUDGET_TAG);
}

TEST(PlatformConfig, TextOnOneLineKeepsItsBlanks) {
  EXPECT_EQ(tagText("<tag name=\"a\">  x y </tag>"), "  x y ");
  EXPECT_EQ(tagText("<tag name=\"a\">  </tag>"), "  ");
}

TEST(PlatformConfig, TextWithLineBreaksLosesTheLayoutAroundIt) {
  EXPECT_EQ(tagText("<tag name=\"a\">\n    x  y\r\n    z\n  </tag>"), "x  y\n    z");
}

TEST(PlatformConfig, ValueAttributeIsTakenAsWritten) {
  EXPECT_EQ(tagText("<tag name=\"a\" value=\" x&#10;\"/>"), " x\n");
  EXPECT_EQ(tagText("<tag name=\"a\" value=\"x\">\n  <!-- why --></tag>"), "x");
}

TEST(PlatformConfig, StringTagWithoutTextIsEmpty) {
  EXPECT_EQ(tagText("<tag name=\"a\"/>"), "");
  EXPECT_EQ(tagText("<tag name=\"a\" type=\"string\"></tag>"), "");
}

TEST(PlatformConfig, CharacterReferencesAndCdataWork) {
  EXPECT_EQ(tagText("<tag name=\"a\">&lt;&amp;&gt;&quot;&apos;&#65;&#x42;</tag>"), "<&>\"'AB");
  EXPECT_EQ(tagText("<tag name=\"a\">x<![CDATA[&amp; <y>]]> z</tag>"), "x&amp; <y> z");
  EXPECT_EQ(tagText("<tag name=\"a\">x<!-- & --><?pi & ?>y</tag>"), "xy");
}

TEST(PlatformConfig, NumbersAreDecimalHexadecimalOrOctal) {
  EXPECT_EQ(tagNumber("<tag name=\"a\" type=\"u32\">4294967295</tag>"), 4294967295u);
  EXPECT_EQ(tagNumber("<tag name=\"a\" type=\"u32\">0XfF</tag>"), 255u);
  EXPECT_EQ(tagNumber("<tag name=\"a\" type=\"u32\">017</tag>"), 15u);
  EXPECT_EQ(tagNumber("<tag name=\"a\" type=\"u16\">0</tag>"), 0u);
  EXPECT_EQ(tagNumber("<tag name=\"a\" type=\"u16\" value=\" 65535 \"/>"), 65535u);
}

TEST(PlatformConfig, MalformedNumbersAreRefused) {
  for (const char *text :
       {"", " ", "-1", "+1", "1 2", "0x", "08", "0x1g", "12a", "4294967296", "99999999999999999999"}) {
    EXPECT_NE(
        tagRefusal("<tag name=\"a\" type=\"u32\">" + std::string(text) + "</tag>").find("not a number of type u32"),
        std::string::npos)
        << text;
  }
}

TEST(PlatformConfig, NumberBeyondItsTypeIsRefusedWithItsPlace) {
  EXPECT_EQ(
      tagRefusal("<tag name=\"a\" type=\"u16\">65536</tag>"),
      "node.xml:2:26: \"65536\" is not a number of type u16, expected a number from 0 to 65535 (decimal, 0x..., or "
      "octal with a leading 0)");
}

TEST(PlatformConfig, RefusedTextIsShownShortened) {
  const std::string message = tagRefusal("<tag name=\"a\" type=\"u16\">" + std::string(5000, '9') + "</tag>");
  EXPECT_LT(message.size(), 300u);
  EXPECT_NE(message.find("999...\" is not"), std::string::npos) << message;
}

TEST(PlatformConfig, NameLengthIsLimited) {
  const std::string name(orv::MAX_TAG_NAME_LENGTH, 'n');
  EXPECT_EQ(parsed("<orv><tags><tag name=\"" + name + "\"/></tags></orv>").settings.tags[0].first, name);
  EXPECT_EQ(tagRefusal("<tag name=\"" + name + "n\"/>"),
            "node.xml:2:12: the tag name has 256 bytes, expected 1 to 255");
  EXPECT_EQ(tagRefusal("<tag name=\"\"/>"), "node.xml:2:12: the tag name has 0 bytes, expected 1 to 255");
}

TEST(PlatformConfig, TextLengthIsLimited) {
  const std::string text(orv::MAX_TAG_TEXT_LENGTH, 't');
  EXPECT_EQ(tagText("<tag name=\"a\">" + text + "</tag>"), text);
  EXPECT_EQ(tagRefusal("<tag name=\"a\">" + text + "t</tag>"),
            "node.xml:2:15: the text has 4096 bytes, expected at most 4095");
  EXPECT_EQ(refusal("<orv><board watchdogDevice=\"" + text + "t\"/></orv>"),
            "node.xml:1:29: the text has 4096 bytes, expected at most 4095");
}

TEST(PlatformConfig, PlaceOfATextIsItsFirstCharacter) {
  EXPECT_EQ(tagRefusal("<tag name=\"a\" type=\"u16\">\n\n   many </tag>").substr(0, 13), "node.xml:4:4:");
}

TEST(PlatformConfig, ColumnsCountCharactersNotBytes) {
  EXPECT_EQ(refusal("<orv><!-- \xC3\xA4\xE2\x82\xAC --><x/></orv>").substr(0, 14), "node.xml:1:18:");
}

TEST(PlatformConfig, ByteOrderMarkIsPassedOver) {
  EXPECT_TRUE(parsed("\xEF\xBB\xBF<orv/>").settings.tags.empty());
}

TEST(PlatformConfig, UnknownElementsAreRefused) {
  EXPECT_EQ(refusal("<orv>\n <tag name=\"a\"/></orv>"),
            "node.xml:2:3: <orv> has no element <tag>, expected <tags>, <rad>, <board>, <events> or <gateway>");
  EXPECT_EQ(tagRefusal("<tga name=\"a\"/>"), "node.xml:2:2: <tags> has no element <tga>, expected <tag>");
  EXPECT_EQ(tagRefusal("<tag name=\"a\"><b/></tag>"), "node.xml:2:16: <tag> has no element <b>, expected text");
  EXPECT_EQ(refusal("<orv><rad><x/></rad></orv>"), "node.xml:1:12: <rad> has no element <x>, expected <parameter>");
  EXPECT_EQ(refusal("<orv><board><x/></board></orv>"), "node.xml:1:14: <board> has no element <x>, expected nothing");
  EXPECT_EQ(refusal("<orv><rad><parameter number=\"1\" value=\"1\">5</parameter></rad></orv>"),
            "node.xml:1:43: text is not allowed in <parameter>, expected nothing");
}

TEST(PlatformConfig, UnknownAttributesAreRefused) {
  EXPECT_EQ(refusal("<orv version=\"1\"/>"), "node.xml:1:6: <orv> has no attribute \"version\", expected no attribute");
  EXPECT_EQ(tagRefusal("<tag name=\"a\"\n  typ=\"u16\"/>"),
            "node.xml:3:3: <tag> has no attribute \"typ\", expected name, type or value");
  EXPECT_EQ(refusal("<orv><tags name=\"a\"/></orv>"),
            "node.xml:1:12: <tags> has no attribute \"name\", expected no attribute");
  EXPECT_EQ(refusal("<orv><board watchdogdevice=\"/dev/watchdog\"/></orv>"),
            "node.xml:1:13: <board> has no attribute \"watchdogdevice\", expected reset, watchdogDevice, resetBudget, "
            "resetWindowS or graceTimeMs");
}

TEST(PlatformConfig, RepeatedAttributeIsRefused) {
  EXPECT_EQ(tagRefusal("<tag name=\"a\" name=\"b\"/>"),
            "node.xml:2:15: the attribute \"name\" stands twice, expected each attribute once");
}

TEST(PlatformConfig, MissingAttributesAreRefused) {
  EXPECT_EQ(tagRefusal("<tag>x</tag>"), "node.xml:2:2: <tag> has no attribute \"name\", expected name=\"...\"");
  EXPECT_EQ(refusal("<orv><rad><parameter number=\"1\"/></rad></orv>"),
            "node.xml:1:12: <parameter> has no attribute \"value\", expected value=\"...\"");
  EXPECT_EQ(refusal("<orv><events/></orv>"),
            "node.xml:1:7: <events> has no attribute \"limit\", expected limit=\"...\"");
}

TEST(PlatformConfig, UnknownTypeIsRefused) {
  EXPECT_EQ(tagRefusal("<tag name=\"a\" type=\"U16\">1</tag>"),
            "node.xml:2:21: there is no tag type \"U16\", expected \"string\", \"u16\" or \"u32\"");
}

TEST(PlatformConfig, ValueAndTextTogetherAreRefused) {
  EXPECT_EQ(tagRefusal("<tag name=\"a\" value=\"1\">2</tag>"),
            "node.xml:2:25: the tag has both the attribute \"value\" and a text, expected one of the two");
}

TEST(PlatformConfig, GatewaySettingsBecomeTags) {
  const PlatformConfig config = parsed(
      "<orv><gateway port=\"15155\" address=\"10.0.0.1\" queue=\"50\" deliveryTimeoutS=\"3\" keys=\"/k\"/></orv>");
  std::string text;
  for (const auto &[name, value] : config.settings.tags)
    text += name + "=" + (value.type == TagType::STRING ? value.text : std::to_string(value.number)) + " ";
  EXPECT_EQ(text,
            "orv.gateway.address=10.0.0.1 orv.gateway.keys=/k orv.gateway.port=15155 orv.gateway.queue=50 "
            "orv.gateway.deliverytimeout=3 ");
  EXPECT_TRUE(parsed("<orv><gateway/></orv>").settings.tags.empty());
}

TEST(PlatformConfig, GatewayNumbersHaveLimits) {
  const struct {
    const char *attribute;
    const char *last;
    const char *beyond;
    const char *limits;
  } cases[] = {{"port", "65535", "65536", "from 0 to 65535"},
               {"queue", "100000", "100001", "from 1 to 100000"},
               {"queue", "1", "0", "from 1 to 100000"},
               {"deliveryTimeoutS", "3600", "3601", "from 1 to 3600"},
               {"deliveryTimeoutS", "1", "0", "from 1 to 3600"}};
  for (const auto &each : cases) {
    const std::string begin = "<orv><gateway " + std::string(each.attribute) + "=\"";
    EXPECT_EQ(parsed(begin + each.last + "\"/></orv>").settings.tags.size(), 1U) << each.attribute;
    EXPECT_NE(refusal(begin + each.beyond + "\"/></orv>").find(each.limits), std::string::npos) << each.attribute;
  }
}

TEST(PlatformConfig, UnknownBoardResetIsRefused) {
  EXPECT_EQ(refusal("<orv>\n<board reset=\"rebot\"/></orv>"),
            "node.xml:2:15: there is no board reset \"rebot\", expected \"none\", \"watchdog\" or \"reboot\"");
  EXPECT_EQ(refusal("<orv><board watchdogDevice=\"\"/></orv>"),
            "node.xml:1:29: \"watchdogDevice\" is empty, expected a text");
}

TEST(PlatformConfig, EventLimitHasBounds) {
  EXPECT_EQ(parsed("<orv><events limit=\"100\"/></orv>").eventLimit, 100u);
  EXPECT_EQ(parsed("<orv><events limit=\"100000\"/></orv>").eventLimit, 100000u);
  for (const char *limit : {"99", "100001", "x", ""}) {
    EXPECT_NE(refusal("<orv><events limit=\"" + std::string(limit) + "\"/></orv>")
                  .find("expected a number from 100 to 100000"),
              std::string::npos)
        << limit;
  }
}

TEST(PlatformConfig, RadParametersHaveAllOf32Bits) {
  const PlatformConfig config = parsed("<orv><rad><parameter number=\"0xffffffff\" value=\"0xffffffff\"/></rad></orv>");
  ASSERT_EQ(config.settings.rads.size(), 1u);
  EXPECT_EQ(config.settings.rads[0].number, 0xffffffffu);
  EXPECT_EQ(config.settings.rads[0].value, 0xffffffffu);
  EXPECT_EQ(refusal("<orv><rad><parameter number=\"0x100000000\" value=\"1\"/></rad></orv>").substr(0, 51),
            "node.xml:1:30: the number \"0x100000000\" is not vali");
}

TEST(PlatformConfig, SyntaxErrorsAreReportedWithTheirPlace) {
  EXPECT_EQ(refusal("<orv>\n<tags>\n</orv>"),
            "node.xml:3:3: start and end tags do not match, expected one </name> for each <name>");
  EXPECT_EQ(refusal("<orv>\n<tags name=a></tags></orv>").substr(0, 11), "node.xml:2:");
  for (const char *text :
       {"<orv", "<orv>", "<orv><!-- </orv>", "<orv><![CDATA[ </orv>", "<", "<orv></orv", "<orv/><"}) {
    EXPECT_EQ(refusal(text).substr(0, 11), "node.xml:1:") << text;
  }
}

TEST(PlatformConfig, RootElementIsOneOrv) {
  EXPECT_EQ(refusal(""), "node.xml:1:1: the file has no root element, expected one element <orv>");
  EXPECT_EQ(refusal("<!-- nothing -->\n"), "node.xml:1:1: the file has no root element, expected one element <orv>");
  EXPECT_EQ(refusal("<config/>"), "node.xml:1:2: the root element is <config>, expected one element <orv>");
  EXPECT_EQ(refusal("<orv/>\n<orv/>"), "node.xml:2:2: there is a second root element, expected one element <orv>");
  EXPECT_EQ(refusal("<orv/>\n tags"), "node.xml:2:2: text outside the root element, expected one element <orv>");
}

TEST(PlatformConfig, TextBetweenElementsIsRefused) {
  EXPECT_EQ(refusal("<orv>\n  app.port=8080\n</orv>").substr(0, 54),
            "node.xml:2:3: text is not allowed in <orv>, expected <");
}

TEST(PlatformConfig, UnknownReferencesAreRefused) {
  for (const char *text : {"a & b", "&uuml;", "&amp", "&#0;", "&#x110000;", "&#xD800;", "&#;", "&#x;", "&;", "&#-1;"}) {
    EXPECT_EQ(tagRefusal("<tag name=\"a\">" + std::string(text) + "</tag>").find("node.xml:2:"), 0u) << text;
    EXPECT_NE(tagRefusal("<tag name=\"a\">" + std::string(text) + "</tag>").find("begins no character reference"),
              std::string::npos)
        << text;
  }
}

TEST(PlatformConfig, DocumentTypeIsRefusedAndNoEntityIsRead) {
  const std::string message = refusal(
      "<?xml version=\"1.0\"?>\n<!DOCTYPE orv [<!ENTITY secret SYSTEM \"file:///etc/hostname\">]>\n"
      "<orv><tags><tag name=\"a\">&secret;</tag></tags></orv>");
  EXPECT_EQ(message.find("node.xml:2:"), 0u) << message;
  EXPECT_NE(message.find("a document type declaration is not allowed"), std::string::npos) << message;
}

TEST(PlatformConfig, OtherEncodingsAreRefused) {
  EXPECT_NE(refusal("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><orv/>").find("expected \"UTF-8\""),
            std::string::npos);
  EXPECT_EQ(refusal(std::string("<\0o\0r\0v\0/\0>\0", 12)),
            "node.xml:1:2: the file has a NUL byte, expected a text in UTF-8");
}

TEST(PlatformConfig, ConfigIsLeftAloneOnFailure) {
  PlatformConfig config = parsed("<orv><tags><tag name=\"old\"/></tags><events limit=\"500\"/></orv>");
  EXPECT_FALSE(parse("<orv><tags><tag name=\"new\"/></tags><events limit=\"600\"/><bord/></orv>", config).ok());
  ASSERT_EQ(config.settings.tags.size(), 1u);
  EXPECT_EQ(config.settings.tags[0].first, "old");
  EXPECT_EQ(config.eventLimit, 500u);
}

TEST_F(PlatformConfigFile, IsReadAndParsed) {
  PlatformConfig config;
  const Status status = orv::readPlatformConfig(write("<orv><tags><tag name=\"a\">x</tag></tags></orv>"), config);
  EXPECT_TRUE(status.ok()) << status.message;
  ASSERT_EQ(config.settings.tags.size(), 1u);
}

TEST_F(PlatformConfigFile, MistakeIsReportedWithTheNameOfTheFile) {
  const std::string path = write("<orv>\n<tag/></orv>");
  PlatformConfig config;
  EXPECT_EQ(orv::readPlatformConfig(path, config).message.find(path + ":2:2: "), 0u);
}

TEST_F(PlatformConfigFile, MissingFileIsReported) {
  PlatformConfig config;
  const Status status = orv::readPlatformConfig(directory_.path("none.xml"), config);
  EXPECT_EQ(status.code, ENOENT);
  EXPECT_EQ(status.message,
            "cannot read configuration file " + directory_.path("none.xml") + ": No such file or directory");
}

TEST_F(PlatformConfigFile, WhatIsNoRegularFileIsRefusedWithoutWaiting) {
  const std::string fifo = directory_.path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  PlatformConfig config;
  EXPECT_EQ(orv::readPlatformConfig(fifo, config).code, EINVAL);
  EXPECT_EQ(orv::readPlatformConfig("/dev/zero", config).code, EINVAL);
  EXPECT_EQ(orv::readPlatformConfig(directory_.path(), config).code, EISDIR);
}

TEST_F(PlatformConfigFile, LengthIsLimitedToOneMebibyte) {
  const std::string frame = "<orv><!----></orv>";
  const std::string longest = "<orv><!--" + std::string(1024 * 1024 - frame.size(), '.') + "--></orv>";
  PlatformConfig config;
  EXPECT_TRUE(orv::readPlatformConfig(write(longest), config).ok());
  EXPECT_EQ(orv::readPlatformConfig(write(longest + "\n"), config).code, EFBIG);
}
