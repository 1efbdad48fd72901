#include "ExpectedStartup.h"

#include "DefinitionReader.h"
#include "ExecutableText.h"
#include "ExpectedOperations.h"
#include "HexText.h"
#include "Trace.h"

namespace boots {
namespace {

using orv::hexText;
using orv::sim::quoted;

constexpr uint32_t EXE_BUDGET_MS = 240000;
constexpr uint32_t APP_BUDGET_MS = 240000;
constexpr uint32_t LATE_RAISE_LINE = 1317;
constexpr size_t EXE_BLOCK_BYTES = 600;  // behind the context: the definition, padded to whole words
constexpr size_t APP_BLOCK_BYTES = 808;

class Startup {
 public:
  Startup(EuWalk &walk, const ExpectedOptions &options, const orv::sim::Scenario &scenario, StartupResult &result)
      : walk_(walk), options_(options), scenario_(scenario), result_(result) {}

  void all() {
    if (!executables()) {
      error(Rule::EXE_FAILED_SKIPS_APPS, "ceInternalStartup: executable start-up failed, application start-up skipped");
    } else if (!graceful()) {
      info(Rule::UNGRACEFUL, "ceInternalStartup: ungraceful shutdown, application start-up disabled");
    } else {
      applications();
    }
    if (options_.notifyReceiver != 0) notify();
    shutdownSupport();
    info(Rule::COMPLETE, "ceInternalStartup: CE start-up complete");
    result_.complete = true;
    waitForTheEnd();
  }

 private:
  void info(Rule rule, const std::string &message) {
    walk_.log(rule, Severity::INFO, message);
  }
  void error(Rule rule, const std::string &message) {
    walk_.log(rule, Severity::ERROR, message);
  }

  bool graceful() {
    return walk_.answer(Rule::UNGRACEFUL, "AaStartupCeUngracefulShutdownCount(context)") == 0;
  }

  // The rest of a creation's line behind its arguments: an EU, or an error code.
  int64_t create(Rule rule, Sentinel sentinel, size_t blockBytes) {
    std::string_view rest =
        walk_.begins(rule, "AaProEuCreateAndStart(" + quoted(sentinel.name) + ", 4132, 31, context + " +
                               std::to_string(blockBytes) + " bytes) = ");
    if (!takeOff(rest, "0, EU ")) return wholeNumber(rest).value_or(0);
    sentinel.eu = static_cast<uint32_t>(wholeNumber(rest).value_or(0));
    sentinel.createdAt = walk_.last();
    result_.sentinels.push_back(std::move(sentinel));
    return 0;
  }

  bool executables() {
    if (options_.executables.empty()) {
      info(Rule::EXE_DEFINITIONS, "exeStart: no executable configured, skipping");
      return true;
    }
    info(Rule::EXE_DEFINITIONS, "parseExeDefs: Executables: " + options_.executables);
    const Executables all = readExecutables(options_.executables);
    for (const Executable &executable : all.known) {
      info(Rule::EXE_DEFINITIONS, "parseExeDefs: Executable '" + executable.path + "' has arguments '" +
                                      executable.path + "' and online tag to wait '" + executable.tag + "'");
    }
    if (all.tooMany) {
      error(Rule::EXE_DEFINITIONS, "parseExeDefs: Too many executables specified, maximum is 3");
      return false;
    }
    if (all.known.empty()) return true;
    for (const Executable &executable : all.known) {
      info(Rule::EXE_START, "exeStartAll: Executable '" + executable.path + "' starting");
      const int64_t refused =
          create(Rule::EXE_START, {0, 0, false, executable.path, executable.path, executable.args, executable.flags},
                 EXE_BLOCK_BYTES);
      if (refused == 0) continue;
      error(Rule::EXE_START, "exeStartAll: Exe sentinel EU creation failed with error " + std::to_string(refused));
      return false;
    }
    if (graceful()) return executablesOnline(all.known);
    info(Rule::UNGRACEFUL, "exeStart: ungraceful shutdown, not waiting for any online tags");
    return true;
  }

