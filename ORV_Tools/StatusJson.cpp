#include <sys/wait.h>

#include "Clock.h"
#include "Json.h"
#include "LogView.h"
#include "StatusView.h"

namespace orv {
namespace {

const char *runStateName(RunState state) {
  switch (state) {
    case RunState::EARLY:
      return "early";
    case RunState::UP:
      return "up";
    case RunState::DOWN:
      return "down";
  }
  return "";
}

const char *kindName(ProgramStatus::Kind kind) {
  switch (kind) {
    case ProgramStatus::Kind::OTHER:
      return "other";
    case ProgramStatus::Kind::EXECUTABLE:
      return "executable";
    case ProgramStatus::Kind::APPLICATION:
      return "application";
  }
  return "";
}

std::string awaitedJson(const NodeStatus &status) {
  if (!status.awaited) return "null";
  return JsonObject()
      .text("name", status.awaited->name)
      .text("tag", status.awaited->tag)
      .number("waited_ms", status.awaited->waitedMs)
      .number("left_ms", status.awaited->leftMs)
      .number("budget_ms", status.awaited->budgetMs)
      .str();
}

std::string startupOfJson(const NodeStatus &status) {
  const char *skipped = skipName(status.skipped);
  return JsonObject()
      .text("state", startupStateName(status.startup))
      .number("length_ms", status.startupMs)
      .number("programs_started", status.started)
      .number("programs_planned", status.planned)
      .raw("awaited", awaitedJson(status))
      .raw("applications_skipped", skipped == nullptr ? "null" : jsonString(skipped))
      .text("definition_file", status.definitionFile)
      .str();
}

std::string programJson(const NodeStatus &status, const ProgramStatus &program) {
  const bool exited = program.hasEnded && WIFEXITED(program.waitStatus);
  const bool wasKilled = program.hasEnded && WIFSIGNALED(program.waitStatus);
  JsonObject object;
  object.raw("eu_id", program.euId == 0 ? "null" : std::to_string(program.euId));
  object.text("name", program.name).text("kind", kindName(program.kind));
  object.text("path", program.path).text("args", program.args);
  object.raw("pid", program.pid == 0 ? "null" : std::to_string(program.pid));
  object.text("state", programStateName(program.state));
  object.numberOrNull("since_monotonic_ns", program.sinceNs);
  object.raw("since_realtime_ns", program.sinceNs ? std::to_string(realtimeOf(*status.run, *program.sinceNs)) : "null");
  object.raw("exit_code", exited ? std::to_string(WEXITSTATUS(program.waitStatus)) : "null");
  object.raw("signal", wasKilled ? std::to_string(WTERMSIG(program.waitStatus)) : "null");
  object.raw("launch_result", program.state == ProgramState::LAUNCH_FAILED ? std::to_string(program.result) : "null");
  object.textOrNull("online_tag", program.onlineTag).textOrNull("says", program.says);
  object.number("restarts", 0);
  return object.flag("raises_error", program.raisesError()).flag("resets_board", program.resetsBoard()).str();
}

std::string runJson(const NodeStatus &status) {
  const RunInfo &run = *status.run;
  return JsonObject()
      .number("number", run.number)
      .text("state", runStateName(run.state))
      .number("started_monotonic_ns", run.startedNs)
      .number("started_realtime_ns", run.startedRealtimeNs)
      .number("age_ms", (status.nowNs > run.startedNs ? status.nowNs - run.startedNs : 0) / NS_PER_MS)
      .str();
}

std::string nodeJson(const NodeStatus &status) {
  return JsonObject()
      .number("nid", status.run->nid)
      .text("ce_name", status.run->ceName)
      .text("role", status.isMaster() ? "master" : "slave")
      .number("master_nid", status.run->masterNid)
      .str();
}

}  // namespace

std::string statusJson(const NodeStatus &status) {
  if (!status.run) return "{\"run\": null}\n";
  const auto json = [&status](const ProgramStatus &program) { return programJson(status, program); };
  return JsonObject()
             .raw("run", runJson(status))
             .raw("node", nodeJson(status))
             .raw("daemon", JsonObject()
                                .number("pid", status.run->daemonPid)
                                .flag("alive", status.daemonIsAlive)
                                .flag("stopped", status.daemonIsStopped)
                                .str())
             .raw("startup", startupOfJson(status))
             .raw("programs", jsonArray(status.programs, json))
             .str() +
         "\n";
}

}  // namespace orv
