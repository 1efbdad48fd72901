#include "Report.h"

#include <algorithm>
#include <sstream>

#include "Blame.h"
#include "Clock.h"
#include "ErrorList.h"
#include "HexText.h"
#include "Html.h"
#include "StartupSvg.h"
#include "StatusView.h"
#include "Words.h"

namespace orv {
namespace {

std::string msText(uint64_t ns) {
  return preciseDurationText(ns / NS_PER_MS);
}

// --- Overview -------------------------------------------------------------------------------------------------------

std::string nodeName(const NodeStatus &node) {
  if (!node.run) return "a node without a run";
  return "node " + nidText(node.run->nid) + (node.run->ceName.empty() ? "" : " (" + node.run->ceName + ")");
}

size_t troubled(const ReportSource &source) {
  return static_cast<size_t>(std::count_if(source.programs.begin(), source.programs.end(),
                                           [](const WhyFacts &facts) { return !causeOf(facts).isWell; }));
}

HtmlCell verdict(const ReportSource &source) {
  const NodeStatus &node = source.node;
  if (!node.run) return {"No run of this node has begun yet.", Tone::WARN};
  std::string text;
  Tone tone = Tone::GOOD;
  if (!node.daemonIsAlive) {
    text = node.run->state == RunState::DOWN ? "The node was shut down. " : "The daemon is dead. ";
    tone = node.run->state == RunState::DOWN ? Tone::WARN : Tone::BAD;
  } else if (node.daemonIsStopped) {
    text = "The daemon is stopped. ";
    tone = Tone::BAD;
  }
  const size_t count = troubled(source);
  text += "Start-up: " + startupText(node, PassingTimes::SHOWN) + ". ";
  text += count == 0 ? "Nothing is wrong with its programs."
                     : std::to_string(count) + " of " + std::to_string(source.programs.size()) +
                           (source.programs.size() == 1 ? " program" : " programs") + " need a look.";
  if (count != 0) tone = Tone::BAD;
  if (tone == Tone::GOOD && node.startup != StartupState::COMPLETE) tone = Tone::WARN;
  return {text, tone};
}

Tone toneOf(ProgramState state) {
  switch (state) {
    case ProgramState::ONLINE:
    case ProgramState::RUNNING:
      return Tone::GOOD;
    case ProgramState::AWAITING_TAG:
    case ProgramState::STARTING:
    case ProgramState::WAITS_FOR_TURN:
      return Tone::WARN;
    case ProgramState::LATE:
    case ProgramState::FAILED:
    case ProgramState::LAUNCH_FAILED:
    case ProgramState::ENDED_WITH_DAEMON:
      return Tone::BAD;
    default:
      return Tone::FAINT;
  }
}

std::string statusSection(const ReportSource &source) {
  const NodeStatus &node = source.node;
  if (!node.run) return htmlParagraph({"No run of this node has begun yet."});
  const RunInfo &run = *node.run;
  const std::string daemon = "pid " + std::to_string(run.daemonPid) +
                             (!node.daemonIsAlive    ? ", dead"
                              : node.daemonIsStopped ? ", stopped"
                                                     : ", alive");
  const bool isWell = node.daemonIsAlive && !node.daemonIsStopped;
  return htmlFacts({{{"node id"}, {nidText(run.nid), Tone::PLAIN, true}},
                    {{"CE name"}, {run.ceName.empty() ? "-" : run.ceName}},
                    {{"role"}, {node.isMaster() ? "master" : "slave of " + nidText(run.masterNid)}},
                    {{"daemon"}, {daemon, isWell ? Tone::GOOD : Tone::BAD}},
                    {{"run"}, {std::to_string(run.number) + ", since " + timeText(run.startedRealtimeNs)}},
                    {{"start-up"}, {startupText(node, PassingTimes::SHOWN)}},
                    {{"definition file"}, {node.definitionFile, Tone::PLAIN, true}},
                    {{"node directory"}, {source.nodeDirectory, Tone::PLAIN, true}},
                    {{"machine"}, {source.machine}}});
}

std::string programsSection(const ReportSource &source) {
  if (source.node.programs.empty()) return htmlParagraph({"The node has no programs.", Tone::FAINT});
  std::vector<HtmlRow> rows;
  for (const ProgramStatus &program : source.node.programs) {
    const std::string consequence = consequenceText(program);
    rows.push_back({{program.name, Tone::PLAIN, true},
                    {programStateText(program), toneOf(program.state)},
                    {momentText(source.node, program.sinceNs)},
                    {program.pid == 0 ? "-" : std::to_string(program.pid)},
                    {program.onlineTag.empty() ? "-" : program.onlineTag, Tone::PLAIN, true},
                    {consequence.empty() ? "-" : consequence},
                    {program.args.empty() ? program.path : program.path + " " + program.args, Tone::PLAIN, true}});
  }
  return htmlTable({"EU", "State", "Since", "PID", "Online tag", "On failure", "Program"}, rows);
}

std::string causesSection(const ReportSource &source) {
  std::string text;
  for (const WhyFacts &facts : source.programs) {
    const Cause cause = causeOf(facts);
    if (cause.isWell) continue;
    const bool isWaiting = facts.program.state == ProgramState::WAITS_FOR_TURN;
    text += "<h3>" + html(facts.program.name) + "</h3>\n" +
            htmlParagraph({cause.sentence + ".", isWaiting ? Tone::WARN : Tone::BAD});
    if (!facts.launchFailure.empty()) text += htmlLines({{facts.launchFailure, Tone::PLAIN}});
    std::vector<HtmlCell> lines;
    for (const std::string &line : facts.lastLines)
      lines.push_back({line, Tone::PLAIN});
    if (!lines.empty()) text += htmlParagraph({"Its last lines:", Tone::FAINT}) + htmlLines(lines);
  }
  return text.empty() ? htmlParagraph({"Nothing is wrong with the programs.", Tone::GOOD}) : text;
}

// --- Start-up -------------------------------------------------------------------------------------------------------

std::string chartSection(const ReportSource &source) {
  if (!source.startup) return htmlParagraph({"The events no longer tell of the start-up.", Tone::FAINT});
  const std::string svg = startupSvg(*source.startup);
  // Without the head of a document of its own.
  return "<div class=\"r-scroll\">" + svg.substr(svg.find("<svg")) + "</div>\n";
}

std::string blameSection(const ReportSource &source) {
  if (!source.startup) return htmlParagraph({"The events no longer tell of the start-up.", Tone::FAINT});
  const Blame blame = blameOf(*source.startup);
  const auto share = [&](uint64_t ns) {
    return blame.lengthNs == 0 ? std::string("-") : std::to_string(ns * 100 / blame.lengthNs) + " %";
  };
  std::vector<HtmlRow> rows;
  for (const BlameRow &row : blame.rows) {
    rows.push_back({{source.startup->programs[row.program].name, Tone::PLAIN, true},
                    {msText(row.delayNs)},
                    {share(row.delayNs)},
                    {msText(row.launchNs)},
                    {msText(row.onlineNs)},
                    {msText(row.noticeNs)},
                    {row.resetNs == 0 ? "-" : msText(row.resetNs), row.resetNs == 0 ? Tone::PLAIN : Tone::BAD}});
  }
  rows.push_back({{"the daemon itself", Tone::FAINT},
                  {msText(blame.daemonNs)},
                  {share(blame.daemonNs)},
                  {"-"},
                  {"-"},
                  {"-"},
                  {"-"}});
  return htmlParagraph({"The start-up stood still for each program for so long; together with the daemon's own time "
                        "that is the whole: " +
                            msText(blame.lengthNs) + ".",
                        Tone::FAINT}) +
         htmlTable({"Program", "Held it up", "Share", "Until it ran", "Until its tag was set", "Until that was seen",
                    "Board reset"},
                   rows);
}

// --- Errors and log -------------------------------------------------------------------------------------------------

std::string errorsSection(const ReportSource &source) {
  const RunInfo run = source.log.run.value_or(RunInfo{});
  std::vector<HtmlRow> rows;
  for (const ListedError &listed : listErrors(source.log, 0)) {
    rows.push_back({{timeText(realtimeOf(run, listed.monotonicNs))},
                    {listed.run ? std::to_string(*listed.run) : "-"},
                    {listed.afterStartMs ? preciseDurationText(*listed.afterStartMs) : "-"},
                    {listed.euName.empty() ? "-" : listed.euName, Tone::PLAIN, true},
                    {listed.isRead ? std::to_string(listed.error.kind) : "-"},
                    {hexText(listed.error.code), Tone::PLAIN, true},
                    {listed.error.text, Tone::BAD},
                    {listed.error.file + ":" + std::to_string(listed.error.line), Tone::PLAIN, true}});
  }
  if (rows.empty()) return htmlParagraph({"No error was raised.", Tone::GOOD});
  return htmlTable({"When", "Run", "After", "EU", "Kind", "Code", "Text", "Position"}, rows);
}

HtmlCell logCell(const RunInfo &run, const LogLine &line, const LogColumns &columns) {
  std::string text = logText(run, {line}, columns);
  text.pop_back();  // the line end
  switch (line.severity) {
    case LogSeverity::ERROR:
      return {text, Tone::BAD};
    case LogSeverity::WARNING:
      return {text, Tone::WARN};
    default:
      return {text, line.kind == LogLine::Kind::EVENT ? Tone::PLAIN : Tone::FAINT};
  }
}

std::string logHtml(const RunInfo &run, const std::vector<LogLine> &lines, size_t begin, size_t end) {
  const auto at = [&](size_t index) { return lines.begin() + static_cast<std::ptrdiff_t>(index); };
  const std::vector<LogLine> part(at(begin), at(end));
  LogColumns columns;
  columns.widen(run, part);
  std::vector<HtmlCell> cells;
  cells.reserve(part.size());
  for (const LogLine &line : part)
    cells.push_back(logCell(run, line, columns));
  return htmlLines(cells);
}

// The lines of the latest run, the programs' output among them.
std::vector<LogLine> linesOfRun(const ReportSource &source) {
  LogFilter filter;
  if (source.log.run) filter.sinceNs = source.log.run->startedNs;
  std::vector<LogLine> lines = logLines(source.log, filter);
  for (const auto &[euId, output] : source.log.outputs) {
    LogSource one = source.log;
    one.events.clear();
    std::erase_if(one.eus, [id = euId](const EuRecord &eu) { return eu.id != id; });
    if (one.eus.empty()) continue;
    LogFilter own = filter;
    own.euName = one.eus.front().name;
    const std::vector<LogLine> written = logLines(one, own);
    lines.insert(lines.end(), written.begin(), written.end());
  }
  std::stable_sort(lines.begin(), lines.end(),
                   [](const LogLine &one, const LogLine &other) { return one.monotonicNs < other.monotonicNs; });
  return lines;
}

std::string failuresSection(const ReportSource &source) {
  const RunInfo run = source.log.run.value_or(RunInfo{});
  const std::vector<LogLine> lines = linesOfRun(source);
  const std::vector<LogRange> ranges = failureRanges(lines);
  if (ranges.empty()) return htmlParagraph({"No line of this run is an error.", Tone::GOOD});
  std::string text;
  for (const LogRange &range : ranges)
    text += logHtml(run, lines, range.begin, range.end);
  return text;
}

std::string logSection(const ReportSource &source) {
  constexpr size_t MOST_LINES = 1000;
  const RunInfo run = source.log.run.value_or(RunInfo{});
  const std::vector<LogLine> lines = linesOfRun(source);
  const size_t begin = lines.size() > MOST_LINES ? lines.size() - MOST_LINES : 0;
  const std::string summary = begin == 0 ? "All " + std::to_string(lines.size()) + " lines of this run"
                                         : "The last " + std::to_string(MOST_LINES) + " of " +
                                               std::to_string(lines.size()) + " lines of this run";
  return htmlDetails(summary, logHtml(run, lines, begin, lines.size()));
}

// --- Tags, definitions, resets --------------------------------------------------------------------------------------

std::string tagsSection(const ReportSource &source) {
  if (source.tags.tags.empty()) return htmlParagraph({"No tag is set.", Tone::FAINT});
  std::vector<HtmlRow> rows;
  for (const Tag &tag : source.tags.tags) {
    std::string warnings;
    for (const std::string &warning : tagWarnings(source.tags, tag))
      warnings += (warnings.empty() ? "" : ", ") + warning;
    const std::optional<uint64_t> afterMs = afterStartMs(source.tags, tag);
    rows.push_back({{tag.name, Tone::PLAIN, true},
                    {valueText(tag.value), Tone::PLAIN, true},
                    {typeText(tag.value.type)},
                    {afterMs ? preciseDurationText(*afterMs) : "-"},
                    {tag.setter.euName.empty() ? "-" : tag.setter.euName, Tone::PLAIN, true},
                    {std::to_string(tag.setter.pid)},
                    {tag.setter.executable.empty() ? "-" : tag.setter.executable, Tone::PLAIN, true},
                    {warnings.empty() ? "-" : warnings, warnings.empty() ? Tone::FAINT : Tone::WARN}});
  }
  return htmlTable({"Tag", "Value", "Type", "Set after", "By EU", "PID", "Executable", "Beware"}, rows);
}

std::string findingsHtml(const CheckResult &result) {
  if (result.findings.empty()) return htmlParagraph({"Nothing to find fault with.", Tone::GOOD});
  std::vector<HtmlRow> rows;
  for (const Finding &finding : result.findings) {
    const bool isError = finding.severity == CheckSeverity::ERROR;
    const std::string place =
        finding.line == 0 ? "-" : std::to_string(finding.line) + ":" + std::to_string(finding.column);
    rows.push_back({{place, Tone::PLAIN, true},
                    {isError ? "error" : "warning", isError ? Tone::BAD : Tone::WARN},
                    {finding.what},
                    {finding.why},
                    {finding.instead}});
  }
  return htmlTable({"Line", "Severity", "What", "What the daemon does", "Instead"}, rows);
}

std::string definitionsSection(const ReportSource &source) {
  if (!source.definitions) return htmlParagraph({source.definitionsProblem, Tone::WARN});
  std::string text;
  for (const CheckedInput &input : source.definitions->inputs) {
    text += "<h3>" + html(input.name) + "</h3>\n";
    if (!input.problem.empty()) {
      text += htmlParagraph({input.problem, Tone::BAD});
      continue;
    }
    std::vector<std::string> head;
    for (const RecordColumn &column : input.columns)
      head.push_back(column.title);
    std::vector<HtmlRow> rows;
    for (const std::vector<std::string> &record : input.records) {
      HtmlRow &row = rows.emplace_back();
      for (const std::string &cell : record)
        row.push_back({cell, Tone::PLAIN, true});
    }
    text += htmlTable(head, rows);
  }
  return text + "<h3>Findings</h3>\n" + findingsHtml(*source.definitions);
}

std::string resetSection(const ReportSource &source) {
  if (!source.resetStory) return htmlParagraph({"No start is recorded.", Tone::FAINT});
  std::vector<HtmlCell> lines;
  std::istringstream text(resetStoryText(*source.resetStory));
  for (std::string line; std::getline(text, line);)
    lines.push_back({line, Tone::PLAIN});
  return htmlLines(lines);
}

}  // namespace

std::vector<LogRange> failureRanges(const std::vector<LogLine> &lines) {
  constexpr size_t BEFORE = 8;
  constexpr size_t AFTER = 4;
  std::vector<LogRange> ranges;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].severity != LogSeverity::ERROR) continue;
    const LogRange range = {i < BEFORE ? 0 : i - BEFORE, std::min(lines.size(), i + AFTER + 1)};
    if (!ranges.empty() && range.begin <= ranges.back().end) {
      ranges.back().end = range.end;
    } else {
      ranges.push_back(range);
    }
  }
  return ranges;
}

std::string reportHtml(const ReportSource &source) {
  const std::string head =
      htmlParagraph({"Made " + timeText(source.madeRealtimeNs) + " by orvctl report.", Tone::FAINT}) +
      htmlParagraph(verdict(source));
  return htmlPage("Report on " + nodeName(source.node), head,
                  {{"node", "Node", statusSection(source)},
                   {"programs", "Programs", programsSection(source)},
                   {"causes", "What is wrong", causesSection(source)},
                   {"chart", "Start-up", chartSection(source)},
                   {"blame", "Who held it up", blameSection(source)},
                   {"errors", "Raised errors", errorsSection(source)},
                   {"failures", "Log around failures", failuresSection(source)},
                   {"tags", "Tags", tagsSection(source)},
                   {"definitions", "Definition file", definitionsSection(source)},
                   {"reset", "How the last run ended", resetSection(source)},
                   {"log", "Log", logSection(source)}});
}

}  // namespace orv