  bool executablesOnline(const std::vector<Executable> &executables) {
    auto budgetMs = static_cast<uint32_t>(walk_.answer(Rule::EXE_WAIT, "AaConfigRadGetValue(0x10070)"));
    if (budgetMs == 0) budgetMs = EXE_BUDGET_MS;
    for (const Executable &executable : executables) {
      if (executable.tag.empty() || walkOnlineWait(walk_, executable.tag, budgetMs)) continue;
      walkRaise(walk_, Rule::EXE_LATE_RAISE, "1, 0x1004b",
                executable.tag + " tag not set in time for executable " + executable.path, LATE_RAISE_LINE);
      return false;
    }
    return true;
  }

  bool isSet(const char *tag) {
    return walk_.answer(Rule::RESET_TAGS, "AaConfigTagIsSet(" + quoted(tag) + ")") != 0;
  }

  void applications() {
    if (isSet("sys.repair.center.reset") || isSet("sys.configuration.reset")) {
      info(Rule::RESET_TAGS, "appStart: repair/reset tag set, application start-up disabled");
      return;
    }
    info(Rule::FILE_NAME, "appStart: application start-up");
    const std::string name = fileName();
    std::string_view opened = walk_.begins(Rule::DEFINITION_FILE, "AaFileOpen(" + quoted(name) + ", \"r\") = ");
    if (opened != "null") {
      startApplications(readFile(name, std::string(opened)));
    } else if (walk_.answer(Rule::DEFINITION_FILE, "AaConfigRadGetValue(0x10063)") != 0) {
      walk_.log(
          Rule::DEFINITION_FILE, Severity::WARNING,
          "parseAppExeDefFile: application definition file inaccessible, but not required due to RAD tag 0x10063");
    } else {
      error(Rule::DEFINITION_FILE, "parseAppExeDefFile: application definition file inaccessible");
    }
    info(Rule::APP_NOTICE, "appStart: application start-up complete");
    sendNotice();
  }

  std::string fileName() {
    std::string_view rest = walk_.begins(Rule::FILE_NAME, "AaConfigTagGetString(\"app.hwapi.appcfg.filename\") = ");
    if (!takeOff(rest, "0, buffer ")) return "/rom/AppDef.txt";
    const std::string buffer(rest.substr(0, rest.find(' ')));
    rest.remove_prefix(std::min(rest.size(), buffer.size() + 1));
    std::string name = takeQuoted(rest).value_or("");
    std::string_view line = walk_.begins(Rule::FILE_NAME, "AaMemUnRefDbg(buffer " + buffer + ", " + SOURCE_PATH + ", ");
    if (!line.ends_with(")") || !wholeNumber(line.substr(0, line.size() - 1)))
      walk_.violated(Rule::FILE_NAME, "due: a line number");
    return name;
  }

  std::vector<Application> readFile(const std::string &name, const std::string &file) {
    const auto found = scenario_.files.find(name);
    if (found == scenario_.files.end()) walk_.violated(Rule::DEFINITION_FILE, "there is no such file");
    const std::string &content = found->second;
    const std::string call = "AaFileRead(1, 1, " + file + ") = ";
    DefinitionReader reader;
    size_t position = 0;
    for (bool more = true; more;) {
      std::string_view rest = walk_.begins(Rule::DEFINITION_FILE, call);
      if (!takeOff(rest, "1, ")) {
        if (rest != "0") walk_.violated(Rule::DEFINITION_FILE, "due: one character or none");
        more = reader.read(std::nullopt);
        continue;
      }
      const std::optional<std::string> text = takeQuoted(rest);
      if (!text || position == content.size() || *text != content.substr(position, 1))
        walk_.violated(Rule::DEFINITION_FILE, "the file has another character there");
      more = reader.read(content[position++]);
    }
    walk_.answer(Rule::DEFINITION_FILE, "AaFileClose(" + file + ")");
    return reader.applications();
  }

