// The program that the whole-daemon tests let the daemon run: it does what its first argument says.
//
// What it prints goes to the daemon's standard output, each line by a single write, so that the lines of several
// programs stay whole.
#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "AaConfig.h"
#include "AaPro.h"
#include "AaSysCom.h"
#include "AaSysLog.h"
#include "SysComReceive.h"

extern char **environ;

namespace {

using Arguments = std::vector<std::string>;

void print(std::string line) {
  line += "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) _exit(125);
}

[[noreturn]] void stayForEver() {
  for (;;)
    pause();
}

std::string ownName() {
  const char *name = std::getenv("ORV_EU_NAME");
  return name == nullptr ? "" : name;
}

void printRunning() {
  print("running " + std::to_string(getpid()) + " " + ownName());
}

int stay(const Arguments &) {
  printRunning();
  stayForEver();
}

int exitWith(const Arguments &arguments) {
  return std::stoi(arguments.at(0));
}

int endBySignal(const Arguments &arguments) {
  const int number = std::stoi(arguments.at(0));
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  std::signal(number, SIG_DFL);
  std::raise(number);
  return 126;
}

int goOnline(const Arguments &arguments) {
  const int32_t result = AaConfigTagSetU32(arguments.at(0).c_str(), 1);
  if (result != 0) return 1;
  print("online " + arguments[0]);
  stayForEver();
}

int writeTags(const Arguments &arguments) {
  for (uint32_t value = 0;; ++value) {
    if (AaConfigTagSetU32(arguments.at(0).c_str(), value) != 0) return 1;
    if (AaConfigTagSetString((arguments[0] + ".text").c_str(), std::string(value % 2000, 'x').c_str()) != 0) return 1;
    if (value == 0) print("writing " + std::to_string(getpid()));
  }
}

int printArguments(const Arguments &arguments) {
  for (const std::string &argument : arguments)
    print("argument [" + argument + "]");
  print("arguments " + std::to_string(arguments.size()));
  return 0;
}

int printEnvironment(const Arguments &) {
  for (char **variable = environ; *variable != nullptr; ++variable)
    print(std::string("variable ") + *variable);
  print("environment complete");
  return 0;
}

int printDescriptors(const Arguments &) {
  std::vector<std::string> names;
  DIR *directory = opendir("/proc/self/fd");
  if (directory == nullptr) return 1;
  while (const dirent *entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name[0] != '.' && std::stoi(name) != dirfd(directory)) names.push_back(name);
  }
  closedir(directory);
  std::sort(names.begin(), names.end());
  std::string line = "descriptors";
  for (const std::string &name : names)
    line += " " + name;
  char target[256] = "";
  if (readlink("/proc/self/fd/0", target, sizeof target - 1) < 0) return 1;
  print(line + ", input from " + target);
  return 0;
}

int printSignals(const Arguments &) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with("SigBlk:") && !line.starts_with("SigIgn:")) continue;
    std::replace(line.begin(), line.end(), '\t', ' ');
    print(line);
  }
  return 0;
}

int ignoreTerm(const Arguments &) {
  std::signal(SIGTERM, SIG_IGN);
  printRunning();
  stayForEver();
}

// Registers as a user of messages, with the CPID that the second argument names or with any, goes online and prints
// each message that comes.
int receive(const Arguments &arguments) {
  const bool isFixed = arguments.size() > 1;
  const auto cpid = isFixed ? static_cast<uint32_t>(std::stoul(arguments[1], nullptr, 0)) : AaSysComEuUserRegister(0);
  if (isFixed && orvSysComUserRegister(cpid) != 0) return 1;
  if (AaConfigTagSetU32(arguments.at(0).c_str(), cpid) != 0) return 1;
  OrvSysComMessage *message = nullptr;
  while (orvSysComMsgReceive(cpid, ORV_SYSCOM_FOREVER, &message) == 0) {
    char line[128];
    std::snprintf(line, sizeof line, "message 0x%x to 0x%x from 0x%x, payload %u bytes, by process %d",
                  orvSysComMsgId(message), orvSysComMsgReceiver(message), orvSysComMsgSender(message),
                  orvSysComMsgPayloadSize(message), orvSysComMsgSenderPid(message));
    orvSysComMsgFree(message);
    print(line);
  }
  return 1;
}

