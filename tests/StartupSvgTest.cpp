// Start-ups as pictures: well-formed, every bar where its time is, nothing outside, no text on another.
#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "ComparisonSvg.h"
#include "StartupFixture.h"
#include "StartupSvg.h"
#include "StartupView.h"
#include "Svg.h"
#include "Utf8.h"

using namespace startuptest;

namespace {

constexpr double CHARACTER_WIDTH = 7.3;  // as wide as any of these texts' characters is on the average
constexpr double LINE_HEIGHT = 12;

struct Box {
  double left = 0;
  double top = 0;
  double right = 0;
  double bottom = 0;
  std::string what;
};

class Picture {
 public:
  explicit Picture(const std::string &svg) {
    const pugi::xml_parse_result parsed = document_.load_string(svg.c_str(), pugi::parse_full);
    EXPECT_TRUE(parsed) << parsed.description() << " at " << parsed.offset << "\n" << svg;
  }

  pugi::xml_node root() const {
    return document_.child("svg");
  }
  std::vector<pugi::xml_node> all(const std::string &xpath) const {
    std::vector<pugi::xml_node> nodes;
    for (const pugi::xpath_node &each : document_.select_nodes(xpath.c_str()))
      nodes.push_back(each.node());
    return nodes;
  }
  double width() const {
    return root().attribute("width").as_double();
  }
  double height() const {
    return root().attribute("height").as_double();
  }

  // The room of a text, for which no character is taken to be wider than those of a typewriter.
  static Box boxOf(const pugi::xml_node &text) {
    const std::string kind = text.attribute("class").as_string();
    const bool isSmall = kind.find("label") != std::string::npos || kind == "inbar";
    const double factor = kind == "title" ? 1.7 : isSmall ? 0.85 : kind.find("name") != std::string::npos ? 1 : 0.92;
    const double width = static_cast<double>(orv::utf8Characters(text.child_value())) * CHARACTER_WIDTH * factor;
    const std::string anchor = text.attribute("text-anchor").as_string("start");
    double left = text.attribute("x").as_double();
    if (anchor == "middle") left -= width / 2;
    if (anchor == "end") left -= width;
    const double bottom = text.attribute("y").as_double();
    return {left, bottom - LINE_HEIGHT * 0.8, left + width, bottom, text.child_value()};
  }

  void expectNoTextOnAnother() const {
    std::vector<Box> boxes;
    for (const pugi::xml_node &text : all("//text"))
      boxes.push_back(boxOf(text));
    for (size_t i = 0; i < boxes.size(); ++i) {
      EXPECT_GE(boxes[i].left, 0) << boxes[i].what;
      EXPECT_LE(boxes[i].right, width()) << boxes[i].what;
      EXPECT_LE(boxes[i].bottom, height()) << boxes[i].what;
      for (size_t j = i + 1; j < boxes.size(); ++j) {
        const bool isApart = boxes[i].right <= boxes[j].left || boxes[j].right <= boxes[i].left ||
                             boxes[i].bottom <= boxes[j].top || boxes[j].bottom <= boxes[i].top;
        EXPECT_TRUE(isApart) << boxes[i].what << " and " << boxes[j].what;
      }
    }
  }
  void expectAllRectanglesInside() const {
    for (const pugi::xml_node &rectangle : all("//rect[not(ancestor::g[@transform])]")) {
      const double x = rectangle.attribute("x").as_double();
      const double y = rectangle.attribute("y").as_double();
      EXPECT_GE(x, 0);
      EXPECT_GE(y, 0);
      EXPECT_GE(rectangle.attribute("width").as_double(), 0);
      EXPECT_LE(x + rectangle.attribute("width").as_double(), width() + 0.01);
      EXPECT_LE(y + rectangle.attribute("height").as_double(), height() + 0.01);
    }
  }

