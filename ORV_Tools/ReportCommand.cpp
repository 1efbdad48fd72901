#include "ReportCommand.h"

#include <sys/utsname.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

#include "Clock.h"
#include "FlightRecord.h"
#include "NodePaths.h"
#include "ReplaceFile.h"
#include "Report.h"
#include "Terminal.h"
#include "WhyCommand.h"

namespace orv {
namespace {

// Readable for whom the umask lets read it.
constexpr mode_t REPORT_MODE = 0644;

std::string machineText() {
  utsname names = {};
  if (uname(&names) != 0) return "-";
  return std::string(names.nodename) + ", " + names.sysname + " " + names.release + " " + names.machine;
}

LogSource readLog(const NodeStore &store) {
  LogSource source;
  source.events = store.events();
  source.run = store.run();
  source.eus = store.eus();
  for (const EuRecord &eu : source.eus)
    source.outputs[eu.id] = store.output(eu.id);
  return source;
}

void checkDefinitions(const NodeStore &store, ReportSource &report) {
  const std::string file = definitionFileOf(store);
  std::error_code failed;
  if (!std::filesystem::exists(file, failed)) {
    report.definitionsProblem = "The definition file " + file + " is not there.";
    return;
  }
  CheckOptions options;
  const char *searchPath = std::getenv("PATH");
  options.searchPath = searchPath == nullptr ? "" : searchPath;
  report.definitions = checkDefinitionFile(file, options);
}

ReportSource readReport(const NodeStore &store, const Arguments &arguments) {
  ReportSource report;
  report.log = readLog(store);
  const StatusSource status = readStatusSource(store);
  report.node = nodeStatus(status);
  report.startup = status.startup;
  for (const ProgramStatus &program : report.node.programs) {
    if (program.kind == ProgramStatus::Kind::OTHER) continue;
    report.programs.push_back(readWhyFacts(store, status, report.node, program));
  }
  report.tags.run = status.run;
  report.tags.daemonIsAlive = status.daemonIsAlive;
  report.tags.tags = status.tags;
  checkDefinitions(store, report);
  FlightRecord record;
  const std::string state = arguments.stateDirectory.empty() ? stateDirectory() : arguments.stateDirectory;
  if (readFlightRecord(state, record).ok()) report.resetStory = resetStoryOf(record);
  report.nodeDirectory = nodeDirectoryOf(arguments);
  report.machine = machineText();
  report.madeRealtimeNs = realtimeNs();
  return report;
}

}  // namespace

void addReportOptions(CLI::App &command, ReportArguments &options) {
  command
      .add_option("-o,--output", options.file,
                  "File to write, whole or not at all; - for standard output (else node.html)")
      ->type_name("FILE");
}

int report(const Arguments &arguments, const ReportArguments &options, std::string &output) {
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  useColours(ColourUse::NEVER);  // the log's lines stand in a page and not on a terminal
  const std::string page = reportHtml(readReport(*store, arguments));
  if (options.file == "-") {
    output += page;
    return EXIT_DONE;
  }
  if (const Status written = replaceFile(options.file, REPORT_MODE, page); !written.ok()) {
    complain(written.message);
    return EXIT_FAILED;
  }
  output += options.file + "\n";
  return EXIT_DONE;
}

}  // namespace orv