// Leaves a child in its process group; with the argument "leave" it ends itself, with exit code 0.
int forkChild(const Arguments &arguments) {
  const pid_t child = fork();
  if (child < 0) return 1;
  if (child == 0) stayForEver();
  print("child " + std::to_string(child));
  if (!arguments.empty() && arguments[0] == "leave") return 0;
  stayForEver();
}

int logOnce(const Arguments &arguments) {
  if (AaSysLogPrint(2, "%s", arguments.at(0).c_str()) != 0) return 1;
  stayForEver();
}

// Makes EUs of its own, each of which logs its number, and goes online.
int makeEus(const Arguments &arguments) {
  const auto body = [](void *) -> void * {
    AaSysLogPrint(2, "EU %u of a program", static_cast<unsigned>(AaProEuCurrent()));
    return nullptr;
  };
  for (unsigned long i = std::stoul(arguments.at(0)); i != 0; --i) {
    uint32_t id = 0;
    if (AaProEuCreateAndStart(&id, "programsOwn", body, 0, 0, nullptr, 0) != 0) return 1;
  }
  stayForEver();
}

// Lines by `say`, as fast as they are taken: so many, and then on until the tag "storm.end" is set.
template <typename Say>
int storm(const Arguments &arguments, Say say) {
  constexpr unsigned long LOOK_INTERVAL = 1000;
  const unsigned long count = std::stoul(arguments.at(0));
  for (unsigned long i = 0; i < count || i % LOOK_INTERVAL != 0 || AaConfigTagIsSet("storm.end") == 0; ++i)
    say(i);
  return AaConfigTagSetU32("storm.over", 1) == 0 ? 0 : 1;
}

int logStorm(const Arguments &arguments) {
  return storm(arguments, [](unsigned long i) { AaSysLogPrint(2, "storm %lu", i); });
}

int printStorm(const Arguments &arguments) {
  return storm(arguments, [](unsigned long i) { std::printf("storm %lu\n", i); });
}

struct Command {
  std::string_view name;
  size_t argumentCount;  // at least
  int (*run)(const Arguments &arguments);
};

constexpr Command COMMANDS[] = {
    {"stay", 0, stay},
    {"exit", 1, exitWith},
    {"signal", 1, endBySignal},
    {"online", 1, goOnline},
    {"make-eus", 1, makeEus},
    {"write-tags", 1, writeTags},
    {"print-args", 0, printArguments},
    {"print-environment", 0, printEnvironment},
    {"print-fds", 0, printDescriptors},
    {"print-signals", 0, printSignals},
    {"ignore-term", 0, ignoreTerm},
    {"fork-child", 0, forkChild},
    {"receive", 1, receive},
    {"log", 1, logOnce},
    {"log-storm", 1, logStorm},
    {"print-storm", 1, printStorm},
};

}  // namespace

int main(int argc, char **argv) {
  const std::string_view wanted = argc > 1 ? argv[1] : "";
  const auto isWanted = [&](const Command &command) { return command.name == wanted; };
  const auto *command = std::find_if(std::begin(COMMANDS), std::end(COMMANDS), isWanted);
  const Arguments arguments(argv + std::min(argc, 2), argv + argc);
  if (command == std::end(COMMANDS) || arguments.size() < command->argumentCount) {
    std::fprintf(stderr, "test-program: no command \"%s\" with %zu arguments\n", argc > 1 ? argv[1] : "",
                 arguments.size());
    return 124;
  }
  return command->run(arguments);
}
