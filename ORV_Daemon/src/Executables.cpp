#include "Executables.h"

#include <ios>

#include "AaConfig.h"
#include "AaError.h"
#include "AaPro.h"
#include "Applications.h"
#include "DaemonLog.h"
#include "OrvDaemon.h"
#include "Startup.h"

namespace {

constexpr uint32_t RAD_EXE_ONLINE_BUDGET_MS = 0x10070;

constexpr uint32_t EXE_ERROR_KIND = 1;
constexpr uint32_t EXE_ERROR_CODE = 0x1004b;
constexpr uint32_t EXE_FAILURE_LINE = 1186;  // see SOURCE_FILE
constexpr uint32_t EXE_ONLINE_LINE = 1317;

void *exeSentinelEntry(void *argument) {
  const auto *block = static_cast<const ExeSentinelArgs *>(argument);
  exeSentinel(block->context, block->definition);
  return nullptr;
}

// Logs how a program that ran has ended, from its POSIX wait status alone. Returns 1 for exit code 0, else 0.
int reportExit(const std::string &path, int32_t waitStatus) {
  constexpr int32_t SIGNAL_MASK = 0x7f;  // 0: exited; 0x7f: stopped; else the signal that ended it
  const int32_t signalNumber = waitStatus & SIGNAL_MASK;
  if (signalNumber == 0) {
    const int32_t exitCode = (waitStatus >> 8) & 0xff;
    if (exitCode == 0) {
      logInfo("exeRun", "executable '", path, "' terminated successfully");
      return 1;
    }
    logError("exeRun", "executable '", path, "' failed with status ", exitCode);
    return 0;
  }
  if (signalNumber != SIGNAL_MASK) {
    logError("exeRun", "executable '", path, "' exited due to signal ", signalNumber);
    return 0;
  }
  logError("exeRun", "executable '", path, "' exited abnormally");
  return 0;
}

}  // namespace

int exeStart(uint32_t context) {
  if (gExeDefString[0] == '\0') {
    logInfo("exeStart", "no executable configured, skipping");
    return 1;
  }
  ExeDefTable table{};
  if (parseExeDefs(gExeDefString, table) == 0) return 0;
  if (table.count == 0) return 1;
  if (exeStartAll(context, table) == 0) return 0;
  if (ceShutdownWasGraceful(context) == 1) return exeOnlineWait(context, table);
  logInfo("exeStart", "ungraceful shutdown, not waiting for any online tags");
  return 1;
}

int exeStartAll(uint32_t context, const ExeDefTable &table) {
  for (unsigned i = 0; i < table.count; ++i) {
    const ExeDef &definition = table.definitions[i];
    if (definition.path[0] == '\0') continue;
    ExeSentinelArgs block{};
    block.context = context;
    block.definition = definition;
    logInfo("exeStartAll", "Executable '", definition.path, "' starting");
    uint32_t euId = 0;
    const int32_t result = AaProEuCreateAndStart(&euId, definition.path, exeSentinelEntry, SENTINEL_STACK_BYTES,
                                                 SENTINEL_PRIORITY, &block, sizeof block);
    if (result != 0) {
      logError("exeStartAll", "Exe sentinel EU creation failed with error ", result);
      return 0;
    }
  }
  return 1;
}

int exeOnlineWait(uint32_t context, const ExeDefTable &table) {
  uint32_t budgetMs = AaConfigRadGetValue(RAD_EXE_ONLINE_BUDGET_MS);
  if (budgetMs == 0) budgetMs = EXE_ONLINE_TIMEOUT_MS;
  for (unsigned i = 0; i < table.count; ++i) {
    const ExeDef &definition = table.definitions[i];
    if (definition.onlineTag[0] == '\0') continue;
    const std::string tag = definition.onlineTag;
    if (readyWait(context, tag, budgetMs) == 0) {
      const std::string text = tag + " tag not set in time for executable " + definition.path;
      AaErrorExceptionRaise(EXE_ERROR_KIND, EXE_ERROR_CODE, 0, 0, text.c_str(), SOURCE_FILE, EXE_ONLINE_LINE);
      return 0;
    }
  }
  return 1;
}

void exeSentinel(uint32_t context, const ExeDef &definition) {
  const std::string path = definition.path;
  const std::string args = definition.args;
  if (exeRun(context, path, args, definition.supervisionFlags) == 1) return;
  const std::string text = "failure of executable " + path;
  AaErrorExceptionRaise(EXE_ERROR_KIND, EXE_ERROR_CODE, 0, 0, text.c_str(), SOURCE_FILE, EXE_FAILURE_LINE);
}

int exeRun(uint32_t, const std::string &path, const std::string &args, uint32_t supervisionFlags) {
  constexpr int32_t RAN_AND_SUCCEEDED = 0;
  constexpr int32_t RAN = 5;  // treated like 0 on purpose: the wait status tells how it ended
  int32_t waitStatus = 0;
  logInfo("exeRun", "executable '", path, "'(", args, ") starting under sentinel EU ", std::hex, std::showbase,
          AaProEuCurrent(), " with supervision flags ", supervisionFlags);
  const int32_t result = AaProCmdExec(path.c_str(), args.c_str(), supervisionFlags, &waitStatus);
  if (result != RAN_AND_SUCCEEDED && result != RAN) {
    logError("exeRun", "executable '", path, "' launch failed with status ", result);
    return 0;
  }
  return reportExit(path, waitStatus);
}
