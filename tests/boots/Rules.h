// What every boot has to keep, under any fault, order of turns and signal: the rules that the oracle judges by, each
// with its name.
#ifndef ORV_BOOTS_RULES_H
#define ORV_BOOTS_RULES_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace boots {

enum class Rule {
  READABLE,
  // The process's first thread.
  BANNER,
  EARLY_STARTUP,
  NO_OPTION,
  USAGE,
  OPTION_DIAGNOSTIC,
  TAG_ASSIGNMENT,
  START_OPTION,
  SLAVE_LIST,
  STARTUP_RECORD,
  CE_STARTUP,
  STARTUP_EU,
  SHUTDOWN_REQUEST,
  EXIT_STATUS,
  // The start-up EU.
  EXE_DEFINITIONS,
  EXE_START,
  EXE_WAIT,
  EXE_LATE_RAISE,
  EXE_FAILED_SKIPS_APPS,
  UNGRACEFUL,
  RESET_TAGS,
  FILE_NAME,
  DEFINITION_FILE,
  APP_START,
  APP_TIMED_OUT,
  APP_NOTICE,
  NOTIFICATION,
  SHUTDOWN_SUPPORT,
  COMPLETE,
  TERMINATION,
  // Wherever it happens.
  LOG_TWICE,
  ONLINE_WAIT,
  BOARD_RESET,
  // The sentinel EUs.
  RUN,
  RUN_OUTCOME,
  EXE_RAISE,
  APP_RAISE,
  APP_RESET,
  // Across EUs.
  COMPLETE_ONCE,
  LIMITS,
  EU_LIFE,
  SIGNAL,
  NOTHING_LEFT,
  IDLE,
  END,
  // The node itself.
  TIME,
  TAG_STORE,
  RAD,
  PROGRAM,
  COUNT
};

const char *ruleName(Rule rule);

struct Violation {
  Rule rule = Rule::READABLE;
  std::optional<size_t> line;  // index into the trace; without: its end
  std::string words;           // what was due and what there was
};

using Violations = std::vector<Violation>;

}  // namespace boots

#endif