 private:
  pugi::xml_document document_;
};

// So many applications, each waited for, with names of some length.
orv::StartupModel applications(uint32_t count, const std::string &nameEnd = "") {
  Recorded node;
  node.begin();
  uint64_t atMs = 5;
  for (uint32_t i = 0; i < count; ++i) {
    node.application(atMs, i + 2, "radioController" + std::to_string(i) + nameEnd, atMs + 50 + 37 * (i % 7));
    atMs += 50 + 37 * (i % 7);
  }
  return node.complete(atMs + 5).model();
}

double right(const pugi::xml_node &rectangle) {
  return rectangle.attribute("x").as_double() + rectangle.attribute("width").as_double();
}

TEST(XmlText, LeavesNothingThatIsMarkup) {
  EXPECT_EQ(orv::xmlText("a<b>&\"c\"'d'"), "a&lt;b&gt;&amp;&quot;c&quot;&apos;d&apos;");
  EXPECT_EQ(orv::xmlText("one\ntwo \u00fc"), "one\ntwo \u00fc");
  EXPECT_EQ(orv::xmlText("\x01|\xff|\xef\xbf\xbe|\xef\xbf\xbf"), "\ufffd|\ufffd|\ufffd|\ufffd");
}

TEST(SvgNumber, IsShort) {
  EXPECT_EQ(orv::svgNumber(12), "12");
  EXPECT_EQ(orv::svgNumber(12.5), "12.5");
  EXPECT_EQ(orv::svgNumber(0.126), "0.13");
  EXPECT_EQ(orv::svgNumber(-0.001), "0");
  EXPECT_EQ(orv::svgNumber(100), "100");
}

TEST(StartupSvg, IsOnePictureThatNeedsNothingElse) {
  const std::string svg = orv::startupSvg(eventfulRun().model());
  const Picture picture(svg);
  EXPECT_STREQ(picture.root().attribute("xmlns").as_string(), "http://www.w3.org/2000/svg");
  EXPECT_STREQ(picture.root().attribute("role").as_string(), "img");
  EXPECT_STREQ(picture.root().attribute("aria-labelledby").as_string(), "chart-title chart-description");
  EXPECT_STREQ(picture.root().child_value("title"), "Start-up of node 0x1011 (CE-1), run 1: complete after 2.00 s");
  EXPECT_EQ(std::string(picture.root().child_value("desc")),
            "A time line with a row for each program, in the order of their start. radio held the start-up up for "
            "longest: 1.40 s, 70 % of it. pump: exited with 3. ghost: could not be started. radio: not online in time. "
            "The daemon itself took 20 ms.");
  const std::string style = picture.root().child_value("style");
  EXPECT_NE(style.find("@media (prefers-color-scheme:dark)"), std::string::npos);
  EXPECT_EQ(svg.find("href"), std::string::npos);
  EXPECT_EQ(svg.find("url("), std::string::npos);
  EXPECT_EQ(svg.find("<script"), std::string::npos);
  // Every class that occurs has a style in both schemes or needs none.
  for (const pugi::xml_node &node : picture.all("//rect[@class]|//path[@class]|//circle[@class]"))
    EXPECT_NE(style.find("." + std::string(node.attribute("class").as_string()) + "{"), std::string::npos)
        << node.attribute("class").as_string();
}

TEST(StartupSvg, BarsLieWhereTheirTimesAre) {
  const Picture picture(orv::startupSvg(applications(10)));
  const std::vector<pugi::xml_node> waits = picture.all("//g[@class='row']/rect[@class='waited']");
  ASSERT_EQ(waits.size(), 12U);  // the daemon's first and last steps are there to be seen
  double last = 0;
  double lastY = 0;
  for (size_t i = 2; i < waits.size(); ++i) {
    // Each begins where the one above it ended, and is as long as its time says.
    const double x = waits[i].attribute("x").as_double();
    if (i > 2) {
      EXPECT_NEAR(x, last, 0.05);
      EXPECT_GT(waits[i].attribute("y").as_double(), lastY);
    }
    last = right(waits[i]);
    lastY = waits[i].attribute("y").as_double();
  }
  const double perMs = waits[2].attribute("width").as_double() / 50;
  EXPECT_NEAR(waits[3].attribute("width").as_double(), 87 * perMs, 0.05);
  const pugi::xml_node complete = picture.all("//line[@class='complete']").at(0);
  EXPECT_NEAR(complete.attribute("x1").as_double(), last + 5 * perMs, 0.05);
  // Who is online stays so to the end of the chart.
  for (const pugi::xml_node &online : picture.all("//g[@class='row']/rect[@class='online']"))
    EXPECT_NEAR(right(online), right(picture.all("//g[@class='row']/rect[@class='online']").at(0)), 0.05);
}

TEST(StartupSvg, ConnectsWhoHeldWhomUp) {
  const Picture picture(orv::startupSvg(applications(3)));
  EXPECT_EQ(picture.all("//g[@class='critical-path']/path[@class='path']").size(), 3U);
  EXPECT_EQ(picture.all("//g[@class='critical-path']/path[@class='arrow']").size(), 3U);
}

TEST(StartupSvg, NoTextLiesOnAnother) {
  for (const uint32_t count : {0U, 1U, 3U, 64U}) {
    const Picture picture(orv::startupSvg(applications(count)));
    picture.expectNoTextOnAnother();
    picture.expectAllRectanglesInside();
    EXPECT_EQ(picture.all("//g[@class='row']").size(), count + 1);
  }
  const Picture longNames(orv::startupSvg(applications(64, std::string(60, 'W'))));
  longNames.expectNoTextOnAnother();
  const Picture eventful(orv::startupSvg(eventfulRun().model()));
  eventful.expectNoTextOnAnother();
  eventful.expectAllRectanglesInside();
}

TEST(StartupSvg, ShowsWhatFailed) {
  const Picture picture(orv::startupSvg(eventfulRun().model()));
  EXPECT_EQ(picture.all("//g[@class='signs']/path[@class='cross']").size(), 2U);
  EXPECT_EQ(picture.all("//g[@class='signs']/circle[@class='done']").size(), 1U);
  const std::vector<pugi::xml_node> errors = picture.all("//g[@class='signs']/path[@class='error']");
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_STREQ(errors[0].child_value("title"),
               "error raised at 701 ms: kind 0, code 0x12345678: failure of application pump");
  EXPECT_EQ(picture.all("//g[@class='signs']/circle[@class='held']").size(), 1U);
  EXPECT_EQ(picture.all("//g[@class='row']/rect[@class='late']").size(), 1U);
  EXPECT_EQ(picture.all("//text[@class='bad outcome']").size(), 3U);
}

TEST(StartupSvg, SignsOfOneMomentLieSideBySide) {
  Recorded node;
  node.begin().created(5, 2, "pump").started(6, 2, "/bin/pump").ended(90, 2, 1 << 8);
  node.event(90, EventKind::ERROR_RAISED, 2, "one").event(90, EventKind::ERROR_RAISED, 2, "two");
  node.event(90, EventKind::RESET_REQUESTED, 2, "none").complete(90);
  const Picture picture(orv::startupSvg(node.model()));
  const std::vector<pugi::xml_node> errors = picture.all("//g[@class='signs']/path[@class='error']");
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_STREQ(errors[0].child_value("title"), "error raised at 90 ms: one\nerror raised at 90 ms: two");
  EXPECT_EQ(picture.all("//g[@class='signs']/*").size(), 3U);
  const double reset = picture.all("//g[@class='signs']/circle").at(0).attribute("cx").as_double();
  const std::string cross = picture.all("//g[@class='signs']/path[@class='cross']").at(0).attribute("d").as_string();
  EXPECT_GE(reset - std::stod(cross.substr(1)), 26);
}

TEST(StartupSvg, EscapesWhateverANameIs) {
  const std::string name = "<b>&\"'\x01\xff\n</svg>";
  Recorded node;
  node.begin().created(5, 2, name).started(6, 2, "/bin/" + name).complete(10);
  const Picture picture(orv::startupSvg(node.model()));
  EXPECT_STREQ(picture.all("//text[@class='name']").at(0).child_value(), "<b>&\"'\\x01\\xff\\n</svg>");
}

TEST(StartupSvg, DrawsAStartUpThatIsNotOver) {
  Recorded node;
  node.begin().created(10, 2, "radio").waits(10, 2, "radio", "radio.on");
  node.source.nowNs = START_NS + 3 * S;
  const Picture picture(orv::startupSvg(node.model()));
  EXPECT_TRUE(picture.all("//line[@class='complete']").empty());
  EXPECT_STREQ(picture.all("//text[@class='muted outcome']").at(0).child_value(), "is waited for");
  picture.expectAllRectanglesInside();
  const Picture nothing(orv::startupSvg({}));
  nothing.expectAllRectanglesInside();
}

TEST(ComparisonSvg, HasARowForEachProgramAndAMarkForEachStartUp) {
  std::vector<orv::ComparedRun> runs;
  for (unsigned i = 0; i < 5; ++i)
    runs.push_back({"run " + std::to_string(i), i == 4, applications(i == 4 ? 64 : 63)});
  const Picture picture(orv::comparisonSvg(orv::compareStartups(std::move(runs), {std::nullopt, 0})));
  picture.expectNoTextOnAnother();
  picture.expectAllRectanglesInside();
  EXPECT_EQ(picture.all("//g[@class='row']").size(), 66U);
  EXPECT_EQ(picture.all("//g[@class='row']/circle[@class='base']").size(), 4U * 64);
  EXPECT_EQ(picture.all("//g[@class='row'][1]/circle[@class='same']").size(), 1U);
  EXPECT_STREQ(picture.all("//g[@class='row'][1]/circle").at(0).child_value("title"), "run 0: 50 ms");
}

}  // namespace