  void startApplications(const std::vector<Application> &applications) {
    for (const Application &application : applications) {
      if (application.path.empty()) continue;
      create(Rule::APP_START, {0, 0, true, application.name, application.path, application.args, application.flags},
             APP_BLOCK_BYTES);
      if (application.tag.empty()) continue;
      uint32_t budgetMs = APP_BUDGET_MS;
      if (walkOnlineWait(walk_, application.tag, budgetMs)) continue;
      error(Rule::APP_TIMED_OUT,
            "appStartAll: timed out waiting for application " + application.name + " to go online, resetting");
      walkBoardReset(walk_);
    }
  }

  // The message's number, or none.
  std::optional<std::string> createMessage(Rule rule, const std::string &arguments) {
    std::string_view rest = walk_.begins(rule, "AaSysComMsgCreate(" + arguments + ") = ");
    if (rest == "null") return std::nullopt;
    if (!takeOff(rest, "message ")) walk_.violated(rule, "due: a message or null");
    return std::string(rest);
  }

  void send(Rule rule, const std::string &message, uint32_t id, uint32_t receiver, uint32_t sender, uint32_t bytes) {
    walk_.answer(rule, "AaSysComMsgSendWithPriority(message " + message + ", 0: id " + hexText(id) + ", receiver " +
                           hexText(receiver) + ", sender " + hexText(sender) + ", payload " + std::to_string(bytes) +
                           " bytes)");
  }

  uint32_t number(Rule rule, const std::string &call) {
    const std::optional<uint32_t> result = wholeHexadecimal(walk_.begins(rule, call + " = "));
    if (!result) walk_.violated(rule, "due: " + call + " = a number");
    return *result;
  }

  void sendNotice() {
    const auto message = createMessage(Rule::APP_NOTICE, "0xfd28, 4, 0xff004e7");
    if (!message) return;
    const uint32_t nid = number(Rule::APP_NOTICE, "AaSysComGetOwnNid()");
    send(Rule::APP_NOTICE, *message, 0xfd28, 0x0ff004e7, nid << 16 | 0xfffe, 4);
  }

  void notify() {
    constexpr Rule RULE = Rule::NOTIFICATION;
    const uint32_t cpid = number(RULE, "AaSysComEuUserRegister(0)");
    if (cpid == 0) return error(RULE, "initFinishNotify: syscom registration failed");
    const std::string receiver = hexText(options_.notifyReceiver);
    if (const auto message = createMessage(RULE, "0x1b9d, 0, " + receiver)) {
      send(RULE, *message, 0x1b9d, options_.notifyReceiver, 0x0f010000 | cpid, 0);
      info(RULE, "initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to " + receiver);
    } else {
      error(RULE, "initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG creation failed");
    }
    walk_.answer(RULE, "AaSysComUserDeregister(" + hexText(cpid) + ")");
  }

  void shutdownSupport() {
    constexpr Rule RULE = Rule::SHUTDOWN_SUPPORT;
    if (walk_.answer(RULE, "sem_init(semaphore 1, 0, 0)") != 0)
      return error(RULE, "ceInternalStartup: Failed to init CE shutdown support");
    walk_.is(RULE, "sigaction(SIGINT, handler, mask empty, flags SA_RESTART) = 0");
    walk_.is(RULE, "sigaction(SIGTERM, handler, mask empty, flags SA_RESTART) = 0");
    walk_.is(RULE, "signal(SIGHUP, SIG_IGN)");
  }

  void waitForTheEnd() {
    int64_t result = 1;
    while (result != 0) {
      walk_.is(Rule::TERMINATION, "sem_wait(semaphore 1)");
      result = walk_.answer(Rule::TERMINATION, "sem_wait(semaphore 1)");
    }
    info(Rule::TERMINATION, "ceInternalStartup: Daemon termination initiated");
    walk_.ends(Rule::TERMINATION);
  }

  EuWalk &walk_;
  const ExpectedOptions &options_;
  const orv::sim::Scenario &scenario_;
  StartupResult &result_;
};

}  // namespace

void walkStartup(EuWalk &walk, const ExpectedOptions &options, const orv::sim::Scenario &scenario,
                 StartupResult &result) {
  Startup(walk, options, scenario, result).all();
}

}  // namespace boots
