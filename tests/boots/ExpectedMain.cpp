#include "ExpectedMain.h"

#include "ExpectedUsage.h"

namespace boots {
namespace {

void walkEarlyStartup(EuWalk &walk) {
  walk.begins(Rule::BANNER, "err: RT-ORV build @(#)");
  walk.answer(Rule::EARLY_STARTUP, "AaStartupEarlyStartup()");
  walk.log(Rule::EARLY_STARTUP, Severity::INFO, "systemdNotify: sending notification to systemd");
  walk.answer(Rule::EARLY_STARTUP, "ddal_system_notify_ready()");
}

void walkOptionSteps(EuWalk &walk, const ExpectedOptions &options) {
  for (const Step &step : options.steps) {
    if (step.answered) {
      walk.answer(step.rule, step.text);
    } else {
      walk.is(step.rule, step.text);
    }
  }
}

void walkNoOption(EuWalk &walk) {
  for (const char *line : usageLines())
    walk.console(Rule::NO_OPTION, "out: ", line);
  walk.log(Rule::NO_OPTION, Severity::ERROR, "main: Command line parsing failed");
}

// Whether the start-up EU runs.
bool walkFullStartup(EuWalk &walk, MainResult &result) {
  walk.log(Rule::CE_STARTUP, Severity::INFO, "fullStartup: CE start-up");
  const int64_t started = walk.answer(Rule::CE_STARTUP, "AaStartupCeStartup()");
  result.ceStarted = walk.last();
  if (started != 0) {
    walk.log(Rule::CE_STARTUP, Severity::ERROR, "fullStartup: CE AaStartup failed");
    return false;
  }
  std::string_view created = walk.begins(
      Rule::STARTUP_EU, "AaProEuCreateAndStartJoinable(\"ceInternalStartupEu\", 4096, 10, context + 0 bytes, 1) = ");
  if (takeOff(created, "0, EU ")) {
    result.startupEu = static_cast<uint32_t>(wholeNumber(created).value_or(0));
    result.euCreatedAt = walk.last();
    return true;
  }
  walk.log(Rule::STARTUP_EU, Severity::ERROR, "fullStartup: start-up EU creation failed");
  return false;
}

}  // namespace

void walkMain(EuWalk &walk, const ExpectedOptions &options, MainResult &result) {
  walkEarlyStartup(walk);
  bool started = false;
  if (options.any) {
    walkOptionSteps(walk, options);
    started = walkFullStartup(walk, result);
  } else {
    walkNoOption(walk);
  }
  if (!started) {
    result.exitStatus = 1;
    walk.nothingMore(Rule::EXIT_STATUS);
    return;
  }
  walk.log(Rule::SHUTDOWN_REQUEST, Severity::INFO, "shutdown: Initiated CE level shutdown");
  walk.is(Rule::SHUTDOWN_REQUEST, "AaStartupCeShutdown()");
  walk.answer(Rule::SHUTDOWN_REQUEST, "AaStartupCeShutdown()");
  result.shutdownReturned = true;
  walk.is(Rule::SHUTDOWN_REQUEST, "err: OrvDaemon: returned success");
  result.exitStatus = 0;
  walk.nothingMore(Rule::EXIT_STATUS);
}

}  // namespace boots
