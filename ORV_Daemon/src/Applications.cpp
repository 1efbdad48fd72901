#include "Applications.h"

#include <ios>

#include "AaConfig.h"
#include "AaError.h"
#include "AaFile.h"
#include "AaMem.h"
#include "AaPro.h"
#include "AaSysCom.h"
#include "AaSysTime.h"
#include "DaemonLog.h"
#include "Executables.h"
#include "NodeActions.h"
#include "OrvDaemon.h"

namespace {

constexpr const char *DEFAULT_FILE_NAME = "/rom/AppDef.txt";
constexpr uint32_t RAD_APP_FILE_OPTIONAL = 0x10063;

// Kind and code differ from those of an executable's failure; that is how the two are told apart in the field.
constexpr uint32_t APP_ERROR_KIND = 0;
constexpr uint32_t APP_ERROR_CODE = 0x12345678;
constexpr uint32_t APP_FAILURE_LINE = 900;  // see SOURCE_FILE

constexpr uint32_t APP_STARTUP_DONE_MSG = 0xFD28;
constexpr uint32_t APP_STARTUP_DONE_PAYLOAD_BYTES = 4;  // not written: the message id alone is the notice
constexpr uint32_t APP_STARTUP_DONE_RECEIVER = 0x0FF004E7;
constexpr uint32_t APP_STARTUP_DONE_SENDER_CPID = 0xFFFE;

constexpr uint32_t UNIT_MILLISECONDS = 3;

bool readFileCharacter(void *file, char &character) {
  return AaFileRead(&character, 1, 1, file) == 1;
}

void reportInaccessibleFile() {
  if (AaConfigRadGetValue(RAD_APP_FILE_OPTIONAL) != 0) {
    logWarning("parseAppExeDefFile", "application definition file inaccessible, but not required due to RAD tag ",
               std::hex, std::showbase, RAD_APP_FILE_OPTIONAL);
  } else {
    logError("parseAppExeDefFile", "application definition file inaccessible");
  }
}

std::string definitionFileName() {
  std::string fileName = DEFAULT_FILE_NAME;
  char *text = nullptr;
  uint32_t length = 0;
  AaConfigTagGetString(FILE_NAME_TAG, &text, &length);  // result not examined: the pointer tells
  if (text != nullptr) {
    fileName = text;
    AaMemUnRefDbg(&text, SOURCE_FILE, __LINE__);
  }
  return fileName;
}

void appStartNotify() {
  void *message = AaSysComMsgCreate(APP_STARTUP_DONE_MSG, APP_STARTUP_DONE_PAYLOAD_BYTES, APP_STARTUP_DONE_RECEIVER);
  if (message == nullptr) return;
  const uint32_t ownNid = AaSysComGetOwnNid();
  setMessageSender(message, (ownNid << 16) | APP_STARTUP_DONE_SENDER_CPID);
  AaSysComMsgSendWithPriority(&message, 0);  // result not examined: the platform reports what it cannot deliver
}

void *appSentinelEntry(void *argument) {
  const auto *block = static_cast<const AppSentinelArgs *>(argument);
  appSentinel(block->context, block->definition);
  return nullptr;
}

void startSentinel(uint32_t context, const AppExeDef &definition) {
  AppSentinelArgs block{};
  block.context = context;
  block.definition = definition;
  uint32_t euId = 0;
  // Result not examined: an application without its EU does not come online, and that is acted on.
  AaProEuCreateAndStart(&euId, definition.name, appSentinelEntry, SENTINEL_STACK_BYTES, SENTINEL_PRIORITY, &block,
                        sizeof block);
}

}  // namespace

void appStart(uint32_t context) {
  if (AaConfigTagIsSet(REPAIR_RESET_TAG) != 0 || AaConfigTagIsSet(CONFIGURATION_RESET_TAG) != 0) {
    logInfo("appStart", "repair/reset tag set, application start-up disabled");
    return;
  }
  logInfo("appStart", "application start-up");
  AppExeDefTable table{};
  if (parseAppExeDefFile(definitionFileName(), table)) appStartAll(context, table);
  logInfo("appStart", "application start-up complete");
  appStartNotify();
}

bool parseAppExeDefFile(const std::string &fileName, AppExeDefTable &table) {
  table.count = 0;
  void *file = AaFileOpen(fileName.c_str(), "r");
  if (file == nullptr) {
    reportInaccessibleFile();
    return false;
  }
  parseAppExeDefs(readFileCharacter, file, table);
  AaFileClose(file);
  return true;
}

void appStartAll(uint32_t context, const AppExeDefTable &table) {
  for (unsigned i = 0; i < table.count; ++i) {
    const AppExeDef &definition = table.definitions[i];
    if (definition.path[0] == '\0') continue;
    startSentinel(context, definition);
    if (definition.onlineTag[0] == '\0') continue;
    uint32_t remainingMs = APP_ONLINE_TIMEOUT_MS;
    if (readyWait(context, definition.onlineTag, remainingMs) == 1) continue;
    logError("appStartAll", "timed out waiting for application ", definition.name, " to go online, resetting");
    boardReset(context);
  }
}

void appSentinel(uint32_t context, const AppExeDef &definition) {
  const std::string path = definition.path;
  const std::string args = definition.args;
  if (exeRun(context, path, args, static_cast<uint32_t>(definition.supervisionFlags)) == 1) return;
  if ((definition.supervisionFlags & RAISE_ON_FAILURE) != 0) {
    const std::string text = std::string("failure of application ") + definition.name;
    AaErrorExceptionRaise(APP_ERROR_KIND, APP_ERROR_CODE, 0, 0, text.c_str(), SOURCE_FILE, APP_FAILURE_LINE);
  }
  if ((definition.supervisionFlags & RESET_ON_FAILURE) != 0) {
    logInfo("appSentinel", "supervised application ", definition.name, " failed, requesting system reset");
    boardReset(context);
  }
}

int readyWait(uint32_t, const std::string &tagName, uint32_t &remainingMs) {
  logInfo("readyWait", "waiting ", remainingMs, " ms for ", tagName, " to be set");
  while (AaConfigTagIsSet(tagName.c_str()) == 0) {
    if (remainingMs == 0) {
      logError("readyWait", tagName, " tag not set in time");
      return 0;
    }
    AaSysTimeSleep(READY_POLL_INTERVAL_MS, UNIT_MILLISECONDS);
    remainingMs = remainingMs >= READY_POLL_INTERVAL_MS ? remainingMs - READY_POLL_INTERVAL_MS : 0;
  }
  logInfo("readyWait", tagName, " tag set in time");
  return 1;
}
