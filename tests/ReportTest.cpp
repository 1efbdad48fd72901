// The report's page: everything in it is escaped, it loads nothing, and it holds what a reader looks for.
#include "Report.h"

#include <gtest/gtest.h>

#include "Html.h"
#include "StatusFacts.h"

using namespace statusfacts;

namespace {

using orv::LogLine;
using orv::LogSeverity;
using orv::ReportSource;
using orv::Tone;

constexpr const char *NASTY = "<script>alert(1)</script>\"'&\x1b[31m";
constexpr const char *HARMLESS = "&lt;script&gt;alert(1)&lt;/script&gt;&quot;&apos;&amp;\\x1b[31m";

// A node on which every text is nasty.
ReportSource nastyReport() {
  orv::StatusSource source = waitingNode();
  source.run->ceName = NASTY;
  for (orv::EuRecord &eu : source.eus) {
    eu.name = NASTY;
    eu.path = NASTY;
    eu.args = NASTY;
  }
  source.euStatuses[2] = NASTY;
  source.plan.definitionFile = NASTY;
  for (orv::PlannedProgram &program : source.plan.programs)
    program = {true, NASTY, NASTY, NASTY, 3, NASTY};
  for (orv::StartupProgram &program : source.startup->programs)
    program.name = program.path = program.args = program.wait->tag = NASTY;
  ReportSource report;
  report.startup = source.startup;
  report.node = orv::nodeStatus(source);
  for (const orv::ProgramStatus &program : report.node.programs) {
    orv::WhyFacts facts;
    facts.node = report.node;
    facts.program = program;
    facts.lastLines = {NASTY};
    facts.launchFailure = NASTY;
    report.programs.push_back(facts);
  }
  report.log.run = source.run;
  report.log.eus = source.eus;
  orv::Event event;
  event.sequence = 1;
  event.kind = orv::EventKind::ERROR_RAISED;
  event.monotonicNs = START_NS + 1;
  event.text = std::string("kind 0, code 0x1: ") + NASTY + " [" + NASTY + ":1]";
  report.log.events = {event};
  report.log.outputs[2].first = {{1, START_NS + 2, false, NASTY}};
  report.tags.run = source.run;
  report.tags.tags = {tagSetBy(NASTY, NASTY, 1)};
  report.tags.tags[0].value = {orv::TagType::STRING, 0, NASTY};
  report.definitionsProblem = NASTY;
  report.nodeDirectory = NASTY;
  report.machine = NASTY;
  return report;
}

size_t count(const std::string &text, const std::string &part) {
  size_t found = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++found;
  return found;
}

TEST(Report, EverythingIsEscaped) {
  const std::string page = reportHtml(nastyReport());
  EXPECT_EQ(count(page, "<script"), 0U);
  EXPECT_EQ(count(page, "\x1b"), 0U);
  EXPECT_GE(count(page, HARMLESS), 20U);
}

TEST(Report, LoadsNothingFromAnywhere) {
  const std::string page = reportHtml(nastyReport());
  for (const char *loading : {"src=", "url(", "@import", "<link", "<iframe", "<img", "href=\"http", "<base"})
    EXPECT_EQ(count(page, loading), 0U) << loading;
  EXPECT_EQ(count(page, "http://"), count(page, "http://www.w3.org/2000/svg"));
  EXPECT_EQ(count(page, "default-src 'none'"), 1U);
}

TEST(Report, ContentsNameEachSectionOnce) {
  const std::string page = reportHtml(nastyReport());
  size_t sections = 0;
  for (size_t at = page.find("<section id=\""); at != std::string::npos; at = page.find("<section id=\"", at + 1)) {
    const size_t begin = at + std::string("<section id=\"").size();
    const std::string id = page.substr(begin, page.find('"', begin) - begin);
    EXPECT_EQ(count(page, "href=\"#" + id + "\""), 1U) << id;
    ++sections;
  }
  EXPECT_EQ(sections, 11U);
  EXPECT_EQ(count(page, "</section>"), sections);
}

TEST(Report, EmptyNodeHasAPageToo) {
  const std::string page = orv::reportHtml({});
  EXPECT_EQ(count(page, "No run of this node has begun yet."), 2U);
  EXPECT_TRUE(page.ends_with("</html>\n"));
}

TEST(Report, RangesAroundErrorsAreOneWhereTheyTouch) {
  std::vector<LogLine> lines(100);
  EXPECT_TRUE(failureRanges(lines).empty());
  lines[0].severity = LogSeverity::ERROR;
  lines[30].severity = LogSeverity::ERROR;
  lines[40].severity = LogSeverity::ERROR;
  lines[99].severity = LogSeverity::ERROR;
  lines[60].severity = LogSeverity::WARNING;
  const std::vector<orv::LogRange> ranges = failureRanges(lines);
  ASSERT_EQ(ranges.size(), 3U);
  EXPECT_EQ(ranges[0].begin, 0U);
  EXPECT_EQ(ranges[0].end, 5U);
  EXPECT_EQ(ranges[1].begin, 22U);
  EXPECT_EQ(ranges[1].end, 45U);
  EXPECT_EQ(ranges[2].begin, 91U);
  EXPECT_EQ(ranges[2].end, 100U);
}

TEST(Html, PartsToTheLetter) {
  EXPECT_EQ(orv::html("a<b>&\"'\n"), "a&lt;b&gt;&amp;&quot;&apos;\\n");
  EXPECT_EQ(orv::htmlTable({"A", "B"}, {{{"1", Tone::BAD}, {"x<y", Tone::PLAIN, true}}}),
            "<div class=\"r-scroll\"><table><thead><tr><th scope=\"col\">A</th><th scope=\"col\">B</th></tr></thead>"
            "<tbody>\n<tr><td class=\"r-bad\">1</td><td><code>x&lt;y</code></td></tr>\n</tbody></table></div>\n");
  EXPECT_EQ(orv::htmlLines({{"a&b"}, {"c", Tone::WARN}}), "<pre>a&amp;b\n<span class=\"r-warn\">c</span>\n</pre>\n");
  EXPECT_EQ(orv::htmlParagraph({"p", Tone::GOOD}), "<p class=\"r-good\">p</p>\n");
}

}  // namespace
